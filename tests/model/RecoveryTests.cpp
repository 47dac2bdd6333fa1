#include "model/groupfile/GroupFileSaving.h"
#include "model/recovery/GroupAutosave.h"
#include "model/recovery/RecoveryList.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"
#include "tests/model/RecoveryFixtures.h"
#include "tools/filefaults/FileFaults.h"

#include <cstdlib>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
RecoveredGroup recovered (RecoveryList& list, std::size_t index = 0)
{
    RecoveredGroup result;
    REQUIRE (list.offers().size() > index);
    const auto done = list.recover (list.offers()[index], result);
    INFO (done.getErrorMessage());
    REQUIRE (done.wasOk());
    return result;
}

/** What a crash leaves: an entry for a Group whose audio lies in a temporary folder. */
void leaveUnsavedGroup (const RecoveryFixture& fixture, int numGroups = 1)
{
    inDyingProcess (
        [&]
        {
            const auto session = fixture.session();
            auto* const store = fixture.store().release(); // without its destructor

            for (int i = 1; i <= numGroups; ++i)
            {
                const auto state = groupWithAudio (*store);
                juce::ignoreUnused (session->write (static_cast<std::uint32_t> (i), noted (state, {})));
                new GroupState (state);
            }

            std::_Exit (0);
        });
}
} // namespace

