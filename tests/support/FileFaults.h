#pragma once

#include "model/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <cstdlib>
#include <iostream>

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

/** System calls of which one fails: the one with number failingCall, counted from 1 over all kinds. */
class FaultyCalls final : public FileSystemCalls
{
public:
    static constexpr int shortWrite = -1; // as errorNumber: the call takes only part of its bytes

    FaultyCalls (int callToFail, int errorToGive) : failingCall (callToFail), errorNumber (errorToGive) {}

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
    bool isFault() { return ++numCalls == failingCall; }

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
    int numCalls = 0;
    bool renamed = false, failedRename = false;
};

} // namespace tessivar::test
