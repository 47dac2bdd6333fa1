#include "platform/FileLock.h"

#include "platform/FileLocking.h"
#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

namespace tessivar
{

using windows::OwnedHandle, windows::systemHandle;

SystemError fileLocking::open (const juce::File& file, IfMissing ifMissing, OpenFile& opened)
{
    const auto isMade = ifMissing == IfMissing::make;
    OwnedHandle found (::CreateFileW (windows::widePath (file).c_str(),
                                      isMade ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                      windows::sharedWithAll,
                                      isMade ? windows::forTheUserAlone() : nullptr,
                                      isMade ? OPEN_ALWAYS : OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT,
                                      nullptr));

    if (! found)
        return windows::lastError();

    if (windows::isLink (found.get()))
        return SystemError (ERROR_CANT_ACCESS_FILE);

    opened = OpenFile (windows::handleOf (found.release()));
    return {};
}

SystemError fileLocking::lock (FileHandle handle)
{
    // One byte that no file has: what is locked can't be read by others.
    OVERLAPPED place = {};
    place.Offset = 0xfffffffe;
    place.OffsetHigh = 0x7fffffff;
    return windows::resultOf (::LockFileEx (
        systemHandle (handle), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place));
}

int holderOfLock (FileHandle handle)
{
    juce::ignoreUnused (handle); // the system keeps that to itself
    return 0;
}

} // namespace tessivar
