#pragma once

#include "platform/FileLock.h"

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** Notes, as long as it lives, that large files are being written in a folder: a process that is killed
    meanwhile leaves them half written there, and the next start would not know where to look.
*/
class WritingNote
{
public:
    /** Without a note, where none can be made, a later save into the folder still clears it up. */
    WritingNote (const juce::File& notes, const juce::File& folder);
    ~WritingNote();

    WritingNote (const WritingNote&) = delete;
    WritingNote& operator= (const WritingNote&) = delete;

    /** Deletes what processes that are gone left half written in the folders that they noted. */
    static void sweep (const juce::File& notes);

private:
    const juce::File note;
    std::optional<FileLock> lock;
};

} // namespace tessivar
