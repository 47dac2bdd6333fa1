#include "platform/FileSystemCalls.h"

#include "platform/BrokenReplacement.h"
#include "platform/Process.h"
#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <winioctl.h>
#include <winternl.h>

// Not in all headers.
extern "C"
{
    NTSTATUS NTAPI NtReadFile (HANDLE,
                               HANDLE event,
                               PIO_APC_ROUTINE,
                               void* context,
                               IO_STATUS_BLOCK*,
                               void* dest,
                               ULONG numBytes,
                               LARGE_INTEGER* offset,
                               ULONG* key);
    NTSTATUS NTAPI NtWriteFile (HANDLE,
                                HANDLE event,
                                PIO_APC_ROUTINE,
                                void* context,
                                IO_STATUS_BLOCK*,
                                const void* data,
                                ULONG numBytes,
                                LARGE_INTEGER* offset,
                                ULONG* key);
}

namespace tessivar
{

using windows::OwnedHandle, windows::resultOf, windows::systemHandle, windows::widePath;

namespace
{
struct Flags
{
    DWORD access = 0, creation = OPEN_EXISTING, flags = FILE_ATTRIBUTE_NORMAL;
    bool isPrivate = false;
};

Flags flagsFor (Opening how)
{
    constexpr DWORD readAndWrite = GENERIC_READ | GENERIC_WRITE;

    switch (how)
    {
        case Opening::newFile:
            return { readAndWrite, CREATE_NEW };
        case Opening::newPrivateFile:
            return { readAndWrite | WRITE_DAC, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, true };
        case Opening::ownFile:
            return { readAndWrite, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT };
        case Opening::readAndWrite:
            return { readAndWrite };
        case Opening::append:
            return { FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                     OPEN_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL,
                     true };
        case Opening::unnamed:
            return {
                readAndWrite | DELETE, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, true
            };
        case Opening::readOnly:
            break;
    }

    return { GENERIC_READ };
}

/** Reads or writes at an offset. ReadFile() and WriteFile() tell whoever may wait for the end of the call,
    even where nobody can: under Wine that takes longer than the reading.
*/
template <typename Call, typename Data>
Transfer transfer (Call call, FileHandle handle, std::uint64_t offset, Data* data, std::size_t numBytes)
{
    constexpr std::size_t mostAtOnce = 1u << 30;
    constexpr auto endOfFile = static_cast<NTSTATUS> (0xc0000011u);
    LARGE_INTEGER place = {};
    place.QuadPart = static_cast<LONGLONG> (offset);
    IO_STATUS_BLOCK done = {};
    const auto status = call (systemHandle (handle),
                              nullptr,
                              nullptr,
                              nullptr,
                              &done,
                              data,
                              static_cast<ULONG> (std::min (numBytes, mostAtOnce)),
                              &place,
                              nullptr);

    if (status == endOfFile)
        return {};

    if (status < 0)
        return { SystemError (static_cast<int> (::RtlNtStatusToDosError (status))) };

    return { {}, done.Information };
}

template <typename Information>
SystemError setInformation (HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, Information information)
{
    return resultOf (::SetFileInformationByHandle (file, kind, &information, sizeof (information)));
}

SystemError setEnd (HANDLE file, std::uint64_t numBytes)
{
    FILE_END_OF_FILE_INFO end = {};
    end.EndOfFile.QuadPart = static_cast<LONGLONG> (numBytes);
    return setInformation (file, FileEndOfFileInfo, end);
}

/** The file's new name takes the place of one that is open too, in one step. */
SystemError renameOpen (HANDLE file, const std::wstring& target, bool replace)
{
    // As from Windows 10 1607; older headers don't have the structure with flags.
    constexpr auto renameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS> (22);
    constexpr DWORD replaceIfExists = 1, posixSemantics = 2;
    const auto nameBytes = target.size() * sizeof (wchar_t);
    std::vector<std::uint64_t> memory ((sizeof (FILE_RENAME_INFO) + nameBytes) / sizeof (std::uint64_t) + 1);
    auto& info = *reinterpret_cast<FILE_RENAME_INFO*> (memory.data());
    const DWORD flags = replace ? replaceIfExists | posixSemantics : posixSemantics;
    std::memcpy (&info, &flags, sizeof (flags)); // where the older structure has its only flag
    info.FileNameLength = static_cast<DWORD> (nameBytes);
    std::memcpy (info.FileName, target.data(), nameBytes);
    return resultOf (::SetFileInformationByHandle (
        file, renameInfoEx, &info, static_cast<DWORD> (memory.size() * sizeof (std::uint64_t))));
}

SystemError moveFile (const std::wstring& from, const std::wstring& to, DWORD flags = 0)
{
    return resultOf (::MoveFileExW (from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH | flags));
}

/** Between the name of a file that is moved aside and what makes it unique: no name that a user gives. */
constexpr auto asideTag = ".tessivar-aside-";

/** What was moved aside for a file and never cleared away. Names are compared one by one, as in a pattern the
    file's own may hold separators. */
std::vector<juce::File> asidesOf (const juce::File& target)
{
    const auto start = target.getFileName() + asideTag;
    std::vector<juce::File> asides;

    for (const auto& file : target.getParentDirectory().findChildFiles (juce::File::findFiles, false))
        if (const auto name = file.getFileName();
            name.startsWith (start) && isUniqueTag (name.substring (start.length())))
            asides.push_back (file);

    return asides;
}

/** For systems and file systems that know no such rename. */
SystemError renameClosed (const std::wstring& from, const std::wstring& to, bool replace)
{
    const auto result = moveFile (from, to, replace ? MOVEFILE_REPLACE_EXISTING : 0);
    const auto mayBeOpen =
        result.kind() == SystemError::Kind::notPermitted || result.kind() == SystemError::Kind::inUse;

    if (! replace || ! mayBeOpen)
        return result;

    // A file that is open can't be replaced that way, but it can be moved aside, under a name that nothing
    // clears away: whoever is killed in between leaves both of them whole for undoBrokenReplacement.
    const auto aside = to + windows::wideText (asideTag + uniqueTag());

    if (moveFile (to, aside).failed())
        return result;

    if (const auto error = moveFile (from, to); error.failed())
    {
        juce::ignoreUnused (moveFile (aside, to));
        return error;
    }

    return {};
}
} // namespace

SystemError FileSystemCalls::open (const juce::File& file, Opening how, FileHandle& handle)
{
    const auto [access, creation, flags, isPrivate] = flagsFor (how);
    const auto path =
        widePath (how == Opening::unnamed ? file.getChildFile ("tessivar-" + uniqueTag() + ".tmp") : file);
    OwnedHandle opened (::CreateFileW (path.c_str(),
                                       access,
                                       windows::sharedWithAll,
                                       isPrivate ? windows::forTheUserAlone() : nullptr,
                                       creation,
                                       flags,
                                       nullptr));
    handle = FileHandle::none;

    if (! opened)
    {
        const auto error = windows::lastError();
        return error.kind() == SystemError::Kind::notPermitted && file.isDirectory()
                       && how != Opening::unnamed
                   ? SystemError (SystemError::Kind::isFolder)
                   : error;
    }

    if (how == Opening::ownFile && windows::isLink (opened.get()))
        return SystemError (ERROR_CANT_ACCESS_FILE);

    handle = windows::handleOf (opened.release());
    return {};
}

SystemError FileSystemCalls::close (FileHandle handle)
{
    return resultOf (::CloseHandle (systemHandle (handle)));
}

Transfer
FileSystemCalls::writeAt (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes)
{
    return transfer (::NtWriteFile, handle, offset, data, numBytes);
}

Transfer FileSystemCalls::readAt (FileHandle handle, std::uint64_t offset, void* dest, std::size_t numBytes)
{
    return transfer (::NtReadFile, handle, offset, dest, numBytes);
}

SystemError FileSystemCalls::reserve (FileHandle handle, std::uint64_t numBytes, SizeOfFile sizeOfFile)
{
    LARGE_INTEGER size = {};

    if (! ::GetFileSizeEx (systemHandle (handle), &size))
        return windows::lastError();

    // Less room than the file has would cut it.
    if (numBytes <= static_cast<std::uint64_t> (size.QuadPart))
        return {};

    FILE_ALLOCATION_INFO room = {};
    room.AllocationSize.QuadPart = static_cast<LONGLONG> (numBytes);
    const auto error = setInformation (systemHandle (handle), FileAllocationInfo, room);
    return error.failed() || sizeOfFile == SizeOfFile::keep ? error
                                                            : setEnd (systemHandle (handle), numBytes);
}

SystemError FileSystemCalls::giveBack (FileHandle handle, std::uint64_t offset, std::uint64_t numBytes)
{
    DWORD ignored = 0;

    // Otherwise the zeros would be written.
    if (! ::DeviceIoControl (
            systemHandle (handle), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &ignored, nullptr))
        return windows::lastError();

    FILE_ZERO_DATA_INFORMATION range = {};
    range.FileOffset.QuadPart = static_cast<LONGLONG> (offset);
    range.BeyondFinalZero.QuadPart = static_cast<LONGLONG> (offset + numBytes);
    return resultOf (::DeviceIoControl (
        systemHandle (handle), FSCTL_SET_ZERO_DATA, &range, sizeof (range), nullptr, 0, &ignored, nullptr));
}

SystemError FileSystemCalls::setSize (FileHandle handle, std::uint64_t numBytes)
{
    return setEnd (systemHandle (handle), numBytes);
}

SystemError FileSystemCalls::flush (FileHandle handle)
{
    return resultOf (::FlushFileBuffers (systemHandle (handle)));
}

SystemError FileSystemCalls::flushFolder (const juce::File& folder)
{
    // A folder can't be flushed here: rename() comes back when the new name is on disk.
    juce::ignoreUnused (folder);
    return {};
}

SystemError FileSystemCalls::rename (const juce::File& from, const juce::File& to, bool replace)
{
    const auto source = widePath (from), target = widePath (to);
    OwnedHandle file (::CreateFileW (source.c_str(),
                                     GENERIC_WRITE | DELETE,
                                     windows::sharedWithAll,
                                     nullptr,
                                     OPEN_EXISTING,
                                     FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS,
                                     nullptr));

    if (! file)
        return windows::lastError();

    const auto error = renameOpen (file.get(), target, replace);

    // The name comes to disk with the journal's entries before those of the file's.
    if (! error.failed())
        return resultOf (::FlushFileBuffers (file.get()));

    if (error.kind() != SystemError::Kind::notSupported)
        return error;

    file.close();
    const auto renamed = renameClosed (source, target, replace);

    // The one just moved there, and those of programs that were killed.
    if (replace && ! renamed.failed())
        for (const auto& aside : asidesOf (to))
            ::DeleteFileW (widePath (aside).c_str());

    return renamed;
}

SystemError FileSystemCalls::remove (const juce::File& file)
{
    // As from Windows 10 1607: the name goes at once, although the file is open somewhere, and an attribute
    // doesn't protect it, as no permission of a file does elsewhere.
    constexpr auto dispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS> (21);
    constexpr DWORD removesName = 1, posixSemantics = 2, ignoresReadOnly = 0x10;
    const auto path = widePath (file);
    OwnedHandle opened (::CreateFileW (path.c_str(),
                                       DELETE,
                                       windows::sharedWithAll,
                                       nullptr,
                                       OPEN_EXISTING,
                                       FILE_FLAG_OPEN_REPARSE_POINT,
                                       nullptr));

    if (opened
        && ! setInformation (opened.get(), dispositionInfoEx, removesName | posixSemantics | ignoresReadOnly)
                 .failed())
        return {};

    opened.close();
    return resultOf (::DeleteFileW (path.c_str()));
}

void dropCached (FileHandle handle)
{
    // Whoever reads past the cache first makes the system empty it.
    const OwnedHandle uncached (
        ::ReOpenFile (systemHandle (handle), GENERIC_READ, windows::sharedWithAll, FILE_FLAG_NO_BUFFERING));
}

bool undoBrokenReplacement (const juce::File& target)
{
    if (target.exists())
        return false;

    constexpr DWORD replacementMs = 100; // of one that is under way
    ::Sleep (replacementMs);

    if (target.exists())
        return true;

    juce::File latest;

    for (const auto& aside : asidesOf (target))
        if (latest == juce::File() || aside.getLastModificationTime() > latest.getLastModificationTime())
            latest = aside;

    return latest != juce::File() && ! moveFile (widePath (latest), widePath (target)).failed();
}

} // namespace tessivar