TEST_CASE ("Recovery", "[model][recovery]")
{
    const RecoveryFixture fixture;

    SECTION ("brings back a Group with its audio after a crash, and loses it at no step on the way")
    {
        leaveUnsavedGroup (fixture);
        CHECK (TemporaryStore::sweep (fixture.temporary) == 0);
        CHECK (fixture.numStores() == 1);

        auto list = RecoveryList::scan (fixture.entries);
        CHECK (list.hasNews());
        auto back = recovered (list);
        CHECK (back.notes.isEmpty());
        CHECK (back.group->hasUnsavedChanges());
        CHECK (back.group->file() == juce::File());

        {
            const auto kick = back.group->track (0)->state(), snare = back.group->track (1)->state();
            const auto rendered = framesOf (kick.rendered.get());
            REQUIRE (rendered.size() == framesOfTracks * 7);
            CHECK (rendered[9] == 9.0f / 1024.0f);
            CHECK (framesOf (kick.source.get())[1] == 13.0f / 1024.0f);
            CHECK (kick.components->sizeInBytes() == 4000);
            CHECK (framesOf (snare.source.get())[1] == 0.5f + 1.0f / 1024.0f);

            // Frame 1: components at their level, what is left of the source, the source.
            const auto folded = framesOf (snare.rendered.get());
            REQUIRE (folded.size() == framesOfTracks * 7);
            CHECK (folded[7 + 4] == 0.5f * (4.0f + 1.0f / 1024.0f));
            CHECK (folded[7 + 5] == 0.5f + 1.0f / 1024.0f - 0.5f * (10.0f + 5.0f / 1024.0f));
            CHECK (folded[7 + 6] == 0.5f + 1.0f / 1024.0f);
        }

        // Another copy of the program that starts meanwhile is not offered it, and sweeps nothing of it.
        CHECK (RecoveryList::scan (fixture.entries).offers().empty());
        CHECK (TemporaryStore::sweep (fixture.temporary) == 0);

        TessivarWorkspace workspace (UserFolders::below (fixture.owner.file ("home")));
        workspace.addGroup (back.group);
        {
            GroupAutosave autosave (workspace, fixture.session());
            autosave.takeOver (back);
            const auto oldEntry = back.entryFile;
            CHECK (oldEntry.existsAsFile());
            autosave.writeNow (back.group);
            autosave.flush();
            CHECK_FALSE (oldEntry.exists());
            CHECK (fixture.numEntries() == 1);
            CHECK (TemporaryStore::sweep (fixture.temporary) == 0);

            back.group->markSaved (back.group->state(), fixture.owner.file ("saved.dls"), nullptr);
            autosave.tick (0);
            autosave.flush();
            CHECK (fixture.numEntries() == 0);
        }

        // The last one to hold its audio takes the folder away.
        workspace.removeGroup (0);
        CHECK (fixture.numStores() == 1);
        back = {};
        CHECK (fixture.numStores() == 0);
    }

    SECTION ("offers what a process left only when that is gone")
    {
        auto session = fixture.session();
        const auto store = fixture.store();
        REQUIRE (session->write (1, noted (groupWithAudio (*store), {})).wasOk());
        CHECK (RecoveryList::scan (fixture.entries).offers().empty());
        CHECK (fixture.numEntries() == 1);
        session.reset();
        CHECK (RecoveryList::scan (fixture.entries).offers().size() == 1);
    }

    SECTION ("of two Groups in one temporary folder, closing one leaves the other what it needs")
    {
        leaveUnsavedGroup (fixture, 2);
        auto list = RecoveryList::scan (fixture.entries);
        REQUIRE (list.offers().size() == 2);
        auto first = recovered (list, 0);
        REQUIRE (RecoveryList::discard (list.offers()[0]).wasOk());
        first = {};
        CHECK (fixture.numStores() == 1);

        const auto second = recovered (list, 1);
        CHECK (second.notes.isEmpty());
        CHECK (framesOf (second.group->track (0)->state().rendered.get()).size() == framesOfTracks * 7);
    }

    SECTION ("gives what is left when audio has gone, and says so")
    {
        leaveUnsavedGroup (fixture);
        const auto folder = fixture.temporary.findChildFiles (juce::File::findDirectories, false)[0];
        REQUIRE (folder.getChildFile ("1.data").deleteFile()); // the rendering, with the source in it
        REQUIRE (folder.getChildFile ("3.data").replaceWithText ("cut"));
        auto list = RecoveryList::scan (fixture.entries);
        const auto back = recovered (list);
        REQUIRE (back.group->numTracks() == 2);
        CHECK (back.group->track (0)->state().source == nullptr);
        CHECK_FALSE (back.group->track (0)->isProcessed());
        CHECK (back.group->track (1)->state().source == nullptr);
        CHECK (back.notes.size() == 2);
        CHECK (back.notes[0] == "kick: the audio is gone.");
        CHECK (back.entryFile.existsAsFile());
    }

    SECTION ("does not take other audio for the right one because it lies in the same place")
    {
        leaveUnsavedGroup (fixture);
        const auto folder = fixture.temporary.findChildFiles (juce::File::findDirectories, false)[0];
        const auto rendering = folder.getChildFile ("1.data");
        const juce::MemoryBlock zeros (static_cast<std::size_t> (rendering.getSize()), true);
        juce::FileOutputStream stream (rendering);
        REQUIRE ((stream.openedOk() && stream.setPosition (0)));
        REQUIRE (stream.write (zeros.getData(), zeros.getSize()));
        stream.flush();
        auto list = RecoveryList::scan (fixture.entries);
        const auto back = recovered (list);
        CHECK (back.group->track (0)->state().rendered == nullptr);
        CHECK (back.group->track (1)->state().source != nullptr);
        CHECK (back.notes.size() == 1);
    }

#if ! JUCE_WINDOWS
    SECTION ("sets aside what is broken, each entry for itself")
    {
        leaveUnsavedGroup (fixture);
        const auto entry = fixture.entries.findChildFiles (juce::File::findFiles, false, "*.recovery")[0];
        juce::MemoryBlock content;
        REQUIRE (entry.loadFileAsData (content));
        const auto other = [&] (const char* name) { return fixture.entries.getChildFile (name); };
        REQUIRE (other ("1-00000001-1.recovery").replaceWithData (content.getData(), content.getSize() / 2));
        REQUIRE (other ("1-00000001-2.recovery").create().wasOk());
        REQUIRE (other ("noname.recovery").replaceWithText ("rubbish"));
        REQUIRE (other ("1-00000003-1.recovery").createDirectory().wasOk());
        REQUIRE (::mkfifo (other ("1-00000004-1.recovery").getFullPathName().toRawUTF8(), 0600) == 0);
        REQUIRE (other ("notes.txt").create().wasOk());

        const auto list = RecoveryList::scan (fixture.entries);
        CHECK (list.offers().size() == 1);
        CHECK (list.problems().size() == 5);
        CHECK (fixture.numEntries() == 1);
        CHECK (
            fixture.entries.getChildFile ("bad").getNumberOfChildFiles (juce::File::findFilesAndDirectories)
            == 5);
        CHECK (other ("notes.txt").existsAsFile());
    }
#endif

    SECTION ("keeps a skipped entry and its audio until it is discarded, and asks no more about it")
    {
        leaveUnsavedGroup (fixture);
        {
            const auto first = RecoveryList::scan (fixture.entries).offers();
            REQUIRE (RecoveryList::skip (first[0]).wasOk());
            REQUIRE (RecoveryList::skip (first[0]).wasOk());
            CHECK (RecoveryList::scan (fixture.entries).offers().empty()); // still held
        }
        {
            const auto list = RecoveryList::scan (fixture.entries);
            REQUIRE (list.offers().size() == 1);
            CHECK (list.offers()[0].wasSkipped);
            CHECK_FALSE (list.hasNews());
            CHECK (TemporaryStore::sweep (fixture.temporary) == 0);
            REQUIRE (RecoveryList::discard (list.offers()[0]).wasOk());
        }

        CHECK (fixture.numStores() == 0);
        CHECK (RecoveryList::scan (fixture.entries).offers().empty());
        CHECK (fixture.numFiles (fixture.entries) == 0); // the lock too
    }

    SECTION ("a program that has to end at once leaves everything for the next one")
    {
        auto session = fixture.session();
        auto store = fixture.store();
        auto group = groupWithAudio (*store);
        REQUIRE (session->write (1, noted (group, {})).wasOk());
        TemporaryStore::leaveAllBehind();
        group = {};
        store.reset();
        TemporaryStore::leaveAllBehind (false);
        session.reset();
        auto list = RecoveryList::scan (fixture.entries);
        CHECK (recovered (list).notes.isEmpty());
    }
}

