#include "model/AtomicFile.h"
#include "model/DiskNames.h"
#include "model/FileLock.h"
#include "model/TemporaryStore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/file.h>

namespace tessivar
{

namespace
{
constexpr std::size_t longestFileName = 255; // bytes, of every file system in use

juce::File withLinksResolved (const juce::File& file)
{
    struct stat info = {};
    const auto path = bytesOfPath (file);

    if (::lstat (path.c_str(), &info) != 0 || ! S_ISLNK (info.st_mode))
        return file;

    std::unique_ptr<char, decltype (&std::free)> real{ ::realpath (path.c_str(), nullptr), &std::free };
    return real != nullptr ? juce::File (pathOfBytes (real.get())) : file;
}

/** A name that unfinishedState() knows. */
juce::File temporaryBeside (const juce::File& target)
{
    constexpr std::string_view mark = ".tmp-";
    constexpr std::size_t tail = 10 + 1 + 8; // "<process id>-<random>"
    const auto name = shortenedToBytes (target.getFileName(), longestFileName - 1 - mark.size() - tail);
    const auto random = juce::String::toHexString (juce::Random::getSystemRandom().nextInt());
    return target.getSiblingFile ("." + name + mark.data() + juce::String (::getpid()) + "-"
                                  + random.paddedLeft ('0', 8));
}
} // namespace

juce::String describeError (int errorNumber)
{
    return juce::String::fromUTF8 (std::generic_category().message (errorNumber).c_str());
}

juce::String shortenedToBytes (const juce::String& name, std::size_t maxBytes)
{
    const auto* bytes = name.toRawUTF8();
    auto length = name.getNumBytesAsUTF8();

    if (length <= maxBytes)
        return name;

    length = maxBytes;

    // A byte of the form 10xxxxxx continues a character: the cut goes before the character it belongs to.
    while (length > 0 && (static_cast<unsigned char> (bytes[length]) & 0xc0) == 0x80)
        --length;

    return juce::String::fromUTF8 (bytes, static_cast<int> (length));
}

juce::Result checkTarget (const juce::File& target)
{
    const auto refused = [&] (const juce::String& reason)
    { return juce::Result::fail (target.getFullPathName() + " can't be written: " + reason); };
    struct stat info = {};

    if (::stat (bytesOfPath (target).c_str(), &info) != 0)
        return errno == ENOENT ? juce::Result::ok() : refused (describeError (errno));

    if (S_ISDIR (info.st_mode))
        return refused (describeError (EISDIR));

    if (! S_ISREG (info.st_mode))
        return refused ("it is no regular file");

    if (::faccessat (AT_FDCWD, bytesOfPath (target).c_str(), W_OK, AT_EACCESS) != 0)
        return refused (describeError (errno));

    return juce::Result::ok();
}

AtomicFile::AtomicFile (const juce::File& file, FileSystemCalls& callsToUse)
    : calls (callsToUse), target (withLinksResolved (file))
{
}

AtomicFile::~AtomicFile()
{
    discard();
}

juce::Result AtomicFile::open (std::uint64_t expectedBytes)
{
    jassert (descriptor < 0 && ! temporaryExists);
    const auto folder = target.getParentDirectory();
    struct stat existing = {};
    const auto replaces = ::stat (bytesOfPath (target).c_str(), &existing) == 0;

    if (result = checkTarget (target); result.failed())
        return result;

    sweepUnfinished (folder);

    // Nobody but the owner sees the content before it has the permissions of the file it replaces.
    const auto mode = replaces ? 0600u : 0666u;

    for (int attempt = 0; attempt < 16 && descriptor < 0; ++attempt)
    {
        temporary = temporaryBeside (target);
        descriptor = calls.open (
            bytesOfPath (temporary).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);

        if (descriptor < 0 && errno != EEXIST && errno != EINTR)
            break;
    }

    if (descriptor < 0)
    {
        fail ("can't be written in folder " + folder.getFullPathName(), errno);
        return result;
    }

    temporaryExists = true;

    // Says to others that it is being written, as far as the file system knows locks.
    juce::ignoreUnused (::flock (descriptor, LOCK_EX | LOCK_NB));

    // File systems without permissions refuse this, and there is nothing to keep then.
    if (replaces && ::fchmod (descriptor, existing.st_mode & 07777) != 0 && errno != EPERM
        && errno != EOPNOTSUPP)
    {
        fail ("can't be given its permissions", errno);
        discard();
        return result;
    }

    expectedSize = expectedBytes;

    if (expectedBytes > 0)
    {
        const auto free = freeBytesOf (folder);
        auto error = free.has_value() && *free < expectedBytes ? ENOSPC : 0;

        while (
            error == 0
            && calls.fallocate (descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<std::int64_t> (expectedBytes))
                   != 0)
        {
            if (errno == EINTR)
                continue;

            // Without reservation a full disk shows at the write that fills it.
            if (errno != EOPNOTSUPP && errno != EINVAL && errno != ENOSYS)
                error = errno;

            break;
        }

        if (error != 0)
        {
            fail ("can't be written", error);
            discard();
            return result;
        }
    }

    buffer.malloc (bufferSize);
    return result;
}

bool AtomicFile::write (const void* data, std::size_t numBytes)
{
    jassert (descriptor >= 0 || result.failed());
    const auto* bytes = static_cast<const char*> (data);

    while (numBytes > 0 && result.wasOk() && descriptor >= 0)
    {
        if (bufferedBytes == bufferSize && ! writeOutBuffer())
            break;

        const auto count = std::min (numBytes, bufferSize - bufferedBytes);
        std::memcpy (buffer + bufferedBytes, bytes, count);
        bufferedBytes += count;
        position += static_cast<juce::int64> (count);
        bytes += count;
        numBytes -= count;
    }

    return result.wasOk() && numBytes == 0;
}

bool AtomicFile::setPosition (juce::int64 newPosition)
{
    jassert (newPosition >= 0);

    if (newPosition == position)
        return result.wasOk();

    if (! writeOutBuffer())
        return false;

    bufferStart = newPosition;
    position = newPosition;
    return true;
}

void AtomicFile::flush()
{
    writeOutBuffer();
}

bool AtomicFile::writeOutBuffer()
{
    std::size_t done = 0;

    while (result.wasOk() && descriptor >= 0 && done < bufferedBytes)
    {
        const auto count = calls.pwrite (
            descriptor, buffer + done, bufferedBytes - done, bufferStart + static_cast<juce::int64> (done));

        if (count > 0)
            done += static_cast<std::size_t> (count);
        else if (count == 0)
            fail ("can't be written",
                  EIO); // a write that takes nothing and gives no reason would go on for ever
        else if (errno != EINTR)
            fail ("can't be written", errno);
    }

    bufferStart += static_cast<juce::int64> (bufferedBytes);
    bufferedBytes = 0;
    return result.wasOk();
}

juce::Result AtomicFile::finish()
{
    if (descriptor < 0)
        return result;

    writeOutBuffer();

    while (result.wasOk() && calls.fdatasync (descriptor) != 0)
        if (errno != EINTR)
            fail ("can't be written", errno);

    // Linux frees the descriptor even when close reports an error, so it is never closed twice.
    const auto closed = calls.close (std::exchange (descriptor, -1)) == 0;

    if (! closed && result.wasOk() && errno != EINTR)
        fail ("can't be written", errno);

    if (result.failed())
        discard();

    return result;
}

juce::Result AtomicFile::commit (IfTargetExists ifTargetExists)
{
    if (finish().failed())
        return result;

    jassert (temporaryExists);

    const auto rename = [&] (bool replace)
    { return calls.rename (bytesOfPath (temporary).c_str(), bytesOfPath (target).c_str(), replace) == 0; };

    auto renamed = rename (ifTargetExists == IfTargetExists::replace);

    if (! renamed && ifTargetExists == IfTargetExists::fail && (errno == EINVAL || errno == ENOSYS))
    {
        // The next best thing where it can't be done in one step: to look just before.
        if (target.exists())
            errno = EEXIST;
        else
            renamed = rename (true);
    }

    if (! renamed)
    {
        fail ("can't be given its name", errno);
        discard();
        return result;
    }

    temporaryExists = false;
    const auto folder = bytesOfPath (target.getParentDirectory());
    const auto folderDescriptor = calls.open (folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);

    if (folderDescriptor < 0)
    {
        // A folder that may be written to but not listed can't be opened for the flush either.
        if (errno != EACCES)
            fail ("may not survive a power cut", errno);

        return result;
    }

    // Some network and FUSE file systems have no such thing as flushing a folder.
    if (calls.fsync (folderDescriptor) != 0 && errno != EINVAL && errno != EOPNOTSUPP && errno != ENOSYS)
        fail ("may not survive a power cut", errno);

    calls.close (folderDescriptor);
    return result;
}

void AtomicFile::fail (const juce::String& action, int errorNumber)
{
    if (result.failed())
        return;

    auto text = target.getFullPathName() + " " + action;

    if (errorNumber != 0)
        text << ": " << describeError (errorNumber);

    if (errorNumber == ENOSPC || errorNumber == EDQUOT || errorNumber == EFBIG)
    {
        const auto needed = std::max (expectedSize, static_cast<std::uint64_t> (position));
        text << " (" << juce::String (needed) << " bytes needed";

        if (const auto free = freeBytesOf (target.getParentDirectory()))
            text << ", " << juce::String (*free) << " bytes free";

        text << ")";
    }

    result = juce::Result::fail (text);
}

void AtomicFile::discard()
{
    if (descriptor >= 0)
        calls.close (std::exchange (descriptor, -1));

    if (temporaryExists)
        calls.unlink (bytesOfPath (temporary).c_str());

    temporaryExists = false;
    bufferedBytes = 0;
}

} // namespace tessivar
