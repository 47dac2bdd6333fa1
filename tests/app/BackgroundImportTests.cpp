#include "tests/app/WindowWorkRig.h"

#include "jobs/DemoSession.h"
#include "tools/filefaults/FileFaults.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** Files to import. Until the rig runs the messages, they count as on their way. */
struct ImportRig : WindowWorkRig
{
    juce::File wav (const juce::String& name, double rate = 44100.0) const
    {
        const auto file = folder.getChildFile (name + ".wav");
        juce::AudioBuffer<float> audio (1, 20000);
        audio.clear();
        juce::WavAudioFormat format;
        std::unique_ptr<juce::AudioFormatWriter> writer (
            format.createWriterFor (file.createOutputStream().release(), rate, 1, 16, {}, 0));
        writer->writeFromAudioSampleBuffer (audio, 0, audio.getNumSamples());
        return file;
    }

    [[nodiscard]] static juce::String names (const Group& group)
    {
        juce::StringArray names;

        for (const auto& track : group.state().tracks)
            names.add (track.name);

        return names.joinIntoString (" ");
    }

    /** Runs the messages until a thread that was told to stop has done so. */
    void awaitStop()
    {
        awaitImports();
        juce::MessageManager::getInstance()->runDispatchLoopUntil (300);
    }
};
} // namespace

TEST_CASE ("Files come into a Group behind the window", "[app][import]")
{
    ImportRig rig;
    rig.import ({ rig.wav ("Kick") });
    const auto group = rig.workspace.selectedGroup();
    REQUIRE (group != nullptr);
    const std::vector<juce::File> more{ rig.wav ("Snare"), rig.wav ("Zzz"), rig.wav ("Hat") };

    SECTION ("at once as rows, then all of them in one step of undo")
    {
        rig.work.importInputs (more, group);
        const auto rows = rig.work.imports().filesOf (*group);
        REQUIRE (rows.size() == 3);
        CHECK (rows[0].type == DrumType::snare);
        CHECK (rows[1].name == "Zzz");
        CHECK (rows[1].typeUnknown);
        CHECK (ImportRig::names (*group) == "Kick");
        rig.awaitImports();
        CHECK (ImportRig::names (*group) == "Kick Snare Zzz Hat");
        CHECK (rig.work.imports().filesOf (*group).empty());
        group->undo().undo();
        CHECK (ImportRig::names (*group) == "Kick");
        group->undo().redo();
        CHECK (ImportRig::names (*group) == "Kick Snare Zzz Hat");
    }

    SECTION ("or leave everything as it was when they are stopped, whatever waited for them")
    {
        rig.work.importInputs (more, group);
        rig.work.importInputs (more, group);
        rig.work.importInputs (more, nullptr);
        CHECK (rig.workspace.numGroups() == 2);
        rig.work.analyze (group);
        const auto stepBefore = group->undo().undoName();
        rig.work.stopReadingAll();
        rig.awaitStop();
        CHECK (ImportRig::names (*group) == "Kick");
        CHECK (group->undo().undoName() == stepBefore);
        CHECK (rig.workspace.numGroups() == 1);
        CHECK (rig.workspace.selectedGroup() == group);
        rig.work.stopReading (group);
        rig.awaitStop();
        CHECK (rig.told.isEmpty());
        CHECK (rig.work.imports().filesOf (*group).empty());
    }

    SECTION ("behind those of a drop before, whose rate they then must have")
    {
        const auto vanishing = rig.wav ("Floor");
        rig.work.importInputs ({ rig.wav ("Tom", 48000.0), rig.wav ("Tom 2", 48000.0) }, nullptr);
        const auto fresh = rig.workspace.selectedGroup();
        REQUIRE (fresh != group);
        rig.work.importInputs ({ rig.wav ("Bass"), vanishing, rig.wav ("Ride", 48000.0) }, fresh);
        REQUIRE (vanishing.deleteFile());
        rig.awaitImports();
        CHECK (ImportRig::names (*fresh) == "Tom Tom 2 Ride");
        REQUIRE (rig.told.size() == 2); // of the other rate, and of the missing one
        CHECK (rig.told[0].contains ("samplerate"));
        CHECK (rig.told[1].contains ("missing"));
    }

    SECTION ("unless tracks of another rate were moved there meanwhile")
    {
        rig.work.importInputs ({ rig.wav ("Tom", 48000.0) }, nullptr);
        const auto fresh = rig.workspace.selectedGroup();
        group->moveTracks ({ group->track (0)->id() }, *fresh, 0);
        rig.awaitImports();
        CHECK (ImportRig::names (*fresh) == "Kick");
        REQUIRE (rig.told.size() == 1);
        CHECK (rig.told[0].contains ("samplerate"));
    }

    SECTION ("without holding up its closing, which leaves them out")
    {
        rig.work.importInputs (more, nullptr); // nothing to lose: nothing is asked
        const auto fresh = rig.workspace.selectedGroup();
        CHECK (rig.work.close (fresh));
        CHECK (rig.told.isEmpty());
        rig.awaitStop();
        CHECK (fresh->numTracks() == 0);
        CHECK (rig.workspace.selectedGroup() == group);
        rig.work.importInputs (more, group);
        rig.answers = { "Close Without Saving" };
        CHECK (rig.work.close (group));
        rig.awaitStop();
        CHECK (rig.workspace.numGroups() == 0);
        CHECK (rig.told[0].contains ("left out"));
    }

    SECTION ("and none of them does where the disk is too small, nor what waited for them")
    {
        const SmallFileSystem disk (rig.folder.getChildFile ("disk"), 128);

        if (disk.isMounted)
        {
            auto folders = rig.workspace.folderSettings();
            folders.temporaryFiles = disk.folder;
            rig.workspace.setFolderSettings (folders);
            rig.work.importInputs (more, group);
            rig.work.analyze (group);
            rig.awaitImports();
            CHECK (ImportRig::names (*group) == "Kick");
            REQUIRE (rig.told.size() == 1);
            CHECK (rig.told[0].contains ("could not be read in"));
        }
    }
}

