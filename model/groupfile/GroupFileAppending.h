#pragma once

#include "model/groupfile/GroupFileAudio.h"
#include "model/groupfile/GroupFileSaving.h"
#include "terms/WorkControl.h"

namespace tessivar
{

/** Whether a Group's file may be saved to by appending to it: it is the target, nobody else has changed it and it may be
    written.
*/
[[nodiscard]] bool canAppend (const SaveRequest& request);

/** Appends what the plan says, made for the request's current file, and gives it the new tail. The trailer is written when
    all else is on disk, so that at any moment a whole tail is the last one. On failure the file is cut back to what it was.
*/
[[nodiscard]] juce::Result
appendToGroupFile (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control);

/** Gives the room back that nothing in a saved file needs any more, and no samples in use. Older tails go too: what they
    describe isn't there any more. Nothing is lost when it fails; the result then says why the file stays as large.
*/
[[nodiscard]] juce::Result giveBackRoom (GroupFile& file, const SavePlan& plan, FileSystemCalls& calls);

} // namespace tessivar
