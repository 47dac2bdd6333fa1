#pragma once

#include "platform/FileSystemCalls.h"

#include <cstdint>

namespace tessivar::roomRelease
{

/** Gives the room of large files back without anyone waiting for it: to free ten gigabytes takes seconds
    where the file system tells the disk about every block. All functions may be called from several threads
    at once.
*/

/** Takes over an open file that no longer has a name. A large one is cut to nothing piece by piece on a
    thread of its own, and closed. Must be open for writing.
*/
void take (FileHandle handle);

/** Bytes on a file system (FileId::volume) that are still to come back. */
[[nodiscard]] std::uint64_t pendingBytes (std::uint64_t volume);

/** Waits until all room has come back; false when none was to come. */
[[nodiscard]] bool finish();

/** Leaves what has not come back yet to a child process, so that this one can end at once; last thing before
    it does.
*/
void handOver();

} // namespace tessivar::roomRelease
