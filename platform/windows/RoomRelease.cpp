#include "platform/RoomRelease.h"

// The file systems of this system free the largest file in a few milliseconds: nobody has to be spared that.

namespace tessivar::roomRelease
{

void take (FileHandle handle)
{
    FileSystemCalls::system().close (handle);
}

std::uint64_t pendingBytes (std::uint64_t)
{
    return 0;
}

bool finish()
{
    return false;
}

void handOver() {}

} // namespace tessivar::roomRelease
