#pragma once

#include "model/TrackSamples.h"
#include "platform/FileLock.h"
#include "platform/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace tessivar
{

/** A file of fixed size in a TemporaryStore, made by TemporaryStore::createFile and removed when destroyed.

    Reads and writes may come from several threads at once, as long as they touch different bytes. What was
    never written reads as zeros.
*/
class StoreFile
{
public:
    ~StoreFile();

    [[nodiscard]] std::uint64_t sizeInBytes() const { return size; }
    [[nodiscard]] const juce::File& path() const { return file; }

    /** Writes all bytes at offset, or returns false; lastError() then says why. The range lies inside the
        file.
    */
    [[nodiscard]] bool write (std::uint64_t offset, const void* data, std::size_t numBytes);

    /** Reads all bytes at offset, or returns false; dest is then partly filled. The range lies inside the
        file.
    */
    [[nodiscard]] bool read (std::uint64_t offset, void* dest, std::size_t numBytes);

    /** File and reason of the last failed read or write; empty when none failed. */
    [[nodiscard]] juce::String lastError() const;

private:
    friend class TemporaryStore;
    StoreFile (FileSystemCalls&, const juce::File&, FileHandle handle, std::uint64_t size);

    bool fail (const juce::String& reason);
    [[nodiscard]] bool contains (std::uint64_t offset, std::size_t numBytes) const;

    FileSystemCalls& calls;
    const juce::File file;
    const FileHandle handle;
    const std::uint64_t size;

    mutable std::mutex errorLock; // guards error
    juce::String error;

    JUCE_DECLARE_NON_COPYABLE (StoreFile)
};

/** A folder of this process for signals that don't fit in memory: tessivar-<pid>-<random>, mode 0700.

    A lock file inside is held locked while the store lives. Folders whose lock can be taken were left behind
    by a process that is gone; opening a store removes those beside its own. What a file somewhere else still
    needs, such as a note of unsaved work, stays: see keepWhileExists(). All functions may be called from
    several threads at once.
*/
class TemporaryStore : public std::enable_shared_from_this<TemporaryStore>
{
public:
    /** In the user's cache. */
    [[nodiscard]] static juce::File defaultFolder();

    /** Makes a store inside parentFolder, which is created when missing, and sweeps what dead processes left
        there. On failure the result names the folder and the reason, and store stays as it was.
    */
    [[nodiscard]] static juce::Result open (const juce::File& parentFolder,
                                            std::unique_ptr<TemporaryStore>& store,
                                            FileSystemCalls& calls = FileSystemCalls::system());

    /** Takes over the folder of a store whose process is gone. Fails when that lives, or when the folder is
        none of this user's stores.
    */
    [[nodiscard]] static juce::Result adopt (const juce::File& folder,
                                             std::shared_ptr<TemporaryStore>& store,
                                             FileSystemCalls& calls = FileSystemCalls::system());

    /** Removes the store's folder and all files in it, unless something still needs them. A StoreFile that is
        still open can be used until it goes.
    */
    ~TemporaryStore();

    /** Makes a file and reserves its space, so that a full disk shows before the work. On failure the result
        names the folder, the bytes needed and the bytes free, and file stays as it was.
    */
    [[nodiscard]] juce::Result createFile (std::uint64_t sizeInBytes, std::shared_ptr<StoreFile>& file);

    /** Opens a file of an adopted store, by its name in the folder. It must have exactly that size. The file
        keeps the store alive.
    */
    [[nodiscard]] juce::Result
    openFile (const juce::String& name, std::uint64_t sizeInBytes, std::shared_ptr<StoreFile>& file);

    /** Whether a path is, by the names in it, that of a file of some store. */
    [[nodiscard]] static bool isStoreFile (const juce::File& file);

    /** Bytes that can be written to the folder's file system; nothing when it can't be asked. */
    [[nodiscard]] std::optional<std::uint64_t> freeBytes() const;

    [[nodiscard]] const juce::File& folder() const { return ownFolder; }

    /** Notes in the folder of a store that its files are needed as long as a file elsewhere exists: then
        neither a sweep nor the end of the store removes the folder. Write the note before that file.
    */
    [[nodiscard]] static juce::Result keepWhileExists (const juce::File& storeFolder,
                                                       const juce::File& elsewhere,
                                                       FileSystemCalls& calls = FileSystemCalls::system());

    /** From here on no store of this process, and none of their files, removes anything from the disk: for a
        program that has to end before its user could decide about unsaved work. The next one sweeps what
        nobody needs.
    */
    static void leaveAllBehind (bool shouldLeave = true);

    /** Removes the folders of dead processes in parentFolder that nothing needs, and returns how many. */
    static int sweep (const juce::File& parentFolder);

private:
    TemporaryStore (FileSystemCalls&, const juce::File& folder, FileLock lock);

    FileSystemCalls& calls;
    const juce::File ownFolder;
    FileLock lock;
    std::atomic<int> nextFileNumber{ 1 };

    JUCE_DECLARE_NON_COPYABLE (TemporaryStore)
};

/** A track's samples in a file of the temporary store, from its first byte to its last. */
class StoreSamples final : public TrackSamples
{
public:
    StoreSamples (std::shared_ptr<StoreFile> fileToUse, int numChannels)
        : file (std::move (fileToUse)), channels (numChannels)
    {
    }

    [[nodiscard]] int numChannels() const override { return channels; }
    [[nodiscard]] std::int64_t lengthInFrames() const override
    {
        return static_cast<std::int64_t> (file->sizeInBytes() / bytesPerFrame());
    }
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const override { return file->lastError(); }
    [[nodiscard]] Location location() const override { return { file->path(), 0 }; }

private:
    [[nodiscard]] std::uint64_t bytesPerFrame() const
    {
        return static_cast<std::uint64_t> (channels) * sizeof (float);
    }

    const std::shared_ptr<StoreFile> file;
    const int channels;
};

} // namespace tessivar
