#pragma once

#include "jobs/ExportTracks.h"
#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

#include <vector>

namespace tessivar
{

/** What one of the three export commands writes. */
enum class ExportScope
{
    track,    // the selected track, to a file that the user names
    group,    // all tracks of the selected Group, to a folder
    allGroups // all tracks of all open Groups, to a folder
};

/** Why an export can't begin, in the words for the user; empty when it can. Group and track are the selected ones. The
    first of these holds: no Group is open; there is no track; a Group, then the track, is not analysed.
*/
[[nodiscard]] juce::String
exportRefusal (ExportScope scope, const TessivarWorkspace& workspace, const Group* group, const Track* track);

/** The tracks of all these Groups in one list, so that two of a name get files of their own. */
[[nodiscard]] std::vector<SessionTrack> tracksToExport (const std::vector<Group::Ptr>& groups);

/** Asks whether files that exist may be replaced; true when none exists or the user agrees. */
[[nodiscard]] bool confirmOverwriting (const std::vector<juce::File>& files, UserPrompts& prompts);

} // namespace tessivar
