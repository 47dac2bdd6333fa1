#include "model/TemporaryStore.h"
#include "model/AtomicFile.h"
#include "model/DiskNames.h"
#include "model/FileLock.h"
#include "model/RoomRelease.h"

#include <cstdlib>
#include <limits>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace tessivar
{

namespace
{
constexpr auto folderPrefix = "tessivar-";
constexpr auto lockFileName = "lock";
constexpr auto dataSuffix = ".data";
constexpr auto noteOfNeedPrefix = "needed-by-";

std::atomic<bool> everythingIsLeftBehind{ false };

juce::String errorOf (const juce::File& file, int errorNumber)
{
    return file.getFullPathName() + ": " + describeError (errorNumber);
}

/** Whether a folder's name is one that open() gives: prefix, process id, "-" and eight hexadecimal digits. */
bool isStoreName (const juce::String& name)
{
    const auto process =
        name.fromFirstOccurrenceOf (folderPrefix, false, false).upToLastOccurrenceOf ("-", false, false);
    const auto random = name.fromLastOccurrenceOf ("-", false, false);
    return name.startsWith (folderPrefix) && process.isNotEmpty() && process.containsOnly ("0123456789")
           && random.length() == 8 && random.containsOnly ("0123456789abcdef");
}

void removeFile (int folder, const char* name)
{
    const auto file = ::openat (folder, name, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat info = {};
    const auto isGone = ::unlinkat (folder, name, 0) == 0;

    if (file < 0)
        return;

    // A file that has another name elsewhere is not ours to cut.
    if (isGone && ::fstat (file, &info) == 0 && S_ISREG (info.st_mode) && info.st_nlink == 0)
        roomRelease::take (file);
    else
        ::close (file);
}

/** Removes a folder of plain files; the lock file goes last, so that a sweep that is cut short can be repeated. */
void removeStoreFolder (const juce::File& folder)
{
    const auto path = bytesOfPath (folder);
    const auto descriptor = ::open (path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);

    if (descriptor < 0)
        return;

    if (auto* listing = ::fdopendir (descriptor))
    {
        while (const auto* entry = ::readdir (listing))
            if (juce::CharPointer_UTF8 (entry->d_name).compare (juce::CharPointer_UTF8 (lockFileName)) != 0)
                removeFile (descriptor, entry->d_name);

        ::unlinkat (descriptor, lockFileName, 0);
        ::closedir (listing);
    }
    else
    {
        ::close (descriptor);
    }

    ::rmdir (path.c_str());
}

/** Never through a link, and never what belongs to another user, whatever its name. */
bool isStoreFolder (const juce::File& folder)
{
    struct stat info = {};
    return isStoreName (folder.getFileName()) && ::lstat (bytesOfPath (folder).c_str(), &info) == 0
           && S_ISDIR (info.st_mode) && info.st_uid == ::geteuid();
}

juce::File lockFileOf (const juce::File& folder)
{
    return folder.getChildFile (lockFileName);
}

/** Whether a file that somebody noted as needing the folder still exists. */
bool isNeeded (const juce::File& folder)
{
    for (const auto& entry : juce::RangedDirectoryIterator (
             folder, false, juce::String (noteOfNeedPrefix) + "*", juce::File::findFiles))
    {
        const auto path = entry.getFile().loadFileAsString();

        if (juce::File::isAbsolutePath (path) && juce::File (path).exists())
            return true;
    }

    return false;
}
} // namespace

StoreFile::StoreFile (FileSystemCalls& callsToUse,
                      const juce::File& fileToUse,
                      int descriptorToOwn,
                      std::uint64_t fileSize)
    : calls (callsToUse), file (fileToUse), descriptor (descriptorToOwn), size (fileSize)
{
}

StoreFile::~StoreFile()
{
    if (everythingIsLeftBehind)
    {
        calls.close (descriptor);
        return;
    }

    calls.unlink (bytesOfPath (file).c_str());
    roomRelease::take (descriptor);
}

bool StoreFile::write (std::uint64_t offset, const void* data, std::size_t numBytes)
{
    if (! contains (offset, numBytes))
        return fail ("write outside the file");

    const auto* bytes = static_cast<const char*> (data);

    while (numBytes > 0)
    {
        const auto count = calls.pwrite (descriptor, bytes, numBytes, static_cast<std::int64_t> (offset));

        if (count > 0)
        {
            bytes += count;
            offset += static_cast<std::uint64_t> (count);
            numBytes -= static_cast<std::size_t> (count);
        }
        else if (count == 0 || errno != EINTR)
        {
            return fail (describeError (count == 0 ? EIO : errno));
        }
    }

    return true;
}

bool StoreFile::read (std::uint64_t offset, void* dest, std::size_t numBytes)
{
    if (! contains (offset, numBytes))
        return fail ("read outside the file");

    auto* bytes = static_cast<char*> (dest);

    while (numBytes > 0)
    {
        const auto count = calls.pread (descriptor, bytes, numBytes, static_cast<std::int64_t> (offset));

        if (count > 0)
        {
            bytes += count;
            offset += static_cast<std::uint64_t> (count);
            numBytes -= static_cast<std::size_t> (count);
        }
        else if (count == 0)
        {
            return fail ("the file has been cut short");
        }
        else if (errno != EINTR)
        {
            return fail (describeError (errno));
        }
    }

    return true;
}

juce::String StoreFile::lastError() const
{
    const std::lock_guard guard (errorLock);
    return error;
}

bool StoreFile::fail (const juce::String& reason)
{
    const std::lock_guard guard (errorLock);
    error = file.getFullPathName() + ": " + reason;
    return false;
}

bool StoreFile::contains (std::uint64_t offset, std::size_t numBytes) const
{
    return offset <= size && numBytes <= size - offset;
}

juce::File TemporaryStore::defaultFolder()
{
    const auto* cache = std::getenv ("XDG_CACHE_HOME");

    if (cache != nullptr && cache[0] == '/')
        return juce::File (pathOfBytes (cache)).getChildFile ("tessivar/tmp");

    return juce::File::getSpecialLocation (juce::File::userHomeDirectory)
        .getChildFile (".cache/tessivar/tmp");
}

juce::Result TemporaryStore::open (const juce::File& parentFolder,
                                   std::unique_ptr<TemporaryStore>& store,
                                   FileSystemCalls& calls)
{
    if (const auto created = makeFolder (parentFolder); created.failed())
        return juce::Result::fail ("temporary folder " + parentFolder.getFullPathName()
                                   + " can't be made: " + created.getErrorMessage());

    sweep (parentFolder);
    auto lastFailure = 0;

    // A sweep of another process may take a folder between its making and its locking: the next try has a new name.
    for (int attempt = 0; attempt < 16; ++attempt)
    {
        const auto random = juce::String::toHexString (juce::Random::getSystemRandom().nextInt());
        const auto folder = parentFolder.getChildFile (folderPrefix + juce::String (::getpid()) + "-"
                                                       + random.paddedLeft ('0', 8));

        if (::mkdir (bytesOfPath (folder).c_str(), 0700) != 0)
        {
            lastFailure = errno;

            if (lastFailure == EEXIST)
                continue;

            break;
        }

        if (auto lock = FileLock::take (lockFileOf (folder)))
        {
            store.reset (new TemporaryStore (calls, folder, std::move (*lock)));
            return juce::Result::ok();
        }

        lastFailure = errno;
        ::rmdir (bytesOfPath (folder).c_str());
    }

    return juce::Result::fail ("temporary folder " + errorOf (parentFolder, lastFailure));
}

juce::Result TemporaryStore::adopt (const juce::File& folder,
                                    std::shared_ptr<TemporaryStore>& store,
                                    FileSystemCalls& calls)
{
    if (! isStoreFolder (folder))
        return juce::Result::fail (folder.getFullPathName() + ": no temporary folder of this user");

    auto lock = FileLock::take (lockFileOf (folder));

    if (! lock)
        return juce::Result::fail ("temporary folder " + errorOf (folder, errno));

    store.reset (new TemporaryStore (calls, folder, std::move (*lock)));

    // New files get numbers above those that are there.
    for (const auto& entry : juce::RangedDirectoryIterator (
             folder, false, juce::String ("*") + dataSuffix, juce::File::findFiles))
        store->nextFileNumber = std::max (store->nextFileNumber.load(),
                                          entry.getFile().getFileNameWithoutExtension().getIntValue() + 1);

    return juce::Result::ok();
}

TemporaryStore::TemporaryStore (FileSystemCalls& callsToUse,
                                const juce::File& folderToOwn,
                                FileLock lockToOwn)
    : calls (callsToUse), ownFolder (folderToOwn), lock (std::move (lockToOwn))
{
}

TemporaryStore::~TemporaryStore()
{
    if (! everythingIsLeftBehind && ! isNeeded (ownFolder))
        removeStoreFolder (ownFolder);
}

void TemporaryStore::leaveAllBehind (bool shouldLeave)
{
    everythingIsLeftBehind = shouldLeave;
}

juce::Result TemporaryStore::keepWhileExists (const juce::File& storeFolder,
                                              const juce::File& elsewhere,
                                              FileSystemCalls& calls)
{
    const auto note = storeFolder.getChildFile (noteOfNeedPrefix + elsewhere.getFileName());

    if (note.loadFileAsString() == elsewhere.getFullPathName())
        return juce::Result::ok();

    AtomicFile file (note, calls);

    if (file.open().wasOk() && file.writeText (elsewhere.getFullPathName(), false, false, nullptr))
        juce::ignoreUnused (file.commit());

    return file.status();
}

juce::Result TemporaryStore::openFile (const juce::String& name,
                                       std::uint64_t sizeInBytes,
                                       std::shared_ptr<StoreFile>& file)
{
    const auto path = ownFolder.getChildFile (name);

    if (path.getParentDirectory() != ownFolder || ! isStoreFile (path))
        return juce::Result::fail ("temporary file " + path.getFullPathName() + ": no name of such a file");

    const auto descriptor =
        calls.open (bytesOfPath (path).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0);

    if (descriptor < 0)
        return juce::Result::fail ("temporary file " + errorOf (path, errno));

    struct stat info = {};

    if (::fstat (descriptor, &info) != 0 || ! S_ISREG (info.st_mode)
        || static_cast<std::uint64_t> (info.st_size) != sizeInBytes)
    {
        calls.close (descriptor);
        return juce::Result::fail ("temporary file " + path.getFullPathName()
                                   + ": not what was stored there");
    }

    // The store goes with the last of its files. A weak pointer to a file keeps this function, but must not keep the
    // store.
    file = { new StoreFile (calls, path, descriptor, sizeInBytes),
             [store = weak_from_this().lock()] (StoreFile* opened) mutable
             {
                 delete opened;
                 store.reset();
             } };
    return juce::Result::ok();
}

juce::Result TemporaryStore::createFile (std::uint64_t sizeInBytes, std::shared_ptr<StoreFile>& file)
{
    const auto path = ownFolder.getChildFile (juce::String (nextFileNumber++) + dataSuffix);
    const auto noRoom = [&] (const juce::String& reason)
    {
        const auto free = freeBytes();
        return juce::Result::fail (
            "temporary folder " + ownFolder.getFullPathName() + ": " + reason + " ("
            + juce::String (sizeInBytes) + " bytes needed"
            + (free ? ", " + juce::String (*free) + " bytes free)" : juce::String (")")));
    };

    if (sizeInBytes > static_cast<std::uint64_t> (std::numeric_limits<std::int64_t>::max()))
        return noRoom (describeError (EFBIG));

    const auto descriptor =
        calls.open (bytesOfPath (path).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);

    if (descriptor < 0)
        return juce::Result::fail ("temporary file " + errorOf (path, errno));

    // Owns the descriptor and the name from here on, so that every return below cleans up.
    std::shared_ptr<StoreFile> made (new StoreFile (calls, path, descriptor, sizeInBytes));
    const auto length = static_cast<std::int64_t> (sizeInBytes);

    while (length > 0 && calls.fallocate (descriptor, 0, 0, length) != 0)
    {
        if (errno == EINTR)
            continue;

        const auto reason = errno;

        if (reason == ENOSPC && roomRelease::finish())
            continue;

        if (reason != EOPNOTSUPP && reason != EINVAL && reason != ENOSYS)
            return noRoom (describeError (reason));

        // This file system can't reserve: what is free at this moment has to do as the check.
        if (const auto free = freeBytes(); free.has_value() && *free < sizeInBytes)
            return noRoom (describeError (ENOSPC));

        if (calls.ftruncate (descriptor, length) != 0)
            return noRoom (describeError (errno));

        break;
    }

    file = std::move (made);
    return juce::Result::ok();
}

bool TemporaryStore::isStoreFile (const juce::File& file)
{
    const auto number = file.getFileNameWithoutExtension();
    return isStoreName (file.getParentDirectory().getFileName()) && file.getFileName() == number + dataSuffix
           && number.isNotEmpty() && number.containsOnly ("0123456789");
}

std::optional<std::uint64_t> TemporaryStore::freeBytes() const
{
    return freeBytesOf (ownFolder);
}

int TemporaryStore::sweep (const juce::File& parentFolder)
{
    auto removed = 0;

    for (const auto& entry : juce::RangedDirectoryIterator (
             parentFolder, false, juce::String (folderPrefix) + "*", juce::File::findDirectories))
    {
        const auto folder = entry.getFile();

        if (! isStoreFolder (folder))
            continue;

        if (const auto lock = FileLock::take (lockFileOf (folder)); lock && ! isNeeded (folder))
        {
            removeStoreFolder (folder);
            removed += folder.exists() ? 0 : 1;
        }
    }

    return removed;
}

std::optional<std::uint64_t> freeBytesOf (const juce::File& folder)
{
    const auto existing = bytesOfPath (existingAncestor (folder));
    struct statvfs info = {};

    if (::statvfs (existing.c_str(), &info) != 0)
        return std::nullopt;

    struct stat status = {};
    const auto pending =
        ::stat (existing.c_str(), &status) == 0 ? roomRelease::pendingBytes (status.st_dev) : 0;
    return static_cast<std::uint64_t> (info.f_bavail) * static_cast<std::uint64_t> (info.f_frsize) + pending;
}

} // namespace tessivar
