#pragma once

#include "platform/FileSystemCalls.h"

#include <cerrno>

/** For the sources of this folder alone. */
namespace tessivar::posix
{

inline int descriptorOf (FileHandle handle)
{
    return static_cast<int> (handle);
}

inline FileHandle handleOf (int descriptor)
{
    return static_cast<FileHandle> (descriptor);
}

/** Why the last call failed. */
inline SystemError lastError()
{
    return SystemError (errno);
}

/** The answer to a call that returns -1 on failure. */
inline SystemError resultOf (long returned)
{
    return returned < 0 ? lastError() : SystemError();
}

/** Makes a call until no signal interrupts it. */
template <typename Call>
auto untilDone (Call&& call)
{
    auto result = call();

    while (result < 0 && errno == EINTR)
        result = call();

    return result;
}

} // namespace tessivar::posix
