#include "platform/FileLock.h"

#include "platform/FileStatus.h"
#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

namespace tessivar
{

using windows::OwnedHandle, windows::systemHandle;

namespace
{
/** Locks one byte that no file has: what is locked can't be read by others. */
BOOL lockByte (HANDLE file)
{
    OVERLAPPED place = {};
    place.Offset = 0xfffffffe;
    place.OffsetHigh = 0x7fffffff;
    return ::LockFileEx (file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place);
}
} // namespace

std::optional<FileLock> FileLock::take (const juce::File& file, SystemError& error)
{
    OwnedHandle made (::CreateFileW (windows::widePath (file).c_str(),
                                     GENERIC_READ | GENERIC_WRITE,
                                     windows::sharedWithAll,
                                     windows::forTheUserAlone(),
                                     OPEN_ALWAYS,
                                     FILE_FLAG_OPEN_REPARSE_POINT,
                                     nullptr));

    if (! made || ! lockByte (made.get()))
    {
        error = windows::lastError();
        return std::nullopt;
    }

    if (windows::isLink (made.get()))
    {
        error = SystemError (ERROR_CANT_ACCESS_FILE);
        return std::nullopt;
    }

    OpenFile opened (windows::handleOf (made.release()));

    if (isStillAt (opened.handle(), file))
        return FileLock (std::move (opened));

    error =
        SystemError::Kind::inUse; // somebody removes the file at this moment: the next try makes a new one
    return std::nullopt;
}

LockState tryLock (FileHandle handle)
{
    if (lockByte (systemHandle (handle)))
        return LockState::free;

    return windows::lastError().kind() == SystemError::Kind::inUse ? LockState::held : LockState::unknown;
}

LockState lockStateOf (const juce::File& file)
{
    const OwnedHandle opened (::CreateFileW (windows::widePath (file).c_str(),
                                             GENERIC_READ,
                                             windows::sharedWithAll,
                                             nullptr,
                                             OPEN_EXISTING,
                                             FILE_FLAG_OPEN_REPARSE_POINT,
                                             nullptr));
    return opened && ! windows::isLink (opened.get()) ? tryLock (windows::handleOf (opened.get()))
                                                      : LockState::unknown;
}

int holderOfLock (FileHandle handle)
{
    juce::ignoreUnused (handle); // the system keeps that to itself
    return 0;
}

} // namespace tessivar
