#pragma once

#include "platform/FileSystemCalls.h"

/** What locks need of the system. For FileLock alone. */
namespace tessivar::fileLocking
{

enum class IfMissing
{
    fail,
    make // for the user alone
};

/** Opens a file to lock it, never through a symbolic link. */
[[nodiscard]] SystemError open (const juce::File& file, IfMissing ifMissing, OpenFile& opened);

/** Tries it once; inUse when somebody else has it, of this process too. */
[[nodiscard]] SystemError lock (FileHandle handle);

} // namespace tessivar::fileLocking