TEST_CASE ("What needs all tracks of a Group starts when its files are in", "[app][import]")
{
    ImportRig rig;
    rig.workspace.settings().setValue (settingsKeys::analysisTips, settingsFalse);
    juce::StringArray notices;
    rig.work.onNotice = [&] (const juce::String& text, const juce::String&, const std::function<void()>&)
    { notices.add (text); };
    const auto demo = demoSession::files (juce::File (juce::String (TESSIVAR_BIN_DIR) + "/Resources"));
    REQUIRE (demo.size() == 7);
    rig.work.importInputs ({ demo[1], demo[2] }, nullptr);
    const auto group = rig.workspace.selectedGroup();
    REQUIRE (group != nullptr);

    // Asked for twice, the analysis is called off; a third time it is wanted again.
    rig.work.analyze (group);
    CHECK (rig.work.waitsToAnalyze (*group));
    rig.work.analyze (group);
    CHECK_FALSE (rig.work.waitsToAnalyze (*group));
    rig.work.analyze (group);
    const auto file = rig.folder.getChildFile ("Take.dls");
    rig.choose ({ file.getFullPathName() });
    CHECK_FALSE (rig.work.save (group));
    CHECK_FALSE (file.exists());
    rig.awaitImports();
    CHECK (group->numTracks() == 2);
    CHECK (group->isAnalysed());
    CHECK (file.existsAsFile());
    CHECK_FALSE (group->hasUnsavedChanges());
    CHECK (notices[0] == "The analysis starts when all files are in");

    // Of a Group into which none came, nothing is left to be done.
    const auto broken = rig.folder.getChildFile ("Kick.wav");
    broken.replaceWithText ("RIFF, but no more");
    rig.work.importInputs ({ broken }, nullptr);
    rig.work.analyze (rig.workspace.selectedGroup());
    rig.awaitImports();
    CHECK (rig.workspace.selectedGroup() == group);
    CHECK (rig.told.size() == 1);
}

TEST_CASE ("The demo session opens ready to be analyzed", "[app][import]")
{
    ImportRig rig;
    rig.workspace.settings().removeValue (settingsKeys::showShortTracksWarning);
    Group::Ptr ready;
    rig.work.onDemoRead = [&] (const Group::Ptr& group) { ready = group; };
    rig.work.importDemo();
    rig.awaitImports();
    REQUIRE (ready != nullptr);
    REQUIRE (ready->numTracks() == 7);
    CHECK (ready->method() == AnalysisMethod::refined);

    for (const auto& track : ready->state().tracks)
    {
        CHECK (isRenderedType (track.drumType()));
        CHECK_FALSE (track.typeUnknown);
    }

    // No remark, no tips: those are for tracks of one's own.
    rig.work.analyze (ready);
    CHECK (ready->isAnalysed());
    CHECK (rig.told.isEmpty());
    CHECK (rig.workspace.settings().getValue (settingsKeys::analysisTips).isEmpty());
}
