#pragma once

#include "jobs/ExportTracks.h"
#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

#include <span>
#include <vector>

namespace tessivar
{

/** What each of the three export commands writes. */
enum class ExportScope
{
    track,    // the selected track, to a file that the user names
    group,    // all tracks of the selected Group, to a folder
    allGroups // all tracks of all open Groups, to a folder
};

/** Refused, in the words for the user, when an export can't begin. Group and track are the selected ones. The
    first of these holds: no Group is open; there is no track; a Group, then the track, is not analysed.
*/
[[nodiscard]] Outcome checkExportable (ExportScope scope,
                                       const TessivarWorkspace& workspace,
                                       const Group* group,
                                       const Track* track);

/** The tracks of all these Groups in one list, so that two of a name get files of their own. */
[[nodiscard]] std::vector<TrackState> tracksToExport (const std::vector<Group::Ptr>& groups);

/** Asks before existing files are replaced; true when there are none or the user agrees. */
[[nodiscard]] bool confirmOverwriting (std::span<const PlannedFile> files, UserPrompts& prompts);

} // namespace tessivar
