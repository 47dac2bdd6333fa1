#pragma once

#include "platform/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <cstdlib>
#include <functional>
#include <iostream>

#if ! JUCE_WINDOWS
    #include <sys/mount.h>
    #include <unistd.h>
#endif

/** Disks that are full, calls that fail and rights that are missing. */
namespace tessivar::test
{

/** A small file system of its own below a folder; isMounted is false where the system doesn't permit that. */
struct SmallFileSystem
{
    SmallFileSystem (const juce::File& where, int kilobytes) : folder (where)
    {
        folder.createDirectory();
#if JUCE_WINDOWS
        juce::ignoreUnused (kilobytes);
#else
        const auto size = "size=" + juce::String (kilobytes) + "k";
        isMounted =
            ::mount ("tmpfs", folder.getFullPathName().toRawUTF8(), "tmpfs", 0, size.toRawUTF8()) == 0;
#endif

        if (! isMounted)
            std::cout << "skipped: mounting a file system is not permitted here\n";
    }

    ~SmallFileSystem()
    {
#if ! JUCE_WINDOWS
        if (isMounted)
            ::umount2 (folder.getFullPathName().toRawUTF8(), MNT_DETACH);
#endif
    }

    SmallFileSystem (const SmallFileSystem&) = delete;
    SmallFileSystem& operator= (const SmallFileSystem&) = delete;

    juce::File folder;
    bool isMounted = false;
};

#if ! JUCE_WINDOWS
/** Takes away the rights of root, which no permission holds back, while it lives. */
struct WithoutPrivileges
{
    WithoutPrivileges() : wasRoot (::geteuid() == 0 && ::seteuid (65534) == 0) {}

    ~WithoutPrivileges()
    {
        if (wasRoot && ::seteuid (0) != 0)
            std::abort();
    }

    WithoutPrivileges (const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator= (const WithoutPrivileges&) = delete;

    const bool wasRoot;
};
#endif

/** Whether a file that is removed loses its name although it is open. */
inline bool openFilesLoseTheirNames (const juce::File& folder)
{
    const auto file = folder.getNonexistentChildFile ("open", {});
    OpenFile opened;
    const auto isGone = ! opened.open (file, Opening::newFile).failed()
                        && ! FileSystemCalls::system().remove (file).failed() && ! file.exists();

    if (! isGone)
        std::cout << "skipped: this file system keeps the names of open files that are removed\n";

    return isGone;
}

/** Whether a file can give back the room of a part of its bytes. */
inline bool roomCanBeGivenBack (const juce::File& folder)
{
    const auto file = folder.getNonexistentChildFile ("holes", {});
    OpenFile opened;
    const auto succeeds = ! opened.open (file, Opening::newFile).failed()
                          && ! FileSystemCalls::system().setSize (opened.handle(), 1 << 20).failed()
                          && ! FileSystemCalls::system().giveBack (opened.handle(), 0, 1 << 20).failed();
    opened.close();
    file.deleteFile();

    if (! succeeds)
        std::cout << "skipped: this file system gives back no room of a file that stays\n";

    return succeeds;
}

/** How long a fault lasts: for one call, or until end() as on a disk that is gone. */
enum class Fault
{
    once,
    lasting
};

/** System calls of which one fails, the one with number failingCall, counted from 1 over all kinds, or all
    from there on. Files can be removed all the same.
*/
class FaultyCalls final : public FileSystemCalls
{
public:
    /** In place of an error: the call takes only part of its bytes. */
    static constexpr auto shortWrite = SystemError::Kind::none;

    FaultyCalls (int callToFail, SystemError::Kind errorToGive, Fault duration = Fault::once)
        : kind (errorToGive), lasts (duration == Fault::lasting), failingCall (callToFail)
    {
    }

    const SystemError::Kind kind;
    const bool lasts;
    std::function<void()> beforeFault;

    void end() { hasEnded = true; }

    [[nodiscard]] int count() const { return numCalls; }
    [[nodiscard]] bool reachedTheFault() const { return numCalls >= failingCall; }
    [[nodiscard]] bool failedAfterRename() const { return renamed && reachedTheFault() && ! failedRename; }

    SystemError open (const juce::File& file, Opening how, FileHandle& handle) override
    {
        return fails() ? error() : FileSystemCalls::open (file, how, handle);
    }

    SystemError close (FileHandle handle) override
    {
        // It is closed even when the call reports an error.
        const auto result = FileSystemCalls::close (handle);
        return fails() ? error() : result;
    }

    Transfer
    writeAt (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes) override
    {
        const auto isFaulty = isFault();

        if (isFaulty && kind != shortWrite)
            return { error() };

        return FileSystemCalls::writeAt (handle, offset, data, isFaulty ? (numBytes + 1) / 2 : numBytes);
    }

    SystemError reserve (FileHandle handle, std::uint64_t numBytes, SizeOfFile sizeOfFile) override
    {
        return fails() ? error() : FileSystemCalls::reserve (handle, numBytes, sizeOfFile);
    }

    SystemError giveBack (FileHandle handle, std::uint64_t offset, std::uint64_t numBytes) override
    {
        return fails() ? error() : FileSystemCalls::giveBack (handle, offset, numBytes);
    }

    SystemError setSize (FileHandle handle, std::uint64_t numBytes) override
    {
        return fails() ? error() : FileSystemCalls::setSize (handle, numBytes);
    }

    SystemError flush (FileHandle handle) override
    {
        return fails() ? error() : FileSystemCalls::flush (handle);
    }

    SystemError flushFolder (const juce::File& folder) override
    {
        return fails() ? error() : FileSystemCalls::flushFolder (folder);
    }

    SystemError rename (const juce::File& from, const juce::File& to, bool replace) override
    {
        if (fails())
        {
            failedRename = true;
            return error();
        }

        renamed = true;
        return FileSystemCalls::rename (from, to, replace);
    }

private:
    bool isFault()
    {
        ++numCalls;
        const auto is = ! hasEnded && (lasts ? numCalls >= failingCall : numCalls == failingCall);

        if (is && beforeFault != nullptr)
            beforeFault();

        return is;
    }

    bool fails() { return isFault() && kind != shortWrite; }
    [[nodiscard]] SystemError error() const { return kind; }

    const int failingCall;
    int numCalls = 0;
    bool hasEnded = false, renamed = false, failedRename = false;
};

/** Notes the order in which things are written and reach the disk. */
class RecordingCalls final : public FileSystemCalls
{
public:
    /** "write", "sync", "rename" and "sync FOLDER", each once for several of the kind in a row. */
    juce::StringArray log;

    Transfer
    writeAt (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes) override
    {
        note ("write");
        return FileSystemCalls::writeAt (handle, offset, data, numBytes);
    }

    SystemError flush (FileHandle handle) override
    {
        note ("sync");
        return FileSystemCalls::flush (handle);
    }

    SystemError flushFolder (const juce::File& folder) override
    {
        note ("sync " + folder.getFileName());
        return FileSystemCalls::flushFolder (folder);
    }

    SystemError rename (const juce::File& from, const juce::File& to, bool replace) override
    {
        note ("rename");
        return FileSystemCalls::rename (from, to, replace);
    }

private:
    void note (const juce::String& what)
    {
        if (log.isEmpty() || log[log.size() - 1] != what)
            log.add (what);
    }
};

} // namespace tessivar::test
