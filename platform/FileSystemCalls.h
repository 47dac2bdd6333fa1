#pragma once

#include "platform/SystemError.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tessivar
{

/** The system's handle of an open file. */
enum class FileHandle : std::intptr_t
{
    none = -1
};

/** How a file is opened. Nothing is inherited by programs that are started from here, and opening never
    waits: a pipe would wait for its other end.
*/
enum class Opening
{
    newFile,        // fails when the name is taken
    newPrivateFile, // the same, for the user alone
    ownFile,        // to read and write; fails for a symbolic link
    readAndWrite,
    readOnly,
    append, // made for the user alone when missing
    unnamed // to read and write, in the folder of that name; gone when it is closed or the process ends
};

/** How many bytes went, and why not all of them. */
struct Transfer
{
    SystemError error;
    std::size_t numBytes = 0;
};

/** The system calls through which files are written, one virtual function each, so that a test can make any
    of them fail. A call that was interrupted by a signal is repeated.
*/
class FileSystemCalls
{
public:
    virtual ~FileSystemCalls() = default;

    virtual SystemError open (const juce::File& file, Opening how, FileHandle& handle);
    virtual SystemError close (FileHandle);

    /** May take or give less than was asked for; a read gives nothing at the end of the file. */
    virtual Transfer writeAt (FileHandle, std::uint64_t offset, const void* data, std::size_t numBytes);
    virtual Transfer readAt (FileHandle, std::uint64_t offset, void* dest, std::size_t numBytes);

    enum class SizeOfFile
    {
        keep,
        grow
    };

    /** Takes room on disk for the first numBytes. notSupported where the file system can't; nothing is
        written block by block in its place, which would take minutes.
    */
    virtual SystemError reserve (FileHandle, std::uint64_t numBytes, SizeOfFile sizeOfFile);

    /** Gives the room of a range back; it then reads as zeros. */
    virtual SystemError giveBack (FileHandle, std::uint64_t offset, std::uint64_t numBytes);

    virtual SystemError setSize (FileHandle, std::uint64_t numBytes);

    /** Waits until what was written survives a power cut. */
    virtual SystemError flush (FileHandle);

    /** The same for names that were given in a folder, as far as the system can; a folder that refuses, or a
        file system that knows no such thing, is no error.
    */
    virtual SystemError flushFolder (const juce::File& folder);

    /** In one step. Without replace an existing target makes it fail with alreadyExists; file systems that
        can't do both in one step answer notSupported to that.
    */
    virtual SystemError rename (const juce::File& from, const juce::File& to, bool replace);

    virtual SystemError remove (const juce::File& file);

    /** Writes all bytes, in as many calls as that takes, or as many as go before one fails. */
    [[nodiscard]] Transfer
    writeAll (FileHandle, std::uint64_t offset, const void* data, std::size_t numBytes);

    /** Reads all bytes, or as many as there are before the end of the file or before a call fails. */
    [[nodiscard]] Transfer readAll (FileHandle, std::uint64_t offset, void* dest, std::size_t numBytes);

    /** The calls of the operating system. */
    static FileSystemCalls& system();
};

/** Makes the system forget what it keeps of a file that was flushed: the next reads come from the disk. */
void dropCached (FileHandle handle);

/** Closes its file when destroyed. */
class OpenFile
{
public:
    explicit OpenFile (FileHandle handleToOwn = FileHandle::none) : owned (handleToOwn) {}
    OpenFile (OpenFile&& other) noexcept : owned (other.release()) {}
    ~OpenFile() { close(); }

    OpenFile& operator= (OpenFile&& other) noexcept
    {
        std::swap (owned, other.owned);
        return *this;
    }

    [[nodiscard]] SystemError open (const juce::File& file, Opening how);
    void close();

    [[nodiscard]] bool isOpen() const { return owned != FileHandle::none; }
    [[nodiscard]] FileHandle handle() const { return owned; }
    [[nodiscard]] FileHandle release() { return std::exchange (owned, FileHandle::none); }

private:
    FileHandle owned;
};

} // namespace tessivar
