#include "platform/FileSystemCalls.h"

#include "platform/BrokenReplacement.h"
#include "platform/DiskNames.h"
#include "platform/posix/SystemCall.h"

#include <cstdio>

#include <fcntl.h>
#include <linux/falloc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

using posix::descriptorOf, posix::resultOf, posix::untilDone;

namespace
{
constexpr mode_t forEverybody = 0666, forTheUser = 0600;

struct Flags
{
    int flags = 0;
    mode_t mode = 0;
};

Flags flagsFor (Opening how)
{
    constexpr auto waitsForNobody = O_NONBLOCK | O_NOCTTY;

    switch (how)
    {
        case Opening::newFile:
            return { O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, forEverybody };
        case Opening::newPrivateFile:
            return { O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, forTheUser };
        case Opening::ownFile:
            return { O_RDWR | O_NOFOLLOW | waitsForNobody };
        case Opening::readAndWrite:
            return { O_RDWR | waitsForNobody };
        case Opening::append:
            return { O_WRONLY | O_CREAT | O_APPEND, forTheUser };
        case Opening::readOnly:
        case Opening::unnamed:
            break;
    }

    return { O_RDONLY | waitsForNobody };
}

Transfer transferOf (ssize_t result)
{
    return { resultOf (result), result > 0 ? static_cast<std::size_t> (result) : 0 };
}

/** A name in the folder is given for a moment, since not all file systems know files without one. */
int openUnnamed (const juce::File& folder)
{
    auto pattern = bytesOfPath (folder.getChildFile ("tessivar-benchmark-XXXXXX"));
    const auto descriptor = ::mkostemp (pattern.data(), O_CLOEXEC);

    if (descriptor >= 0)
        ::unlink (pattern.c_str());

    return descriptor;
}
} // namespace

SystemError FileSystemCalls::open (const juce::File& file, Opening how, FileHandle& handle)
{
    const auto path = bytesOfPath (file);
    const auto [flags, mode] = flagsFor (how);
    const auto descriptor =
        how == Opening::unnamed
            ? openUnnamed (file)
            : untilDone ([&, f = flags, m = mode] { return ::open (path.c_str(), f | O_CLOEXEC, m); });
    handle = posix::handleOf (descriptor);
    return resultOf (descriptor);
}

SystemError FileSystemCalls::close (FileHandle handle)
{
    // Linux frees the descriptor even when it reports an error, so it is never closed twice.
    return ::close (descriptorOf (handle)) == 0 || errno == EINTR ? SystemError() : posix::lastError();
}

Transfer
FileSystemCalls::writeAt (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes)
{
    return transferOf (untilDone (
        [&] { return ::pwrite (descriptorOf (handle), data, numBytes, static_cast<off_t> (offset)); }));
}

Transfer FileSystemCalls::readAt (FileHandle handle, std::uint64_t offset, void* dest, std::size_t numBytes)
{
    return transferOf (untilDone (
        [&] { return ::pread (descriptorOf (handle), dest, numBytes, static_cast<off_t> (offset)); }));
}

// fallocate(2) and not posix_fallocate, which writes every block where the file system can't reserve.

SystemError FileSystemCalls::reserve (FileHandle handle, std::uint64_t numBytes, SizeOfFile sizeOfFile)
{
    const auto mode = sizeOfFile == SizeOfFile::keep ? FALLOC_FL_KEEP_SIZE : 0;
    return resultOf (untilDone (
        [&] { return ::fallocate (descriptorOf (handle), mode, 0, static_cast<off_t> (numBytes)); }));
}

SystemError FileSystemCalls::giveBack (FileHandle handle, std::uint64_t offset, std::uint64_t numBytes)
{
    return resultOf (untilDone (
        [&]
        {
            return ::fallocate (descriptorOf (handle),
                                FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                                static_cast<off_t> (offset),
                                static_cast<off_t> (numBytes));
        }));
}

SystemError FileSystemCalls::setSize (FileHandle handle, std::uint64_t numBytes)
{
    return resultOf (
        untilDone ([&] { return ::ftruncate (descriptorOf (handle), static_cast<off_t> (numBytes)); }));
}

SystemError FileSystemCalls::flush (FileHandle handle)
{
    return resultOf (untilDone ([&] { return ::fdatasync (descriptorOf (handle)); }));
}

SystemError FileSystemCalls::flushFolder (const juce::File& folder)
{
    const auto descriptor = ::open (bytesOfPath (folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);

    // A folder that may be written to but not listed can't be opened for the flush either.
    if (descriptor < 0)
        return errno == EACCES ? SystemError() : posix::lastError();

    // Some network and FUSE file systems have no such thing as flushing a folder.
    const auto error = resultOf (::fsync (descriptor));
    ::close (descriptor);
    return error.kind() == SystemError::Kind::notSupported ? SystemError() : error;
}

SystemError FileSystemCalls::rename (const juce::File& from, const juce::File& to, bool replace)
{
    return resultOf (::renameat2 (AT_FDCWD,
                                  bytesOfPath (from).c_str(),
                                  AT_FDCWD,
                                  bytesOfPath (to).c_str(),
                                  replace ? 0 : RENAME_NOREPLACE));
}

bool undoBrokenReplacement (const juce::File&)
{
    return false; // all replace in one step
}

SystemError FileSystemCalls::remove (const juce::File& file)
{
    return resultOf (::unlink (bytesOfPath (file).c_str()));
}

void dropCached (FileHandle handle)
{
    juce::ignoreUnused (::posix_fadvise (descriptorOf (handle), 0, 0, POSIX_FADV_DONTNEED));
}

} // namespace tessivar
