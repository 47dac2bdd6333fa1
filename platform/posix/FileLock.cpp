#include "platform/FileLock.h"

#include "platform/DiskNames.h"
#include "platform/FileLocking.h"
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

SystemError fileLocking::open (const juce::File& file, IfMissing ifMissing, OpenFile& opened)
{
    const auto flags = O_CLOEXEC | O_NOFOLLOW
                       | (ifMissing == IfMissing::make ? O_RDWR | O_CREAT : O_RDONLY | O_NONBLOCK | O_NOCTTY);
    opened = OpenFile (posix::handleOf (::open (bytesOfPath (file).c_str(), flags, 0600)));
    return opened.isOpen() ? SystemError() : posix::lastError();
}

SystemError fileLocking::lock (FileHandle handle)
{
    return posix::resultOf (
        posix::untilDone ([&] { return ::flock (descriptorOf (handle), LOCK_EX | LOCK_NB); }));
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
