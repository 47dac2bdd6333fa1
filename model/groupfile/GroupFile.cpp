#include "model/groupfile/GroupFile.h"

#include "model/AtomicFile.h"
#include "model/DiskNames.h"
#include "model/OutputRules.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
/** The process that holds a lock on an open file, where the system tells; 0 where not. */
int holderOfLock (int descriptor)
{
    struct stat info = {};

    if (::fstat (descriptor, &info) != 0)
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

juce::String heldByAnother (int descriptor)
{
    const auto holder = holderOfLock (descriptor);

    if (holder == ::getpid())
        return "open in another window of this program";

    return holder > 0 ? "open in another window (process " + juce::String (holder) + ")"
                      : juce::String ("open in another window");
}

/** Empty when the lock was taken, or when the file system knows no locks. */
juce::String takeLockOf (int descriptor)
{
    while (::flock (descriptor, LOCK_EX | LOCK_NB) != 0)
    {
        if (errno == EWOULDBLOCK)
            return heldByAnother (descriptor);

        if (errno != EINTR)
            break;
    }

    return {};
}

std::int64_t timeOf (const struct stat& info)
{
    return static_cast<std::int64_t> (info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

int openWithoutWaiting (const juce::File& file, int flags)
{
    // A pipe would wait for its writer.
    return ::open (bytesOfPath (file).c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}
} // namespace

juce::Result GroupFile::open (const juce::File& path, std::shared_ptr<GroupFile>& file)
{
    const auto failed = [&] (const juce::String& reason)
    { return juce::Result::fail (path.getFullPathName() + ": " + reason); };

    // Before anything is opened: opening a device can have effects of its own.
    struct stat info = {};

    if (::stat (bytesOfPath (path).c_str(), &info) != 0)
        return failed (describeError (errno));

    if (! S_ISREG (info.st_mode))
        return failed (S_ISDIR (info.st_mode) ? "is a folder" : "is no regular file");

    juce::String againstWriting;
    auto opened = openWithoutWaiting (path, O_RDWR);

    if (opened < 0 && (errno == EACCES || errno == EROFS || errno == EPERM || errno == ETXTBSY))
    {
        againstWriting = "write-protected";
        opened = openWithoutWaiting (path, O_RDONLY);
    }

    if (opened < 0)
        return failed (describeError (errno));

    if (::fstat (opened, &info) != 0 || ! S_ISREG (info.st_mode))
    {
        ::close (opened);
        return failed ("is no regular file");
    }

    std::shared_ptr<GroupFile> result (
        new GroupFile (path, opened, static_cast<std::uint64_t> (info.st_size)));
    result->reasonAgainstWriting = againstWriting;
    result->takeLock();
    result->noteContent();
    file = std::move (result);
    return juce::Result::ok();
}

GroupFile::GroupFile (const juce::File& path, int descriptorToOwn, std::uint64_t fileSize)
    : name (path), fileDescriptor (descriptorToOwn), size (fileSize)
{
}

GroupFile::~GroupFile()
{
    ::close (fileDescriptor);
}

void GroupFile::takeLock()
{
    if (const auto holder = takeLockOf (fileDescriptor); holder.isNotEmpty())
        reasonAgainstWriting = holder;
}

bool GroupFile::read (std::uint64_t offset, std::span<std::uint8_t> dest)
{
    const auto known = size.load();

    if (offset > known || dest.size() > known - offset)
        return fail ("read outside the file");

    while (! dest.empty())
    {
        const auto count = ::pread (fileDescriptor, dest.data(), dest.size(), static_cast<off_t> (offset));

        if (count > 0)
        {
            dest = dest.subspan (static_cast<std::size_t> (count));
            offset += static_cast<std::uint64_t> (count);
        }
        else if (count == 0)
        {
            return failAt (offset, "the file has been cut short");
        }
        else if (errno != EINTR)
        {
            return failAt (offset, describeError (errno));
        }
    }

    return true;
}

bool GroupFile::isStillAt (const juce::File& path) const
{
    struct stat open = {}, named = {};
    return ::fstat (fileDescriptor, &open) == 0 && ::stat (bytesOfPath (path).c_str(), &named) == 0
           && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

bool GroupFile::isUnchanged() const
{
    struct stat open = {};
    return isStillAt (name) && ::fstat (fileDescriptor, &open) == 0
           && static_cast<std::uint64_t> (open.st_size) == size && isAsNoted();
}

bool GroupFile::wasChangedAt (const juce::File& target) const
{
    return isStillAt (target) ? ! isAsNoted() : isSameFile (target, name);
}

bool GroupFile::isAsNoted() const
{
    Content before;

    {
        const std::lock_guard guard (stateLock);
        before = noted;
    }

    struct stat info = {};

    // A time alone says little: copying programs touch files. What somebody has saved stands at the end.
    return ::fstat (fileDescriptor, &info) == 0 && static_cast<std::uint64_t> (info.st_size) == before.size
           && (timeOf (info) == before.modified || endSumOf (before.size) == before.endSum);
}

void GroupFile::noteContent()
{
    struct stat info = {};

    if (::fstat (fileDescriptor, &info) != 0)
        return;

    const auto present = static_cast<std::uint64_t> (info.st_size);
    const Content content{ present, timeOf (info), endSumOf (present) };
    const std::lock_guard guard (stateLock);
    noted = content;
}

std::uint32_t GroupFile::endSumOf (std::uint64_t fileSize) const
{
    constexpr std::uint64_t most = 64 << 10; // the records of all tracks, and more
    std::vector<std::uint8_t> end (static_cast<std::size_t> (std::min (most, fileSize)));
    const auto count =
        ::pread (fileDescriptor, end.data(), end.size(), static_cast<off_t> (fileSize - end.size()));
    end.resize (count > 0 ? static_cast<std::size_t> (count) : 0);
    return crc32Of (end);
}

std::uint64_t GroupFile::bytesOnDisk() const
{
    constexpr std::uint64_t unitOfBlocks = 512;
    struct stat info = {};
    return ::fstat (fileDescriptor, &info) == 0 ? static_cast<std::uint64_t> (info.st_blocks) * unitOfBlocks
                                                : size.load();
}

juce::String GroupFile::lastError() const
{
    const std::lock_guard guard (stateLock);
    return error;
}

juce::Result GroupFile::readResult() const
{
    const std::lock_guard guard (stateLock);
    return firstFailure.isEmpty() ? juce::Result::ok() : juce::Result::fail (firstFailure);
}

void GroupFile::setTail (std::uint64_t start, std::uint64_t end)
{
    startOfTail = start;
    size = end;
    noteContent();
}

std::vector<AudioRange> GroupFile::rangesInUse() const
{
    const std::lock_guard guard (stateLock);
    return used;
}

bool GroupFile::fail (const juce::String& reason)
{
    const std::lock_guard guard (stateLock);
    error = name.getFullPathName() + ": " + reason;
    return false;
}

bool GroupFile::failAt (std::uint64_t offset, const juce::String& reason)
{
    {
        const std::lock_guard guard (stateLock);

        if (firstFailure.isEmpty())
            firstFailure = name.getFullPathName() + ": the file can't be read at byte "
                           + juce::String (offset) + ": " + reason;
    }

    return fail (reason);
}

void GroupFile::addUser (const AudioRange& range)
{
    const std::lock_guard guard (stateLock);
    used.push_back (range);
}

void GroupFile::removeUser (const AudioRange& range)
{
    const std::lock_guard guard (stateLock);
    used.erase (std::find (used.begin(), used.end(), range));
}

//======================================================================================================================

GroupFileSamples::GroupFileSamples (std::shared_ptr<GroupFile> file,
                                    const AudioRange& range,
                                    const SumsPlace& sums)
    : groupFile (std::move (file)), audio (range), sumsPlace (sums)
{
    groupFile->addUser (audio);
}

GroupFileSamples::~GroupFileSamples()
{
    groupFile->removeUser (audio);
}

bool GroupFileSamples::readFrames (std::int64_t start, std::span<float> dest)
{
    static_assert (std::endian::native == std::endian::little, "samples are read as they stand in the file");
    const auto bytesPerFrame = sizeof (float) * static_cast<std::uint64_t> (audio.channels);
    const auto from = static_cast<std::uint64_t> (start) * bytesPerFrame;

    if (start < 0 || from > audio.size || dest.size_bytes() > audio.size - from)
        return groupFile->fail ("read outside a track");

    const std::span<std::uint8_t> bytes (reinterpret_cast<std::uint8_t*> (dest.data()), dest.size_bytes());

    if (! groupFile->read (audio.offset + from, bytes))
        return false;

    // A device that gets a sample that is no number may play anything.
    for (auto& sample : dest)
        sample = std::isfinite (sample) ? sample : 0.0f;

    return true;
}

juce::Result lockGroupTarget (const juce::File& target, const GroupFile* current, int& lockDescriptor)
{
    juce::String holder;
    lockDescriptor = -1;

    if (current != nullptr && current->isStillAt (target))
        holder = current->why();
    else if (lockDescriptor = openWithoutWaiting (target, O_RDONLY); lockDescriptor >= 0)
        holder = takeLockOf (lockDescriptor);

    return holder.isEmpty() ? juce::Result::ok()
                            : juce::Result::fail (target.getFullPathName() + ": " + holder);
}

juce::Result checkGroupTarget (const juce::File& target, const GroupFile* current)
{
    auto descriptor = -1;
    const auto result = lockGroupTarget (target, current, descriptor);

    if (descriptor >= 0)
        ::close (descriptor);

    return result;
}

} // namespace tessivar
