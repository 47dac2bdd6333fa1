#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <utility>

namespace tessivar
{

/** A lock between processes, held on a file that is made for it (mode 0600) and stays. It goes with the object, and
    with the process however that ends. Two locks of one process on the same file exclude each other as well.
*/
class FileLock
{
public:
    /** Nothing when somebody holds it or the file can't be made; errno then says why. Never through a symbolic link. */
    [[nodiscard]] static std::optional<FileLock> take (const juce::File& file);

    /** Tries for at most that long; makes the folder when it is missing. */
    [[nodiscard]] static std::optional<FileLock> waitFor (const juce::File& file, int milliseconds);

    FileLock (FileLock&& other) noexcept : descriptor (std::exchange (other.descriptor, -1)) {}
    FileLock& operator= (FileLock&& other) noexcept;
    ~FileLock();

private:
    explicit FileLock (int descriptorToOwn) : descriptor (descriptorToOwn) {}

    int descriptor;
};

/** Whether a file is, by its name, a temporary one that AtomicFile made, and if it is still being written: it is locked
    meanwhile. Where that can't be told by a lock, whether its process lives counts.
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

/** Makes a folder and those above it; one that another process makes at the same moment counts as made. */
[[nodiscard]] juce::Result makeFolder (const juce::File& folder);

/** The folder, or the nearest one above it that exists. */
[[nodiscard]] juce::File existingAncestor (juce::File folder);

} // namespace tessivar
