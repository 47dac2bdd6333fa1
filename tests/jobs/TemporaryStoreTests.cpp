#include "model/TemporaryStore.h"
#include "platform/FileStatus.h"
#include "platform/RoomRelease.h"

#include "tests/jobs/JobFixtures.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#if ! JUCE_WINDOWS
    #include <csignal>

    #include <sys/stat.h>
    #include <sys/wait.h>
    #include <unistd.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** A disk that can't reserve space. */
struct NoReservation final : FileSystemCalls
{
    SystemError reserve (FileHandle, std::uint64_t, SizeOfFile) override
    {
        return SystemError::Kind::notSupported;
    }
};
} // namespace

TEST_CASE ("StoreFile", "[model][store]")
{
    WorkFolder work;
    auto store = openStore (work.folder);

    SECTION ("keeps apart what several threads write and read at once")
    {
        constexpr std::size_t numThreads = 4, pieces = 200, pieceSize = 5003;
        std::shared_ptr<StoreFile> file;
        REQUIRE (store->createFile (numThreads * pieces * pieceSize, file).wasOk());
        std::atomic<int> mistakes{ 0 };
        std::vector<std::thread> threads;

        for (std::size_t t = 0; t < numThreads; ++t)
            threads.emplace_back (
                [&, t]
                {
                    std::vector<char> out (pieceSize), in (pieceSize);

                    for (std::size_t p = 0; p < pieces; ++p)
                    {
                        std::fill (out.begin(), out.end(), static_cast<char> (t * pieces + p));
                        const auto offset = (p * numThreads + t) * pieceSize;
                        const auto isRight = file->write (offset, out.data(), pieceSize)
                                             && file->read (offset, in.data(), pieceSize) && in == out;
                        mistakes += isRight ? 0 : 1;
                    }
                });

        for (auto& thread : threads)
            thread.join();

        CHECK (mistakes == 0);
    }

    SECTION ("reaches beyond 4 GiB, also where space can't be reserved")
    {
        NoReservation calls;
        std::unique_ptr<TemporaryStore> plain;
        REQUIRE (TemporaryStore::open (work.folder, plain, calls).wasOk());
        std::shared_ptr<StoreFile> file;
        constexpr std::uint64_t size = (1ull << 32) + 16;
        REQUIRE (plain->createFile (size, file).wasOk());

        std::uint64_t number = 0x0123456789abcdef;
        REQUIRE (file->write (size - 8, &number, 8));
        REQUIRE (file->read (8, &number, 8));
        CHECK (number == 0);
        REQUIRE (file->read (size - 8, &number, 8));
        CHECK (number == 0x0123456789abcdef);

        CHECK_FALSE (file->read (size - 4, &number, 8));
        CHECK_FALSE (file->write (~0ull, &number, 8));
    }

    SECTION ("finishes short writes and says why others fail")
    {
        FaultyCalls counting (1000, SystemError::Kind::failed);
        {
            std::unique_ptr<TemporaryStore> other;
            std::shared_ptr<StoreFile> file;
            REQUIRE (TemporaryStore::open (work.folder, other, counting).wasOk());
            REQUIRE (other->createFile (1000, file).wasOk());
        }

        const auto firstWrite = counting.count() + 1;
        FaultyCalls shortOnce (firstWrite, FaultyCalls::shortWrite);
        FaultyCalls fails (firstWrite, SystemError::Kind::failed);
        const std::vector<char> data (1000, 'x');

        for (auto* calls : { &shortOnce, &fails })
        {
            std::unique_ptr<TemporaryStore> other;
            REQUIRE (TemporaryStore::open (work.folder, other, *calls).wasOk());
            std::shared_ptr<StoreFile> file;
            REQUIRE (other->createFile (1000, file).wasOk());
            CHECK (file->write (0, data.data(), 1000) == (calls == &shortOnce));

            std::vector<char> found (1000);
            REQUIRE (file->read (0, found.data(), 1000));
            CHECK ((found == data) == (calls == &shortOnce));
            CHECK (file->lastError().contains (SystemError (SystemError::Kind::failed).text())
                   == (calls == &fails));
        }
    }

    SECTION ("keeps a shared store, whose folder goes after the last file")
    {
        std::shared_ptr<TemporaryStore> shared = openStore (work.folder);
        std::shared_ptr<StoreFile> file;
        REQUIRE (shared->createFile (1000, file).wasOk());
        const auto folder = shared->folder();
        shared.reset();
        CHECK (folder.isDirectory());
        file.reset();
        CHECK_FALSE (folder.exists());
    }

#if ! JUCE_WINDOWS
    SECTION ("gives large room back behind the scenes, and by another process when this one ends")
    {
        constexpr std::uint64_t large = 300u << 20;
        const auto freeBefore = store->freeBytes();
        std::shared_ptr<StoreFile> file;
        REQUIRE (store->createFile (large, file).wasOk());
        const auto path = file->path();
        file.reset();
        CHECK_FALSE (path.exists());
        REQUIRE (freeBefore);
        CHECK (store->freeBytes().value_or (0) + large / 2 > *freeBefore); // others use the disk too
        (void) roomRelease::finish();
        const auto status = statusOf (work.folder);
        REQUIRE (status.has_value());
        CHECK (roomRelease::pendingBytes (status->id.volume) == 0);

        // Who waits for the end of the output must not wait for the heir.
        int ends[2]{};
        REQUIRE (::pipe (ends) == 0);
        REQUIRE (store->createFile (large, file).wasOk());

        if (::fork() == 0)
        {
            roomRelease::handOver(); // from here on nothing is freed at once
            OpenFile again;
            juce::ignoreUnused (again.open (file->path(), Opening::readAndWrite));
            roomRelease::take (again.release());
            roomRelease::handOver();
            ::_exit (0);
        }

        ::close (ends[1]);
        char byte = 0;
        const auto start = juce::Time::getMillisecondCounter();
        CHECK (::read (ends[0], &byte, 1) == 0);
        CHECK (juce::Time::getMillisecondCounter() - start < 1000);
        ::close (ends[0]);
    }
#endif

    SECTION ("a full disk shows before the work, with both numbers, and leaves nothing")
    {
        // Room that is still to come back is waited for, and asked for again.
        juce::ignoreUnused (roomRelease::finish());
        FaultyCalls calls (2, SystemError::Kind::noRoom);
        std::unique_ptr<TemporaryStore> other;
        REQUIRE (TemporaryStore::open (work.folder, other, calls).wasOk());
        std::shared_ptr<StoreFile> file;
        const auto result = other->createFile (123456, file);
        CHECK (file == nullptr);
        CHECK (result.getErrorMessage().contains ("123456 bytes needed, "));
        CHECK (other->folder().getNumberOfChildFiles (juce::File::findFiles) == 1); // the lock

        const SmallFileSystem disk (work.file ("disk"), 1024);

        if (disk.isMounted)
        {
            auto small = openStore (disk.folder);
            CHECK (small->createFile (2 << 20, file).failed());
            CHECK (small->createFile (1 << 19, file).wasOk());
            file.reset();
        }
    }
}

