#include "platform/FileStatus.h"

#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

#include <cstring>

namespace tessivar
{

using windows::OwnedHandle, windows::systemHandle, windows::widePath;

namespace
{
/** Opens a file or folder to ask about it, which needs no permission to read it. */
OwnedHandle openToAsk (const juce::File& file, Links links)
{
    const auto path = widePath (file);
    const auto open = [&] (DWORD access)
    {
        return OwnedHandle (::CreateFileW (
            path.c_str(),
            access,
            windows::sharedWithAll,
            nullptr,
            OPEN_EXISTING,
            FILE_FLAG_BACKUP_SEMANTICS | (links == Links::keep ? FILE_FLAG_OPEN_REPARSE_POINT : DWORD{ 0 }),
            nullptr));
    };
    auto opened = open (FILE_READ_ATTRIBUTES | READ_CONTROL);
    return opened || windows::lastError().kind() != SystemError::Kind::notPermitted
               ? std::move (opened)
               : open (FILE_READ_ATTRIBUTES);
}

FileId idOf (HANDLE file, const BY_HANDLE_FILE_INFORMATION& info)
{
    FILE_ID_INFO id = {};

    // Some file systems have numbers of 128 bits: both halves count.
    if (::GetFileInformationByHandleEx (file, FileIdInfo, &id, sizeof (id)))
    {
        std::uint64_t halves[2] = {};
        std::memcpy (halves, &id.FileId, sizeof (halves));
        return { id.VolumeSerialNumber, halves[0] ^ (halves[1] * 0x9e3779b97f4a7c15u) };
    }

    return { info.dwVolumeSerialNumber, std::uint64_t{ info.nFileIndexHigh } << 32 | info.nFileIndexLow };
}

std::uint64_t bytesOnDisk (HANDLE file, DWORD attributes)
{
    FILE_COMPRESSION_INFO packed = {};
    FILE_STANDARD_INFO plain = {};

    if ((attributes & (FILE_ATTRIBUTE_SPARSE_FILE | FILE_ATTRIBUTE_COMPRESSED)) != 0
        && ::GetFileInformationByHandleEx (file, FileCompressionInfo, &packed, sizeof (packed)))
        return static_cast<std::uint64_t> (packed.CompressedFileSize.QuadPart);

    return ::GetFileInformationByHandleEx (file, FileStandardInfo, &plain, sizeof (plain))
               ? static_cast<std::uint64_t> (plain.AllocationSize.QuadPart)
               : 0;
}

SystemError ask (HANDLE file, FileStatus& status)
{
    using Kind = FileStatus::Kind;

    // A device that a name such as "NUL" leads to knows no more of itself.
    if (::GetFileType (file) != FILE_TYPE_DISK)
    {
        status = {};
        return {};
    }

    BY_HANDLE_FILE_INFORMATION info = {};

    if (! ::GetFileInformationByHandle (file, &info))
        return windows::lastError();

    constexpr std::int64_t secondsFrom1601To1970 = 11644473600, ticksOfSecond = 10000000, nsOfTick = 100;
    const auto modified = static_cast<std::int64_t> (
        std::uint64_t{ info.ftLastWriteTime.dwHighDateTime } << 32 | info.ftLastWriteTime.dwLowDateTime);
    const auto isFolder = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status = { windows::isLink (file) ? Kind::link
               : isFolder             ? Kind::folder
                                      : Kind::file,
               idOf (file, info),
               std::uint64_t{ info.nFileSizeHigh } << 32 | info.nFileSizeLow,
               bytesOnDisk (file, info.dwFileAttributes),
               (modified - secondsFrom1601To1970 * ticksOfSecond) * nsOfTick,
               windows::belongsToUser (file) };
    return {};
}
} // namespace

SystemError readStatus (const juce::File& file, FileStatus& status, Links links)
{
    const auto opened = openToAsk (file, links);
    return opened ? ask (opened.get(), status) : windows::lastError();
}

std::optional<FileStatus> statusOf (FileHandle handle)
{
    FileStatus status;
    return ask (systemHandle (handle), status).failed() ? std::nullopt : std::make_optional (status);
}

SystemError checkWritable (const juce::File& file)
{
    const OwnedHandle opened (::CreateFileW (
        widePath (file).c_str(), GENERIC_WRITE, windows::sharedWithAll, nullptr, OPEN_EXISTING, 0, nullptr));
    return opened ? SystemError() : windows::lastError();
}

juce::File withLinksResolved (const juce::File& file)
{
    if (const auto status = statusOf (file, Links::keep); ! status || status->kind != FileStatus::Kind::link)
        return file;

    const auto opened = openToAsk (file, Links::follow);
    std::wstring path (opened ? ::GetFinalPathNameByHandleW (opened.get(), nullptr, 0, 0) : 0, 0);
    path.resize (
        ::GetFinalPathNameByHandleW (opened.get(), path.data(), static_cast<DWORD> (path.size()), 0));

    // It comes as \\?\C:\folder or \\?\UNC\server\share.
    constexpr std::wstring_view plain = LR"(\\?\)", ofNetwork = LR"(\\?\UNC\)";

    if (path.starts_with (ofNetwork))
        return juce::File (windows::textOfWide (LR"(\\)" + path.substr (ofNetwork.size())));

    return path.starts_with (plain) ? juce::File (windows::textOfWide (path.substr (plain.size()))) : file;
}

SystemError copyPermissions (const juce::File& from, FileHandle to)
{
    return windows::copyAccess (from, systemHandle (to));
}

} // namespace tessivar
