#pragma once

#include "jobs/ImportTracks.h"
#include "jobs/SessionTrack.h"
#include "model/FileSystemCalls.h"
#include "model/StoreSamples.h"
#include "model/TemporaryStore.h"
#include "tests/support/EngineFixtures.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <catch2/catch.hpp>

#include <atomic>
#include <cstring>
#include <functional>
#include <iostream>

#include <sys/mount.h>

namespace tessivar::test
{

/** An empty folder that disappears with the object. */
struct WorkFolder
{
    TemporaryFolder owner;
    juce::File folder{ juce::String (owner.name()) };

    [[nodiscard]] juce::File file (const char* name) const
    {
        return folder.getChildFile (juce::String::fromUTF8 (name));
    }

    [[nodiscard]] int numEntries() const
    {
        return folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories);
    }
};

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

/** Deterministic noise within +-amplitude. */
inline std::vector<float> noise (std::int64_t length, std::uint32_t seed, float amplitude = 0.5f)
{
    juce::Random random (seed);
    std::vector<float> samples (static_cast<std::size_t> (length));

    for (auto& sample : samples)
        sample = amplitude * (2.0f * random.nextFloat() - 1.0f);

    return samples;
}

/** Puts samples into a file of the store. */
inline std::shared_ptr<StoreFile> stored (TemporaryStore& store, const std::vector<float>& samples)
{
    std::shared_ptr<StoreFile> file;
    REQUIRE (store.createFile (samples.size() * sizeof (float), file).wasOk());
    REQUIRE (file->write (0, samples.data(), samples.size() * sizeof (float)));
    return file;
}

inline std::vector<float> samplesOf (StoreFile& file)
{
    std::vector<float> samples (file.sizeInBytes() / sizeof (float));
    REQUIRE (file.read (0, samples.data(), samples.size() * sizeof (float)));
    return samples;
}

/** A signal for a track: one channel, or frames of seven. */
inline std::shared_ptr<TrackSamples>
storedTrack (TemporaryStore& store, const std::vector<float>& samples, int numChannels = sourceChannels)
{
    return std::make_shared<StoreSamples> (stored (store, samples), numChannels);
}

inline std::vector<float> samplesOf (TrackSamples& samples)
{
    std::vector<float> result (static_cast<std::size_t> (samples.lengthInFrames() * samples.numChannels()));
    REQUIRE (samples.readFrames (0, result));
    return result;
}

inline std::unique_ptr<TemporaryStore> openStore (const juce::File& parent)
{
    std::unique_ptr<TemporaryStore> store;
    const auto opened = TemporaryStore::open (parent, store);
    INFO (opened.getErrorMessage());
    REQUIRE (store != nullptr);
    return store;
}

} // namespace tessivar::test
