#include "model/TemporaryStore.h"

#include "model/settings/UserFolders.h"
#include "platform/AtomicFile.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/RoomRelease.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto folderPrefix = "tessivar-";
constexpr auto lockFileName = "lock";
constexpr auto dataSuffix = ".data";
constexpr auto noteOfNeedPrefix = "needed-by-";

std::atomic<bool> everythingIsLeftBehind{ false };

using Kind = SystemError::Kind;

juce::String errorOf (const juce::File& file, const SystemError& error)
{
    return file.getFullPathName() + ": " + error.text();
}

/** Whether a folder's name is one that open() gives. */
bool isStoreName (const juce::String& name)
{
    return name.startsWith (folderPrefix)
           && isUniqueTag (name.fromFirstOccurrenceOf (folderPrefix, false, false));
}

/** Never through a link, and never what belongs to another user, whatever its name. */
bool isStoreFolder (const juce::File& folder)
{
    return isStoreName (folder.getFileName()) && isOwnFolder (folder);
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

/** The file as one that its store, if it is shared, goes with the last of: not all file systems can remove a
    folder of files that are open. A weak pointer to the file keeps this function, but must not keep the
    store.
*/
static std::shared_ptr<StoreFile> keeping (std::shared_ptr<TemporaryStore> store, StoreFile* file)
{
    return { file,
             [kept = std::move (store)] (StoreFile* opened) mutable
             {
                 delete opened;
                 kept.reset();
             } };
}

StoreFile::StoreFile (FileSystemCalls& callsToUse,
                      const juce::File& fileToUse,
                      FileHandle handleToOwn,
                      std::uint64_t fileSize)
    : calls (callsToUse), file (fileToUse), handle (handleToOwn), size (fileSize)
{
}

StoreFile::~StoreFile()
{
    if (everythingIsLeftBehind)
    {
        calls.close (handle);
        return;
    }

    calls.remove (file);
    roomRelease::take (handle);
}

bool StoreFile::write (std::uint64_t offset, const void* data, std::size_t numBytes)
{
    if (! contains (offset, numBytes))
        return fail ("write outside the file");

    const auto written = calls.writeAll (handle, offset, data, numBytes);
    return ! written.error.failed() || fail (written.error.text());
}

bool StoreFile::read (std::uint64_t offset, void* dest, std::size_t numBytes)
{
    if (! contains (offset, numBytes))
        return fail ("read outside the file");

    const auto found = calls.readAll (handle, offset, dest, numBytes);

    if (found.error.failed())
        return fail (found.error.text());

    return found.numBytes == numBytes || fail ("the file has been cut short");
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
    return UserFolders::ofUser().cache.getChildFile ("tmp");
}

juce::Result TemporaryStore::open (const juce::File& parentFolder,
                                   std::unique_ptr<TemporaryStore>& store,
                                   FileSystemCalls& calls)
{
    if (const auto created = makeFolder (parentFolder); created.failed())
        return juce::Result::fail ("temporary folder " + parentFolder.getFullPathName()
                                   + " can't be made: " + created.getErrorMessage());

    sweep (parentFolder);
    SystemError error;

    // A sweep of another process may take a folder between its making and its locking: the next try has a new
    // name.
    for (int attempt = 0; attempt < 16; ++attempt)
    {
        const auto folder = parentFolder.getChildFile (folderPrefix + uniqueTag());
        error = makeNewPrivateFolder (folder);

        if (error.kind() == Kind::alreadyExists)
            continue;

        if (error.failed())
            break;

        if (auto lock = FileLock::take (lockFileOf (folder), error))
        {
            store.reset (new TemporaryStore (calls, folder, std::move (*lock)));
            return juce::Result::ok();
        }

        removeFolder (folder);
    }

    return juce::Result::fail ("temporary folder " + errorOf (parentFolder, error));
}

juce::Result TemporaryStore::adopt (const juce::File& folder,
                                    std::shared_ptr<TemporaryStore>& store,
                                    FileSystemCalls& calls)
{
    if (! isStoreFolder (folder))
        return juce::Result::fail (folder.getFullPathName() + ": no temporary folder of this user");

    SystemError error;
    auto lock = FileLock::take (lockFileOf (folder), error);

    if (! lock)
        return juce::Result::fail ("temporary folder " + errorOf (folder, error));

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
        removeFolderOfFiles (ownFolder, lockFileName, std::move (lock));
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
    const auto& path = elsewhere.getFullPathName();
    return note.loadFileAsString() == path ? juce::Result::ok() : replaceFile (note, path.toRawUTF8(), calls);
}

juce::Result TemporaryStore::openFile (const juce::String& name,
                                       std::uint64_t sizeInBytes,
                                       std::shared_ptr<StoreFile>& file)
{
    const auto path = ownFolder.getChildFile (name);

    if (path.getParentDirectory() != ownFolder || ! isStoreFile (path))
        return juce::Result::fail ("temporary file " + path.getFullPathName() + ": no name of such a file");

    auto handle = FileHandle::none;

    if (const auto error = calls.open (path, Opening::ownFile, handle); error.failed())
        return juce::Result::fail ("temporary file " + errorOf (path, error));

    if (const auto status = statusOf (handle); ! status || ! status->isFile() || status->size != sizeInBytes)
    {
        calls.close (handle);
        return juce::Result::fail ("temporary file " + path.getFullPathName()
                                   + ": not what was stored there");
    }

    file = keeping (weak_from_this().lock(), new StoreFile (calls, path, handle, sizeInBytes));
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
        return noRoom (SystemError (Kind::tooLarge).text());

    auto handle = FileHandle::none;

    if (const auto error = calls.open (path, Opening::newPrivateFile, handle); error.failed())
        return juce::Result::fail ("temporary file " + errorOf (path, error));

    // Owns the handle and the name from here on, so that every return below cleans up.
    auto made = keeping (weak_from_this().lock(), new StoreFile (calls, path, handle, sizeInBytes));

    const auto reserve = [&]
    {
        return sizeInBytes > 0 ? calls.reserve (handle, sizeInBytes, FileSystemCalls::SizeOfFile::grow)
                               : SystemError();
    };
    auto error = reserve();

    while (error.kind() == Kind::noRoom && roomRelease::finish())
        error = reserve();

    // This file system can't reserve: what is free at this moment has to do as the check.
    if (error.kind() == Kind::notSupported)
    {
        const auto free = freeBytes();
        error =
            free && *free < sizeInBytes ? SystemError (Kind::noRoom) : calls.setSize (handle, sizeInBytes);
    }

    if (error.failed())
        return noRoom (error.text());

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

        if (auto lock = FileLock::take (lockFileOf (folder)); lock && ! isNeeded (folder))
        {
            removeFolderOfFiles (folder, lockFileName, std::move (*lock));
            removed += folder.exists() ? 0 : 1;
        }
    }

    return removed;
}

bool StoreSamples::readFrames (std::int64_t start, std::span<float> dest)
{
    return file->read (static_cast<std::uint64_t> (start) * bytesPerFrame(), dest.data(), dest.size_bytes());
}

} // namespace tessivar
