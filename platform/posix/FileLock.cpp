#include "platform/FileLock.h"

#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/posix/SystemCall.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace tessivar
{

using posix::descriptorOf;

std::optional<FileLock> FileLock::take (const juce::File& file, SystemError& error)
{
    OpenFile opened (posix::handleOf (
        ::open (bytesOfPath (file).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)));

    if (! opened.isOpen() || ::flock (descriptorOf (opened.handle()), LOCK_EX | LOCK_NB) != 0)
    {
        error = posix::lastError();
        return std::nullopt;
    }

    if (isStillAt (opened.handle(), file))
        return FileLock (std::move (opened));

    error =
        SystemError::Kind::inUse; // somebody removes the file at this moment: the next try makes a new one
    return std::nullopt;
}

LockState tryLock (FileHandle handle)
{
    if (posix::untilDone ([&] { return ::flock (descriptorOf (handle), LOCK_EX | LOCK_NB); }) == 0)
        return LockState::free;

    return errno == EWOULDBLOCK ? LockState::held : LockState::unknown;
}

LockState lockStateOf (const juce::File& file)
{
    const OpenFile opened (posix::handleOf (
        ::open (bytesOfPath (file).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY)));
    return opened.isOpen() ? tryLock (opened.handle()) : LockState::unknown;
}

int holderOfLock (FileHandle handle)
{
    struct stat info = {};

    if (::fstat (descriptorOf (handle), &info) != 0)
        return 0;

    std::array<char, 64> key{};
    std::snprintf (key.data(),
                   key.size(),
                   "%02x:%02x:%llu",
                   static_cast<unsigned> (major (info.st_dev)),
                   static_cast<unsigned> (minor (info.st_dev)),
                   static_cast<unsigned long long> (info.st_ino));

    juce::StringArray lines;
    lines.addLines (juce::File ("/proc/locks").loadFileAsString());

    // "1: FLOCK  ADVISORY  WRITE 1234 fe:00:5678 0 EOF"
    for (const auto& line : lines)
    {
        auto words = juce::StringArray::fromTokens (line, " ", {});
        words.removeEmptyStrings();

        if (words.size() > 5 && words[1] == "FLOCK" && words[5] == key.data())
            return words[4].getIntValue();
    }

    return 0;
}

} // namespace tessivar
