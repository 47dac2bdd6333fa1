#pragma once

#include "model/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <cstdlib>
#include <iostream>
#include <vector>

#include <sys/mount.h>

/** Disks that are full, calls that fail and rights that are missing. */
namespace tessivar::test
{

/** A small file system of its own below a folder; isMounted is false where the system doesn't permit that. */
struct SmallFileSystem
{
    SmallFileSystem (const juce::File& where, int kilobytes) : folder (where)
    {
        folder.createDirectory();
        const auto size = "size=" + juce::String (kilobytes) + "k";
        isMounted =
            ::mount ("tmpfs", folder.getFullPathName().toRawUTF8(), "tmpfs", 0, size.toRawUTF8()) == 0;

        if (! isMounted)
            std::cout << "skipped: mounting a file system is not permitted here\n";
    }

    ~SmallFileSystem()
    {
        if (isMounted)
            ::umount2 (folder.getFullPathName().toRawUTF8(), MNT_DETACH);
    }

    SmallFileSystem (const SmallFileSystem&) = delete;
    SmallFileSystem& operator= (const SmallFileSystem&) = delete;

    juce::File folder;
    bool isMounted = false;
};

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
    static constexpr int shortWrite = -1; // as errorNumber: the call takes only part of its bytes

    FaultyCalls (int callToFail, int errorToGive, Fault duration = Fault::once)
        : failingCall (callToFail), errorNumber (errorToGive), lasts (duration == Fault::lasting)
    {
    }

    void end() { hasEnded = true; }

    [[nodiscard]] bool reachedTheFault() const { return numCalls >= failingCall; }
    [[nodiscard]] bool failedAfterRename() const { return renamed && reachedTheFault() && ! failedRename; }

    int open (const char* path, int flags, mode_t mode) override
    {
        return fails() ? -1 : FileSystemCalls::open (path, flags, mode);
    }

    ssize_t pwrite (int descriptor, const void* data, std::size_t numBytes, std::int64_t offset) override
    {
        const auto fault = isFault();

        if (fault && errorNumber != shortWrite)
            return fail();

        return FileSystemCalls::pwrite (descriptor, data, fault ? (numBytes + 1) / 2 : numBytes, offset);
    }

    int fallocate (int descriptor, int mode, std::int64_t offset, std::int64_t length) override
    {
        return fails() ? -1 : FileSystemCalls::fallocate (descriptor, mode, offset, length);
    }

    int ftruncate (int descriptor, std::int64_t length) override
    {
        return fails() ? -1 : FileSystemCalls::ftruncate (descriptor, length);
    }

    int fdatasync (int descriptor) override { return fails() ? -1 : FileSystemCalls::fdatasync (descriptor); }
    int fsync (int descriptor) override { return fails() ? -1 : FileSystemCalls::fsync (descriptor); }

    int close (int descriptor) override
    {
        // The descriptor is gone even when the call reports an error.
        const auto result = FileSystemCalls::close (descriptor);
        return fails() ? -1 : result;
    }

    int rename (const char* from, const char* to, bool replace) override
    {
        if (fails())
        {
            failedRename = true;
            return -1;
        }

        renamed = true;
        return FileSystemCalls::rename (from, to, replace);
    }

private:
    bool isFault()
    {
        ++numCalls;
        return ! hasEnded && (lasts ? numCalls >= failingCall : numCalls == failingCall);
    }

    int fail()
    {
        errno = errorNumber;
        return -1;
    }

    bool fails()
    {
        if (! isFault() || errorNumber == shortWrite)
            return false;

        fail();
        return true;
    }

    const int failingCall;
    const int errorNumber;
    const bool lasts;
    int numCalls = 0;
    bool hasEnded = false, renamed = false, failedRename = false;
};

/** What happens to the Nth call of a test that tries them all. */
struct FaultToTry
{
    int error = 0;
    Fault duration = Fault::once;
};

inline std::vector<FaultToTry> faults()
{
    std::vector<FaultToTry> all;

    for (const auto error : { ENOSPC, EIO, FaultyCalls::shortWrite })
        for (const auto duration : { Fault::once, Fault::lasting })
            all.push_back ({ error, duration });

    return all;
}

/** Notes the order in which things are written and reach the disk. */
class RecordingCalls final : public FileSystemCalls
{
public:
    /** "write", "sync", "rename" and "sync FOLDER", each once for several of the kind in a row. */
    juce::StringArray log;

    ssize_t pwrite (int descriptor, const void* data, std::size_t numBytes, std::int64_t offset) override
    {
        note ("write");
        return FileSystemCalls::pwrite (descriptor, data, numBytes, offset);
    }

    int fdatasync (int descriptor) override
    {
        note ("sync");
        return FileSystemCalls::fdatasync (descriptor);
    }

    int fsync (int descriptor) override
    {
        const juce::File link ("/proc/self/fd/" + juce::String (descriptor));
        note ("sync " + link.getLinkedTarget().getFileName());
        return FileSystemCalls::fsync (descriptor);
    }

    int rename (const char* from, const char* to, bool replace) override
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