TEST_CASE ("Recovery of a saved Group", "[model][recovery]")
{
    const RecoveryFixture fixture;
    const auto target = fixture.owner.file ("take.dls");

    inDyingProcess (
        [&]
        {
            auto* const store = fixture.store().release();
            SavedGroup saved;

            if (! saveGroup ({ groupWithAudio (*store), target, nullptr }, saved).isOk())
                std::_Exit (1);

            saved.state.tracks[0].record.setKnobs (KnobSetting::b, { 4.0f, 0.5f });
            saved.state.tracks[0].components.reset();
            const auto written = fixture.session()->write (1, noted (saved.state, target));
            std::_Exit (written.wasOk() ? 0 : 1);
        });

    // The audio is in the group file.
    TemporaryStore::sweep (fixture.temporary);
    CHECK (fixture.numStores() == 0);

    SECTION ("it comes back with its file, to which it can be saved as before")
    {
        auto list = RecoveryList::scan (fixture.entries);
        const auto back = recovered (list);
        CHECK (back.notes.isEmpty());
        CHECK (back.group->file() == target);
        REQUIRE (back.group->openFile() != nullptr);
        CHECK (back.group->track (0)->knobs (KnobSetting::b) == KnobValues{ 4.0f, 0.5f });
        const auto kick = back.group->track (0)->state();
        CHECK (framesOf (kick.rendered.get())[9] == 9.0f / 1024.0f);
        CHECK (framesOf (kick.source.get())[1] == 13.0f / 1024.0f);

        SavedGroup saved;
        REQUIRE (saveGroup ({ back.group->state(), target, back.group->openFile() }, saved).isOk());
        CHECK (saved.kind == SaveKind::tail);
        back.group->markSaved (saved.state, target, saved.file);
        CHECK_FALSE (back.group->hasUnsavedChanges());
    }

    SECTION ("it comes back without audio and without a file when somebody else has put another there")
    {
        juce::MemoryBlock content;
        REQUIRE (target.loadFileAsData (content));
        content[100] = static_cast<char> (content[100] + 1);
        REQUIRE (target.deleteFile());
        REQUIRE (fixture.owner.file ("placeholder").create().wasOk()); // takes the inode that was freed
        REQUIRE (target.replaceWithData (content.getData(), content.getSize()));
        auto list = RecoveryList::scan (fixture.entries);
        const auto back = recovered (list);
        CHECK (back.group->file() == juce::File());
        CHECK (back.group->track (0)->state().source == nullptr);
        CHECK (back.notes.size() == 3);
        CHECK (back.notes[0].contains ("take.dls has been changed since."));
    }
}

