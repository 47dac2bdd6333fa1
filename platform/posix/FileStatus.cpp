#include "platform/FileStatus.h"

#include "platform/DiskNames.h"
#include "platform/posix/SystemCall.h"

#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

using posix::descriptorOf, posix::resultOf;

namespace
{
FileStatus::Kind kindOf (mode_t mode)
{
    using Kind = FileStatus::Kind;
    return S_ISREG (mode)   ? Kind::file
           : S_ISDIR (mode) ? Kind::folder
           : S_ISLNK (mode) ? Kind::link
                            : Kind::other;
}

FileStatus statusFrom (const struct stat& info)
{
    constexpr std::uint64_t unitOfBlocks = 512;
    return { kindOf (info.st_mode),
             { static_cast<std::uint64_t> (info.st_dev), static_cast<std::uint64_t> (info.st_ino) },
             static_cast<std::uint64_t> (info.st_size),
             static_cast<std::uint64_t> (info.st_blocks) * unitOfBlocks,
             std::int64_t{ info.st_mtim.tv_sec } * 1000000000 + info.st_mtim.tv_nsec,
             info.st_uid == ::geteuid() };
}
} // namespace

SystemError readStatus (const juce::File& file, FileStatus& status, Links links)
{
    struct stat info = {};
    const auto path = bytesOfPath (file);
    const auto error =
        resultOf (links == Links::follow ? ::stat (path.c_str(), &info) : ::lstat (path.c_str(), &info));

    if (! error.failed())
        status = statusFrom (info);

    return error;
}

std::optional<FileStatus> statusOf (FileHandle handle)
{
    struct stat info = {};
    return ::fstat (descriptorOf (handle), &info) == 0 ? std::make_optional (statusFrom (info))
                                                       : std::nullopt;
}

SystemError checkWritable (const juce::File& file)
{
    return resultOf (::faccessat (AT_FDCWD, bytesOfPath (file).c_str(), W_OK, AT_EACCESS));
}

juce::File withLinksResolved (const juce::File& file)
{
    if (const auto status = statusOf (file, Links::keep); ! status || status->kind != FileStatus::Kind::link)
        return file;

    const std::unique_ptr<char, decltype (&std::free)> real{ ::realpath (bytesOfPath (file).c_str(), nullptr),
                                                             &std::free };
    return real != nullptr ? juce::File (pathOfBytes (real.get())) : file;
}

SystemError copyPermissions (const juce::File& from, FileHandle to)
{
    struct stat info = {};

    if (::stat (bytesOfPath (from).c_str(), &info) != 0)
        return {};

    // File systems without permissions refuse this, and there is nothing to keep then.
    if (::fchmod (descriptorOf (to), info.st_mode & 07777) == 0 || errno == EPERM || errno == EOPNOTSUPP)
        return {};

    return posix::lastError();
}

} // namespace tessivar
