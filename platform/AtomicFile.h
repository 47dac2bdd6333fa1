#pragma once

#include "platform/FileLock.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace tessivar
{

/** A file that appears under its final name only when it is complete.

    Bytes go to a hidden temporary file beside the target. finish() makes them durable, so that they can be
    read back and checked; commit() then gives the file its name in one step. Until commit() an existing
    target stays as it is. Destruction without a commit removes the temporary file; what a killed process left
    goes when any file of the folder is written the next time.

    As a juce::OutputStream it can be handed to writers that seek back to their header. The first failure is
    kept: every later write fails too, and status(), finish() and commit() report it. Use from one thread at a
    time.
*/
class AtomicFile : public juce::OutputStream
{
public:
    /** A target that is a symbolic link stands for the file it points to. */
    explicit AtomicFile (const juce::File& target, FileSystemCalls& calls = FileSystemCalls::system());
    ~AtomicFile() override { discard(); }

    /** Makes the temporary file and reserves expectedBytes for it (0: nothing). Refuses a target that is a
        folder or another special file, or that may not be written to. A replaced file passes on its
        permissions. Every failure names the target and the reason; a full disk also the bytes needed and
        free.
    */
    [[nodiscard]] juce::Result open (std::uint64_t expectedBytes = 0);

    bool write (const void* data, std::size_t numBytes) override;
    bool setPosition (juce::int64 newPosition) override;
    juce::int64 getPosition() override { return position; }
    void flush() override { writeOutBuffer(); }

    [[nodiscard]] const juce::Result& status() const { return result; }

    /** Writes out what is buffered, makes it durable and closes the temporary file. */
    [[nodiscard]] juce::Result finish();

    enum class IfTargetExists
    {
        replace,
        fail,
    };

    /** Finishes if need be and renames the temporary file to the target. When this fails because the folder
        could not be made durable, the new file stands under its name all the same; in every other case the
        old one does.
    */
    [[nodiscard]] juce::Result commit (IfTargetExists ifTargetExists = IfTargetExists::replace);

    [[nodiscard]] const juce::File& targetFile() const { return target; }
    [[nodiscard]] const juce::File& temporaryFile() const { return temporary; }

private:
    bool writeOutBuffer();
    void fail (const juce::String& action, const SystemError& error);
    void discard();

    static constexpr std::size_t bufferSize = 262144;

    FileSystemCalls& calls;
    const juce::File target;
    juce::File temporary;
    juce::Result result = juce::Result::ok();
    FileHandle handle = FileHandle::none;
    bool temporaryExists = false;
    std::uint64_t expectedSize = 0;

    juce::HeapBlock<char> buffer;
    std::size_t bufferedBytes = 0;
    juce::int64 bufferStart = 0; // offset in the file of the first buffered byte
    juce::int64 position = 0;

    JUCE_DECLARE_NON_COPYABLE (AtomicFile)
};

/** Writes a file that is in memory: the target is the old one or all of the new one. */
[[nodiscard]] juce::Result replaceFile (const juce::File& target,
                                        std::string_view content,
                                        FileSystemCalls& calls = FileSystemCalls::system());

/** Whether a file can be made or replaced, as far as that can be told without its folder; on failure with its
    name and the reason.
*/
[[nodiscard]] juce::Result checkTarget (const juce::File& target);

/** Whether a file is, by its name, a temporary one that AtomicFile made, and if it is still being written: it
    is locked meanwhile. Where a lock can't tell, whether its process lives counts.
*/
enum class Unfinished
{
    no,
    beingWritten,
    leftBehind
};

[[nodiscard]] Unfinished unfinishedState (const juce::File& file);

/** Deletes what processes that are gone left half written in a folder. */
void sweepUnfinished (const juce::File& folder);

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
