#include "model/FileLock.h"

#include "model/DiskNames.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
/** True when the open file is still the one that the path leads to, and not one that was unlinked meanwhile. */
bool isStillAt (int descriptor, const juce::File& file)
{
    struct stat open = {};
    struct stat named = {};
    return ::fstat (descriptor, &open) == 0 && ::stat (bytesOfPath (file).c_str(), &named) == 0
           && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}
} // namespace

std::optional<FileLock> FileLock::take (const juce::File& file)
{
    const auto descriptor =
        ::open (bytesOfPath (file).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);

    if (descriptor < 0)
        return std::nullopt;

    if (::flock (descriptor, LOCK_EX | LOCK_NB) == 0)
    {
        if (isStillAt (descriptor, file))
            return FileLock (descriptor);

        errno = EWOULDBLOCK; // somebody removes the file at this moment: the next try makes a new one
    }

    const auto error = errno;
    ::close (descriptor);
    errno = error;
    return std::nullopt;
}

std::optional<FileLock> FileLock::waitFor (const juce::File& file, int milliseconds)
{
    if (makeFolder (file.getParentDirectory()).failed())
        return std::nullopt;

    const auto start = juce::Time::getMillisecondCounter();

    for (;;)
    {
        if (auto lock = take (file))
            return lock;

        const auto mayPass = errno == EWOULDBLOCK || errno == EINTR;

        if (! mayPass
            || juce::Time::getMillisecondCounter() - start >= static_cast<juce::uint32> (milliseconds))
            return std::nullopt;

        juce::Thread::sleep (2);
    }
}

FileLock& FileLock::operator= (FileLock&& other) noexcept
{
    std::swap (descriptor, other.descriptor);
    return *this;
}

FileLock::~FileLock()
{
    if (descriptor >= 0)
        ::close (descriptor);
}

Unfinished unfinishedState (const juce::File& file)
{
    const auto tail = file.getFileName().fromLastOccurrenceOf (".tmp-", false, false);
    const auto process = tail.upToFirstOccurrenceOf ("-", false, false);
    const auto random = tail.fromFirstOccurrenceOf ("-", false, false);

    if (! file.getFileName().startsWithChar ('.') || process.isEmpty() || process.length() > 9
        || ! process.containsOnly ("0123456789") || random.length() != 8
        || ! random.containsOnly ("0123456789abcdef"))
        return Unfinished::no;

    const auto isLiving = ::kill (static_cast<pid_t> (process.getIntValue()), 0) == 0 || errno == EPERM;
    return isLiving ? Unfinished::beingWritten : Unfinished::leftBehind;
}

juce::Result makeFolder (const juce::File& folder)
{
    // A folder above may be the one that the other process makes: then a second try goes on from there.
    for (int attempt = 0; attempt < 3 && ! folder.isDirectory(); ++attempt)
        juce::ignoreUnused (folder.createDirectory());

    return folder.isDirectory() ? juce::Result::ok() : folder.createDirectory();
}

} // namespace tessivar
