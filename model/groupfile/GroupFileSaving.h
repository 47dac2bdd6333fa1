#pragma once

#include "model/GroupState.h"
#include "model/groupfile/GroupFile.h"
#include "platform/FileSystemCalls.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>

namespace tessivar
{

/** How a Group was brought into its file. */
enum class SaveKind
{
    whole,  // a new file took the place of the old one
    tail,   // nothing but a new tail was appended
    inPlace // new audio and a new tail were appended, and the room of the old was given back
};

/** What to save, and where. */
struct SaveRequest
{
    GroupState state;
    juce::File target;
    std::shared_ptr<GroupFile> currentFile; // that the Group was loaded from or saved to; null: none
    bool savingDiskSpace = false;           // save in place when there is no room for a second copy
    bool replacesChanged = false;           // also what others made of the Group's file meanwhile
    bool compact = false;                   // write a new file in any case
    std::uint64_t spareBytes = 64u << 20;   // that a new file must leave free on its disk
    FileSystemCalls* calls = nullptr;       // null: those of the system
};

/** What was saved. */
struct SavedGroup
{
    GroupState state; // with samples that lie in the file
    std::shared_ptr<GroupFile> file;
    SaveKind kind = SaveKind::whole;
    std::uint64_t bytesWritten = 0;
    juce::StringArray notes; // what the user should know, each naming the file
};

/** What a save does only after the user has agreed to it. */
struct SaveQuestion
{
    enum class About
    {
        nothing,
        changedFile, // others have changed the Group's file, or replaced it: see SaveRequest::replacesChanged
        inPlace      // there is no room for a second copy, but in place: see SaveRequest::savingDiskSpace
    };

    About about = About::nothing;
    juce::String reason; // names the file
};

/** What the user has to be asked before a save that would fail without. Takes no time. */
[[nodiscard]] SaveQuestion questionBeforeSaving (const SaveRequest& request);

/** The failure of a job that was stopped. */
inline constexpr auto stoppedByUser = "stopped";

/** Saves a Group. What was in the target before stays whole until the new is on disk, whatever happens meanwhile; of a save
    that fails or is stopped nothing remains. What others made of the Group's own file since it was opened or last saved
    is replaced only on request.

    Only a tail is written when all audio lies in currentFile, which is the target and has not been changed by others; else
    a new file, which replaces the target when it is complete and was read back. The same new file comes of the same state.
    On failure the result names the file and the reason, of a stopped one it is stoppedByUser; saved stays as it was.

    One save of a file at a time; may be called on any thread.
*/
[[nodiscard]] juce::Result
saveGroup (const SaveRequest& request, SavedGroup& saved, const WorkControl& control = {});

} // namespace tessivar
