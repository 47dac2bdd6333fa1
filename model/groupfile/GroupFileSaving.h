#pragma once

#include "model/GroupState.h"
#include "model/groupfile/GroupFile.h"
#include "platform/FileSystemCalls.h"
#include "terms/Outcome.h"
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
    bool replacesChanged = false;           // replace what others made of the Group's file meanwhile
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

/** What to ask the user before a save that would fail otherwise. Takes no time. */
[[nodiscard]] SaveQuestion questionBeforeSaving (const SaveRequest& request);

/** Saves a Group. Whatever happens, the target keeps its old content until the new one is on disk; a save
    that fails or is stopped leaves nothing behind. Changes that others made to the Group's own file are
    replaced only on request.

    Writes only a tail when all audio lies in currentFile, which is the target and has not been changed by
    others; else a new file, which replaces the target once it is complete and was read back. Equal states
    give equal new files. A reason names the file; saved stays as it was unless the outcome is ok.

    One save of a file at a time; may be called on any thread.
*/
Outcome saveGroup (const SaveRequest& request, SavedGroup& saved, const WorkControl& control = {});

} // namespace tessivar