TEST_CASE ("TemporaryStore", "[model][store]")
{
    WorkFolder work;

    SECTION ("is private, and gone with all its files when destroyed")
    {
        const auto parent = work.file ("new/folders");
        auto store = openStore (parent);
#if ! JUCE_WINDOWS
        struct stat info = {};
        REQUIRE (::stat (store->folder().getFullPathName().toRawUTF8(), &info) == 0);
        CHECK ((info.st_mode & 0777) == 0700);
#endif

        auto file = stored (*store, { 1.0f, 2.0f });
        store.reset();
        CHECK ((parent.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0
                || ! openFilesLoseTheirNames (work.folder)));
        CHECK (samplesOf (*file) == std::vector<float>{ 1.0f, 2.0f });
    }

#if ! JUCE_WINDOWS
    SECTION ("sweeps what a killed process left, and nothing else")
    {
        std::array<int, 2> pipe{};
        REQUIRE (::pipe (pipe.data()) == 0);
        const auto child = ::fork();

        if (child == 0)
        {
            std::unique_ptr<TemporaryStore> store;
            std::shared_ptr<StoreFile> file;
            const char isReady =
                TemporaryStore::open (work.folder, store).wasOk() && store->createFile (1 << 16, file).wasOk()
                    ? 'y'
                    : 'n';
            juce::ignoreUnused (::write (pipe[1], &isReady, 1));

            for (;;)
                ::pause();
        }

        REQUIRE (child > 0);
        char isReady = 0;
        REQUIRE (::read (pipe[0], &isReady, 1) == 1);
        REQUIRE (isReady == 'y');
        ::close (pipe[0]);
        ::close (pipe[1]);

        // Things that only look like leftovers.
        const auto precious = work.file ("precious");
        REQUIRE (precious.getChildFile ("take.wav").create().wasOk());
        REQUIRE (precious.createSymbolicLink (work.file ("tessivar-1-0123abcd"), false));
        REQUIRE (work.file ("tessivar-2-0123abcd").replaceWithText ("mine"));
        REQUIRE (work.file ("tessivar-backup/notes.txt").create().wasOk());

        auto living = openStore (work.folder);
        CHECK (work.numEntries() == 6); // the child's folder is locked

        REQUIRE (::kill (child, SIGKILL) == 0);
        REQUIRE (::waitpid (child, nullptr, 0) == child);
        auto next = openStore (work.folder);
        CHECK (work.numEntries() == 6); // its folder went, the second store came
        CHECK (TemporaryStore::sweep (work.folder) == 0);
        CHECK (living->folder().isDirectory());
        CHECK (precious.getChildFile ("take.wav").existsAsFile());
        CHECK (work.file ("tessivar-2-0123abcd").loadFileAsString() == "mine");
        CHECK (work.file ("tessivar-backup/notes.txt").existsAsFile());
    }
#endif

    SECTION ("is made by each of many jobs that start at once, where none of the folders above exists")
    {
        std::atomic<int> numFailed{ 0 };

        for (int round = 0; round < 30; ++round)
        {
            const auto parent = work.file ("new").getChildFile (juce::String (round) + "/a/b/c");
            std::vector<std::thread> jobs;

            for (int i = 0; i < 6; ++i)
                jobs.emplace_back (
                    [&]
                    {
                        std::unique_ptr<TemporaryStore> made;
                        numFailed += TemporaryStore::open (parent, made).failed() ? 1 : 0;
                    });

            for (auto& job : jobs)
                job.join();
        }

        CHECK (numFailed == 0);
    }

#if ! JUCE_WINDOWS
    SECTION ("says which folder can't be used, and why")
    {
        REQUIRE (work.file ("file").create().wasOk());
        std::unique_ptr<TemporaryStore> store;
        const auto result = TemporaryStore::open (work.file ("file/tmp"), store);
        CHECK (result.getErrorMessage().contains (work.file ("file/tmp").getFullPathName()));

        REQUIRE (::chmod (work.folder.getFullPathName().toRawUTF8(), 0555) == 0);
        const WithoutPrivileges nobody;
        CHECK (TemporaryStore::open (work.folder, store).getErrorMessage().contains ("Permission denied"));
        CHECK (store == nullptr);
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("lies where the desktop keeps caches, by an absolute path only")
    {
        const auto* const before = std::getenv ("XDG_CACHE_HOME");
        const auto kept = juce::String::fromUTF8 (before != nullptr ? before : "");
        ::setenv ("XDG_CACHE_HOME", "/some/cache", 1);
        CHECK (TemporaryStore::defaultFolder().getFullPathName() == "/some/cache/tessivar/tmp");
        ::setenv ("XDG_CACHE_HOME", "relative", 1);
        CHECK (TemporaryStore::defaultFolder().getFullPathName().endsWith ("/.cache/tessivar/tmp"));

        if (before != nullptr)
            ::setenv ("XDG_CACHE_HOME", kept.toRawUTF8(), 1);
        else
            ::unsetenv ("XDG_CACHE_HOME");
    }
#endif
}
