#include "model/Abbreviations.h"
#include "model/TessivarWorkspace.h"
#include "tests/model/AudioFileBuilders.h"
#include "tests/support/SystemPaths.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
struct CountingListener final : juce::ChangeListener
{
    int numCalls = 0;

    void changeListenerCallback (juce::ChangeBroadcaster*) override { ++numCalls; }
};

Group::Ptr groupOf (const juce::String& name, const juce::File& firstTrack = {})
{
    std::vector<TrackState> tracks (firstTrack == juce::File() ? 0 : 1);

    for (auto& track : tracks)
        track.sourceInfo.file = firstTrack;

    return new Group (name, tracks);
}

struct WorkspaceFixture
{
    const juce::ScopedJuceInitialiser_GUI messages;
    WorkFolder owner;
    UserFolders folders = UserFolders::below (owner.file ("home"));

    void store (const SettingsValues& values) const
    {
        SettingsStore settings (folders);

        for (const auto& [key, value] : values)
            settings.setValue (key, value);
    }

    [[nodiscard]] juce::String stored (const juce::String& key) const
    {
        return SettingsStore (folders).getValue (key, "absent");
    }
};

void deliverMessages()
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil (20);
}
} // namespace

TEST_CASE ("Workspace settings", "[model][workspace]")
{
    const WorkspaceFixture fixture;

    SECTION ("the first start writes the built-in lists and runs the read-ahead thread")
    {
        TessivarWorkspace workspace (fixture.folders);
        CHECK (workspace.readAheadThread().isThreadRunning());
        CHECK (workspace.readAheadThread().getThreadName() == "playbackReadAheadThreadName");
        CHECK (workspace.selectedGroupIndex() == -1);
        CHECK (fixture.stored ("kick") == AbbreviationTable::defaultList (DrumType::kick));
        CHECK (fixture.stored ("other") == AbbreviationTable::defaultList (DrumType::other));
        CHECK (workspace.isFirstRun());
        CHECK_FALSE (workspace.isFirstRun());
    }

    SECTION ("saved lists last only once a folder was chosen")
    {
        fixture.store ({ { "kick", "boom" }, { "snare", "clack" } });

        {
            const TessivarWorkspace workspace (fixture.folders);
            CHECK (abbreviationLists()[DrumType::kick] == AbbreviationTable::defaultList (DrumType::kick));
        }

        CHECK (fixture.stored ("kick") == AbbreviationTable::defaultList (DrumType::kick));
        fixture.store (
            { { "kick", "boom" }, { "snare", "clack" }, { "tempFileLocation", systemPath ("/big") } });

        {
            const TessivarWorkspace workspace (fixture.folders);
            CHECK (abbreviationLists()[DrumType::kick] == "boom");
            CHECK (abbreviationLists()[DrumType::snare] == "clack");
            CHECK (workspace.folderSettings().temporaryFiles == systemFile ("/big"));
            CHECK (workspace.temporaryFolder().folder == systemFile ("/big"));
        }

        CHECK (fixture.stored ("kick") == "boom");
    }

    SECTION ("the recent files are written at the end, beside those of another copy of the program")
    {
        fixture.store ({ { "RecentFiles", "/old\n\n1\n2\n3\n4\n5\n6\n7\n8\n9" } });

        {
            TessivarWorkspace first (fixture.folders);
            CHECK (first.recentFiles().paths().size() == 10);
            first.addRecentFile (systemFile ("/first"));
            TessivarWorkspace second (fixture.folders);
            second.addRecentFile (systemFile ("/second"));
        }

        CHECK (fixture.stored ("RecentFiles")
               == systemPath ("/first") + "\n" + systemPath ("/second") + "\n/old\n\n1\n2\n3\n4\n5\n6");
    }
}

TEST_CASE ("Workspace groups", "[model][workspace]")
{
    const WorkspaceFixture fixture;
    CountingListener listener;
    auto workspace = std::make_unique<TessivarWorkspace> (fixture.folders);
    workspace->addChangeListener (&listener);
    const auto first = groupOf ("first"), second = groupOf ("second"), third = groupOf ("third");

    for (const auto& group : { first, second, third })
        workspace->addGroup (group);

    SECTION ("the selection stays with its Group, or goes to the next one")
    {
        CHECK (workspace->addGroup (second) == 1);
        CHECK (workspace->numGroups() == 3);
        CHECK (workspace->selectedGroup() == nullptr);

        workspace->selectGroup (1);
        workspace->removeGroup (0);
        CHECK (workspace->selectedGroup() == second);
        workspace->removeGroup (0);
        CHECK (workspace->selectedGroup() == third);
        workspace->removeGroup (0);
        CHECK (workspace->selectedGroupIndex() == -1);
        workspace->removeGroup (0);
        workspace->selectGroup (0);
        CHECK (workspace->selectedGroupIndex() == -1);
    }

    SECTION ("listeners hear once of what happened together")
    {
        deliverMessages();
        CHECK (listener.numCalls == 1);
        workspace->selectGroup (2);
        workspace->selectGroup (2);
        deliverMessages();
        CHECK (listener.numCalls == 2);
        workspace->selectGroup (2);
        deliverMessages();
        CHECK (listener.numCalls == 2);
        workspace->refreshAll();
        workspace->removeGroup (0);
        deliverMessages();
        CHECK (listener.numCalls == 3);
        second->rename ("other");
        deliverMessages();
        CHECK (listener.numCalls >= 4);
    }

    SECTION ("a Group outlives the workspace where somebody still holds it")
    {
        workspace.reset();
        first->rename ("still here");
        deliverMessages();
        CHECK (first->getReferenceCount() == 1);
    }

    SECTION ("export dialogs start beside the selected Group's first source file")
    {
        const auto source = fixture.owner.write ("kick.wav", {});
        CHECK (workspace->defaultDialogFolder() == fixture.folders.documents);
        workspace->selectGroup (0);
        CHECK (workspace->defaultDialogFolder() == fixture.folders.documents);
        workspace->selectGroup (workspace->addGroup (groupOf ("with audio", source)));
        CHECK (workspace->defaultDialogFolder() == source.getParentDirectory());
        workspace->selectGroup (workspace->addGroup (groupOf ("gone", juce::File ("/gone/kick.wav"))));
        CHECK (workspace->defaultDialogFolder() == fixture.folders.documents);
    }

    SECTION ("the menu of recent files leaves out what is open")
    {
        const auto open = fixture.owner.write ("open.dls", {}),
                   closed = fixture.owner.write ("closed.dls", {});
        GroupState state;
        workspace->addGroup (new Group (state, open, nullptr));
        workspace->addRecentFile (open);
        workspace->addRecentFile (closed);
        CHECK (workspace->indexOfFile (open) == 3);
        CHECK (workspace->indexOfFile (closed) == -1);
        CHECK (workspace->indexOfFile ({}) == -1);
        REQUIRE (workspace->recentFilesMenu().size() == 1);
        CHECK (workspace->recentFilesMenu()[0].file == closed);
    }
}
