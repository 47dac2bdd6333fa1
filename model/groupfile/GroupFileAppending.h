#pragma once

#include "model/groupfile/GroupFileAudio.h"
#include "platform/FileSystemCalls.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

namespace tessivar
{

/** Appends the audio of a plan for this file and the new tail; does nothing when that tail is there already.
    The trailer is written once all else is on disk, so the last tail is whole at any moment. On failure the
    file is cut back to its old size.
*/
Outcome
appendToGroupFile (GroupFile& file, SavePlan& plan, FileSystemCalls& calls, const WorkControl& control);

/** Frees the parts of a saved file that neither it nor samples in use need any longer, older tails included:
    what they describe is gone. A failure loses nothing; it says why the file stays as large.
*/
[[nodiscard]] juce::Result giveBackRoom (GroupFile& file, const SavePlan& plan, FileSystemCalls& calls);

} // namespace tessivar
