#pragma once

#include "platform/FileSystemCalls.h"

#include <optional>

namespace tessivar
{

/** A lock between processes, held on a file that is made for it, for the user alone, and stays. It goes with
    the object, and with the process however that ends. Two locks of one process on the same file exclude each
    other as well.
*/
class FileLock
{
public:
    /** Nothing when somebody holds it or the file can't be made; error then says why. Never through a
        symbolic link.
    */
    [[nodiscard]] static std::optional<FileLock> take (const juce::File& file, SystemError& error);
    [[nodiscard]] static std::optional<FileLock> take (const juce::File& file);

    /** Tries for at most that long; makes the folder when it is missing. */
    [[nodiscard]] static std::optional<FileLock> waitFor (const juce::File& file, int milliseconds);

private:
    explicit FileLock (OpenFile fileToOwn) : file (std::move (fileToOwn)) {}

    OpenFile file;
};

enum class LockState
{
    free,
    held,
    unknown // the file system knows no locks, or the file can't be opened
};

/** Locks an open file for as long as it is open. held: by somebody else, of this process too. */
LockState tryLock (FileHandle handle);

/** Whether a file is locked at this moment. Never through a symbolic link. */
[[nodiscard]] LockState lockStateOf (const juce::File& file);

/** The number of the process that holds the lock of an open file; 0 when the system doesn't tell. */
[[nodiscard]] int holderOfLock (FileHandle handle);

} // namespace tessivar
