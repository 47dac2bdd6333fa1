#include "model/settings/SettingsStore.h"
#include "tests/model/RecoveryFixtures.h"
#include "tools/filefaults/FileFaults.h"

#include <cstdlib>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("TemporaryStore of a process that is gone", "[model][recovery]")
{
    const RecoveryFixture fixture;
    const auto needed = fixture.owner.file ("needed");

    inDyingProcess (
        [&]
        {
            auto* const store = fixture.store().release();
            juce::ignoreUnused (storedSamples (*store, 1, 0.0f).get());
            std::shared_ptr<StoreFile> file;
            juce::ignoreUnused (store->createFile (1000, file),
                                TemporaryStore::keepWhileExists (store->folder(), needed));
            std::_Exit (file->write (0, "samples", 7) ? 0 : 1);
        });

    const auto folder = fixture.temporary.findChildFiles (juce::File::findDirectories, false).getFirst();
    std::shared_ptr<TemporaryStore> adopted;
    std::shared_ptr<StoreFile> file;

    SECTION ("is kept as long as what needs it exists")
    {
        REQUIRE (needed.create().wasOk());
        CHECK (TemporaryStore::sweep (fixture.temporary) == 0);
        REQUIRE (needed.deleteFile());
        CHECK (TemporaryStore::sweep (fixture.temporary) == 1);
    }

    SECTION ("can be taken over once, with its files, and goes with the last of them")
    {
        REQUIRE (TemporaryStore::adopt (folder, adopted).wasOk());
        std::shared_ptr<TemporaryStore> second;
        CHECK (TemporaryStore::adopt (folder, second).getErrorMessage().contains (folder.getFullPathName()));
        CHECK (second == nullptr);

        REQUIRE (adopted->openFile ("2.data", 1000, file).wasOk());
        std::array<char, 7> bytes{};
        REQUIRE (file->read (0, bytes.data(), bytes.size()));
        CHECK (std::string (bytes.data(), bytes.size()) == "samples");

        std::shared_ptr<StoreFile> made;
        REQUIRE (adopted->createFile (10, made).wasOk());
        CHECK (made->path().getFileName() == "3.data");
        made.reset();

        adopted.reset();
        CHECK (TemporaryStore::sweep (fixture.temporary) == 0);
        const std::weak_ptr<StoreFile> watching (file); // holds nothing back
        file.reset();
        CHECK_FALSE (folder.exists());
    }

    SECTION ("gives no file but its own, as it was")
    {
        REQUIRE (fixture.owner.write ("tmp/1.data", { 1, 2, 3 }).existsAsFile());
        REQUIRE (TemporaryStore::adopt (folder, adopted).wasOk());
        CHECK (adopted->openFile ("2.data", 999, file).failed());
        CHECK (adopted->openFile ("9.data", 1000, file).failed());
        CHECK (adopted->openFile ("lock", 0, file).failed());
        CHECK (adopted->openFile ("../1.data", 3, file).failed());
#if ! JUCE_WINDOWS
        REQUIRE (fixture.temporary.getChildFile ("1.data").createSymbolicLink (folder.getChildFile ("7.data"),
                                                                               false));
        CHECK (adopted->openFile ("7.data", 3, file).failed());
#endif
        CHECK (file == nullptr);
    }

    SECTION ("is not taken over while its process lives, nor what is no such folder")
    {
        const auto living = fixture.store();
        CHECK (TemporaryStore::adopt (living->folder(), adopted).failed());
        CHECK (TemporaryStore::adopt (fixture.temporary, adopted).failed());
#if ! JUCE_WINDOWS
        const auto link = fixture.temporary.getChildFile ("tessivar-5-01234567");
        REQUIRE (folder.createSymbolicLink (link, false));
        CHECK (TemporaryStore::adopt (link, adopted).failed());
#endif
        CHECK (
            TemporaryStore::adopt (fixture.temporary.getChildFile ("tessivar-6-01234567"), adopted).failed());
        CHECK (adopted == nullptr);
    }
}

TEST_CASE ("Settings and recovery entries on a full disk", "[model][recovery][settings]")
{
    const RecoveryFixture fixture;
    const auto store = fixture.store();
    auto state = groupWithAudio (*store);
    state.tracks[0].sourceInfo.metadata.set ("notes", juce::String::repeatedString ("x", 100000));
    const auto entry = noted (state, {});
    const auto encoded = encodeRecoveryEntry (entry);
    auto numWritten = 0, numRefused = 0;

    for (int size = 1; size <= 64; ++size)
    {
        const SmallFileSystem disk (fixture.owner.file ("disk"), 4 * size);

        if (! disk.isMounted)
            return;

        INFO (4 * size << " kB");
        const auto folders = UserFolders::below (disk.folder);
        SettingsStore settings (folders);
        settings.setValue ("key", juce::String::repeatedString ("v", 60000));
        const auto saved = settings.save();
        juce::MemoryBlock content;
        SettingsValues values;
        REQUIRE (saved.wasOk() == folders.settingsFile().loadFileAsData (content));
        REQUIRE (parseSettings (content.getData(), content.getSize(), values).wasOk());
        REQUIRE (values.size() == (saved.wasOk() ? 1u : 0u));

        std::shared_ptr<RecoverySession> session;

        if (RecoverySession::open (folders.recovery(), session).failed())
            continue;

        const auto written = session->write (1, entry);
        const auto file = session->entryFile (1);
        REQUIRE (written.wasOk() == file.exists());

        if (written.wasOk())
        {
            REQUIRE (file.getSize() == static_cast<juce::int64> (encoded.size()));
            ++numWritten;
        }
        else
        {
            REQUIRE (written.getErrorMessage().contains (" bytes needed, "));
            ++numRefused;
        }
    }

    CHECK (numWritten > 5);
    CHECK (numRefused > 5);
}
