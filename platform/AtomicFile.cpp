#include "platform/AtomicFile.h"

#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"
#include "platform/Process.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tessivar
{

namespace
{
using Kind = SystemError::Kind;

constexpr std::size_t longestFileName = 255; // bytes, of every file system in use
constexpr auto markOfTemporary = ".tmp-", noteSuffix = ".writing";

/** A name that unfinishedState() knows. */
juce::File temporaryBeside (const juce::File& target)
{
    const auto tail = markOfTemporary + uniqueTag();
    const auto name = shortenedToBytes (target.getFileName(), longestFileName - 1 - tail.getNumBytesAsUTF8());
    return target.getSiblingFile ("." + name + tail);
}
} // namespace

Unfinished unfinishedState (const juce::File& file)
{
    const auto tail = file.getFileName().fromLastOccurrenceOf (markOfTemporary, false, false);

    if (! file.getFileName().startsWithChar ('.') || ! isUniqueTag (tail))
        return Unfinished::no;

    const auto isLiving = isProcessAlive (tail.getIntValue());
    constexpr std::int64_t longestPause = 600; // s
    const auto status = statusOf (file, Links::keep);

    if (isLiving && status
        && juce::Time::currentTimeMillis() / 1000 - status->modified / 1000000000 <= longestPause)
        return Unfinished::beingWritten;

    // The number of a process is given to another one some day, and on another computer it says nothing: the
    // lock does.
    const auto lock = lockStateOf (file);
    return lock == LockState::held || (isLiving && lock != LockState::free) ? Unfinished::beingWritten
                                                                            : Unfinished::leftBehind;
}

void sweepUnfinished (const juce::File& folder)
{
    for (const auto& entry : juce::RangedDirectoryIterator (
             folder, false, juce::String (".*") + markOfTemporary + "*", juce::File::findFiles))
        if (const auto status = statusOf (entry.getFile(), Links::keep);
            status && status->isFile() && status->isOwn
            && unfinishedState (entry.getFile()) == Unfinished::leftBehind)
            FileSystemCalls::system().remove (entry.getFile());
}

juce::Result replaceFile (const juce::File& target, std::string_view content, FileSystemCalls& calls)
{
    AtomicFile file (target, calls);
    return file.open().wasOk() && file.write (content.data(), content.size()) ? file.commit() : file.status();
}

juce::Result checkTarget (const juce::File& target)
{
    const auto refused = [&] (const juce::String& reason)
    { return juce::Result::fail (target.getFullPathName() + " can't be written: " + reason); };
    FileStatus status;

    if (const auto error = readStatus (target, status); error.failed())
        return error.kind() == Kind::notFound ? juce::Result::ok() : refused (error.text());

    if (status.isFolder())
        return refused (SystemError (Kind::isFolder).text());

    if (! status.isFile())
        return refused ("it is no regular file");

    const auto error = checkWritable (target);
    return error.failed() ? refused (error.text()) : juce::Result::ok();
}

AtomicFile::AtomicFile (const juce::File& file, FileSystemCalls& callsToUse)
    : calls (callsToUse), target (withLinksResolved (file))
{
}

juce::Result AtomicFile::open (std::uint64_t expectedBytes)
{
    jassert (handle == FileHandle::none && ! temporaryExists);
    const auto folder = target.getParentDirectory();
    const auto replaces = statusOf (target).has_value();

    if (result = checkTarget (target); result.failed())
        return result;

    sweepUnfinished (folder);
    SystemError error = Kind::alreadyExists;

    // Nobody but the owner sees the content before it has the permissions of the file it replaces.
    for (int attempt = 0; attempt < 16 && error.kind() == Kind::alreadyExists; ++attempt)
    {
        temporary = temporaryBeside (target);
        error = calls.open (temporary, replaces ? Opening::newPrivateFile : Opening::newFile, handle);
    }

    if (error.failed())
    {
        fail ("can't be written in folder " + folder.getFullPathName(), error);
        return result;
    }

    temporaryExists = true;
    expectedSize = expectedBytes;

    // Says to others that it is being written, as far as the file system knows locks.
    tryLock (handle);

    if (replaces)
        fail ("can't be given its permissions", copyPermissions (target, handle));

    if (expectedBytes > 0 && result.wasOk())
    {
        const auto free = freeBytesOf (folder);
        error = free && *free < expectedBytes
                    ? SystemError (Kind::noRoom)
                    : calls.reserve (handle, expectedBytes, FileSystemCalls::SizeOfFile::keep);

        // Without reservation a full disk shows at the write that fills it.
        if (error.kind() != Kind::notSupported)
            fail ("can't be written", error);
    }

    if (result.failed())
        discard();
    else
        buffer.malloc (bufferSize);

    return result;
}

bool AtomicFile::write (const void* data, std::size_t numBytes)
{
    jassert (handle != FileHandle::none || result.failed());
    const auto* bytes = static_cast<const char*> (data);

    while (numBytes > 0 && result.wasOk() && handle != FileHandle::none)
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

bool AtomicFile::writeOutBuffer()
{
    if (result.wasOk() && handle != FileHandle::none)
        fail ("can't be written",
              calls.writeAll (handle, static_cast<std::uint64_t> (bufferStart), buffer, bufferedBytes).error);

    bufferStart += static_cast<juce::int64> (bufferedBytes);
    bufferedBytes = 0;
    return result.wasOk();
}

juce::Result AtomicFile::finish()
{
    if (handle == FileHandle::none)
        return result;

    if (writeOutBuffer())
        fail ("can't be written", calls.flush (handle));

    fail ("can't be written", calls.close (std::exchange (handle, FileHandle::none)));

    if (result.failed())
        discard();

    return result;
}

juce::Result AtomicFile::commit (IfTargetExists ifTargetExists)
{
    if (finish().failed())
        return result;

    jassert (temporaryExists);
    const auto replaces = ifTargetExists == IfTargetExists::replace;
    auto error = calls.rename (temporary, target, replaces);

    // The next best thing where it can't be done in one step: to look just before.
    if (! replaces && error.kind() == Kind::notSupported)
        error = target.exists() ? SystemError (Kind::alreadyExists) : calls.rename (temporary, target, true);

    if (error.failed())
    {
        fail ("can't be given its name", error);
        discard();
        return result;
    }

    temporaryExists = false;
    fail ("may not survive a power cut", calls.flushFolder (target.getParentDirectory()));
    return result;
}

/** Keeps the first failure. */
void AtomicFile::fail (const juce::String& action, const SystemError& error)
{
    if (result.failed() || ! error.failed())
        return;

    auto text = target.getFullPathName() + " " + action + ": " + error.text();

    if (error.kind() == Kind::noRoom || error.kind() == Kind::tooLarge)
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
    if (handle != FileHandle::none)
        calls.close (std::exchange (handle, FileHandle::none));

    if (temporaryExists)
        calls.remove (temporary);

    temporaryExists = false;
    bufferedBytes = 0;
}

WritingNote::WritingNote (const juce::File& notes, const juce::File& folder)
    : note (notes.getChildFile (uniqueTag() + noteSuffix)), lock (FileLock::waitFor (note, 0))
{
    if (! lock)
        return;

    auto& calls = FileSystemCalls::system();
    const auto text = folder.getFullPathName().toStdString();
    OpenFile file;

    if (! file.open (note, Opening::readAndWrite).failed())
        juce::ignoreUnused (calls.writeAll (file.handle(), 0, text.data(), text.size()));
}

WritingNote::~WritingNote()
{
    if (lock)
        note.deleteFile();
}

void WritingNote::sweep (const juce::File& notes)
{
    for (const auto& file :
         notes.findChildFiles (juce::File::findFiles, false, juce::String ("*") + noteSuffix))
    {
        const auto lock = FileLock::take (file);

        if (! lock)
            continue;

        if (const auto folder = file.loadFileAsString(); juce::File::isAbsolutePath (folder))
            sweepUnfinished (juce::File (folder));

        file.deleteFile();
    }
}

} // namespace tessivar
