#include "model/FileLock.h"

#include "model/DiskNames.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <vector>

#include <dirent.h>
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
    constexpr std::int64_t longestPause = 600; // s
    struct stat info = {};
    const auto isThere = ::lstat (bytesOfPath (file).c_str(), &info) == 0;

    if (isLiving && isThere && juce::Time::currentTimeMillis() / 1000 - info.st_mtim.tv_sec <= longestPause)
        return Unfinished::beingWritten;

    // The number of a process is given to another one some day, and on another computer it says nothing: the lock does.
    const auto descriptor =
        ::open (bytesOfPath (file).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    const auto isFree = descriptor >= 0 && ::flock (descriptor, LOCK_EX | LOCK_NB) == 0;
    const auto isHeld = descriptor >= 0 && ! isFree && errno == EWOULDBLOCK;

    if (descriptor >= 0)
        ::close (descriptor);

    return isHeld || (isLiving && ! isFree) ? Unfinished::beingWritten : Unfinished::leftBehind;
}

void sweepUnfinished (const juce::File& folder)
{
    auto* const listing = ::opendir (bytesOfPath (folder).c_str());

    if (listing == nullptr)
        return;

    std::vector<juce::File> found;

    while (const auto* entry = ::readdir (listing))
        if (entry->d_name[0] == '.' && std::strstr (entry->d_name, ".tmp-") != nullptr)
            found.push_back (folder.getChildFile (pathOfBytes (entry->d_name)));

    ::closedir (listing);

    for (const auto& file : found)
    {
        struct stat info = {};

        if (::lstat (bytesOfPath (file).c_str(), &info) == 0 && S_ISREG (info.st_mode)
            && info.st_uid == ::geteuid() && unfinishedState (file) == Unfinished::leftBehind)
            ::unlink (bytesOfPath (file).c_str());
    }
}

juce::Result makeFolder (const juce::File& folder)
{
    // Each folder above may be made by another process at this moment: then the next try goes on from there.
    for (int attempt = 0; attempt < 10 && ! folder.isDirectory(); ++attempt)
        juce::ignoreUnused (folder.createDirectory());

    return folder.isDirectory() ? juce::Result::ok() : folder.createDirectory();
}

juce::File existingAncestor (juce::File folder)
{
    while (! folder.exists() && folder != folder.getParentDirectory())
        folder = folder.getParentDirectory();

    return folder;
}

} // namespace tessivar
