#include "model/groupfile/GroupFile.h"

#include "platform/FileLock.h"
#include "platform/FileStatus.h"
#include "platform/Process.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
/** Empty when the lock was taken, or when the file system knows no locks. */
juce::String takeLockOf (FileHandle handle)
{
    if (tryLock (handle) != LockState::held)
        return {};

    const auto holder = holderOfLock (handle);

    if (holder == processId())
        return "open in another window of this program";

    return holder > 0 ? "open in another window (process " + juce::String (holder) + ")"
                      : juce::String ("open in another window");
}
} // namespace

juce::Result GroupFile::open (const juce::File& path, std::shared_ptr<GroupFile>& file)
{
    const auto failed = [&] (const juce::String& reason)
    { return juce::Result::fail (path.getFullPathName() + ": " + reason); };
    FileStatus status;

    // Before anything is opened: opening a device can have effects of its own.
    if (const auto error = readStatus (path, status); error.failed())
        return failed (error.text());

    if (! status.isFile())
        return failed (status.isFolder() ? "is a folder" : "is no regular file");

    juce::String againstWriting;
    OpenFile opened;
    auto error = opened.open (path, Opening::readAndWrite);

    if (error.kind() == SystemError::Kind::notPermitted)
    {
        againstWriting = "write-protected";
        error = opened.open (path, Opening::readOnly);
    }

    if (error.failed())
        return failed (error.text());

    const auto found = statusOf (opened.handle());

    if (! found || ! found->isFile())
        return failed ("is no regular file");

    if (const auto holder = takeLockOf (opened.handle()); holder.isNotEmpty())
        againstWriting = holder;

    std::shared_ptr<GroupFile> result (new GroupFile (path, std::move (opened), found->size));
    result->reasonAgainstWriting = againstWriting;
    result->noteContent();
    file = std::move (result);
    return juce::Result::ok();
}

GroupFile::GroupFile (const juce::File& path, OpenFile fileToOwn, std::uint64_t fileSize)
    : name (path), opened (std::move (fileToOwn)), size (fileSize)
{
}

bool GroupFile::read (std::uint64_t offset, std::span<std::uint8_t> dest)
{
    const auto known = size.load();

    if (offset > known || dest.size() > known - offset)
        return fail ("read outside the file");

    const auto [failure, count] =
        FileSystemCalls::system().readAll (handle(), offset, dest.data(), dest.size());

    if (failure.failed() || count < dest.size())
        return failAt (offset + count, failure.failed() ? failure.text() : "the file has been cut short");

    return true;
}

bool GroupFile::isStillAt (const juce::File& path) const
{
    return tessivar::isStillAt (handle(), path);
}

bool GroupFile::isUnchanged() const
{
    const auto status = statusOf (handle());
    return isStillAt (name) && status && status->size == size && isAsNoted();
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

    const auto status = statusOf (handle());

    // A time alone says little: copying programs touch files. What somebody has saved stands at the end.
    return status && status->size == before.size
           && (status->modified == before.modified || endSumOf (before.size) == before.endSum);
}

void GroupFile::noteContent()
{
    const auto status = statusOf (handle());

    if (! status)
        return;

    const Content content{ status->size, status->modified, endSumOf (status->size) };
    const std::lock_guard guard (stateLock);
    noted = content;
}

std::uint32_t GroupFile::endSumOf (std::uint64_t fileSize) const
{
    constexpr std::uint64_t most = 64 << 10; // the records of all tracks, and more
    std::vector<std::uint8_t> end (static_cast<std::size_t> (std::min (most, fileSize)));
    end.resize (
        FileSystemCalls::system().readAll (handle(), fileSize - end.size(), end.data(), end.size()).numBytes);
    return crc32Of (end);
}

std::uint64_t GroupFile::bytesOnDisk() const
{
    const auto status = statusOf (handle());
    return status ? status->bytesOnDisk : size.load();
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

juce::Result lockGroupTarget (const juce::File& target, const GroupFile* current, OpenFile& lock)
{
    juce::String holder;

    if (current != nullptr && current->isStillAt (target))
        holder = current->why();
    else if (! lock.open (target, Opening::readOnly).failed())
        holder = takeLockOf (lock.handle());

    return holder.isEmpty() ? juce::Result::ok()
                            : juce::Result::fail (target.getFullPathName() + ": " + holder);
}

juce::Result checkGroupTarget (const juce::File& target, const GroupFile* current)
{
    OpenFile lock;
    return lockGroupTarget (target, current, lock);
}

} // namespace tessivar