TEST_CASE ("GroupAutosave", "[model][recovery]")
{
    const RecoveryFixture fixture;
    const auto store = fixture.store();
    TessivarWorkspace workspace (UserFolders::below (fixture.owner.file ("home")));

    SECTION ("writes some seconds after a change, at once after an analysis, and not without a reason")
    {
        GroupAutosave autosave (workspace, fixture.session());
        const Group::Ptr group (new Group ("never saved", groupWithAudio (*store).tracks));
        group->removeTracks ({ group->track (0)->id() });
        workspace.addGroup (group);
        std::int64_t now = 1000;
        const auto numWritten = [&]
        {
            autosave.flush();
            const auto isThere = fixture.numEntries() == 1;
            fixture.entries.findChildFiles (juce::File::findFiles, false, "*.recovery")
                .getFirst()
                .deleteFile();
            return isThere ? 1 : 0;
        };

        autosave.tick (now);
        CHECK (numWritten() == 0);
        group->rename ("still changing");
        autosave.tick (now += GroupAutosave::changeDelay - 1);
        CHECK (numWritten() == 0);
        autosave.tick (now += 1);
        CHECK (numWritten() == 1);
        autosave.tick (now += 100000);
        CHECK (numWritten() == 0);

        Group::AnalysedTrack result;
        result.trackId = group->track (0)->id();
        result.rendered = storedSamples (*store, channelLayout::numRendered, 0.0f);
        group->applyAnalysis ({}, { result });
        autosave.tick (now += 1);
        CHECK (numWritten() == 1);

        group->markSaved (group->state(), fixture.owner.file ("take.dls"), nullptr);
        autosave.tick (now += 100000);
        CHECK (numWritten() == 0);
        group->rename ("changed again");
        autosave.tick (now += 1);
        CHECK (numWritten() == 0);
        autosave.tick (now += GroupAutosave::changeDelay);
        CHECK (numWritten() == 1);
        CHECK (GroupAutosave::changeDelay + GroupAutosave::suggestedTickInterval < 30000);
    }

    SECTION ("a Group's entry goes when it is saved or discarded, and stays when the program ends")
    {
        const Group::Ptr saved (new Group ("saved", {})), discarded (new Group ("discarded", {})),
            kept (new Group ("kept", {}));

        {
            GroupAutosave autosave (workspace, fixture.session());

            for (const auto& group : { saved, discarded, kept })
            {
                workspace.addGroup (group);
                autosave.writeNow (group);
            }

            autosave.flush();
            CHECK (fixture.numEntries() == 3);
            saved->markSaved (saved->state(), fixture.owner.file ("take.dls"), nullptr);
            autosave.discard (discarded);
            workspace.removeGroup (1);
            workspace.removeGroup (1);
            autosave.tick (0);
            autosave.flush();
            CHECK (fixture.numEntries() == 1);
        }

        const auto list = RecoveryList::scan (fixture.entries);
        REQUIRE (list.offers().size() == 1);
        CHECK (list.offers()[0].entry.state.name == "kept");
    }

    SECTION ("tells of a failure once, and tries again later")
    {
        FaultyCalls calls (1, SystemError::Kind::noRoom, Fault::lasting);
        GroupAutosave autosave (workspace, fixture.session (calls));
        juce::StringArray told;
        autosave.onFailure = [&] (const juce::String& reason) { told.add (reason); };
        const Group::Ptr group (new Group ("take", { TrackState() }));
        workspace.addGroup (group);
        autosave.writeNow (group);
        autosave.flush();
        autosave.tick (0);
        REQUIRE (told.size() == 1);
        CHECK (told[0].contains (SystemError (SystemError::Kind::noRoom).text()));
        autosave.tick (GroupAutosave::retryDelay - 1);
        autosave.flush();
        CHECK (fixture.numEntries() == 0);
        std::int64_t now = GroupAutosave::retryDelay;
        const auto tryAgain = [&]
        {
            autosave.tick (now);
            autosave.tick (now += GroupAutosave::changeDelay);
            autosave.flush();
            autosave.tick (now);
            now += GroupAutosave::retryDelay;
        };

        // The numbers in the reason are others each time.
        REQUIRE (fixture.owner.file ("fills the disk")
                     .replaceWithText (juce::String::repeatedString ("x", 1 << 20)));
        tryAgain();
        CHECK (fixture.numEntries() == 0);
        calls.end();
        tryAgain();
        CHECK (fixture.numEntries() == 1);
        CHECK (told.size() == 1);
    }
    SECTION ("keeps nothing of a new Group whose files are still on their way")
    {
        GroupAutosave autosave (workspace, fixture.session());
        workspace.addGroup (new Group ("take", {}));
        autosave.tick (0);
        autosave.tick (GroupAutosave::changeDelay);
        autosave.flush();
        CHECK (fixture.numEntries() == 0);
    }
}
