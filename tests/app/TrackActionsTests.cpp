#include "app/TrackActions.h"
#include "model/KnobPresets.h"
#include "model/TrackKnobs.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "tests/support/MemorySamples.h"
#include "tests/support/ScriptedPrompts.h"

#include <catch2/catch.hpp>

using namespace tessivar;

namespace
{
/** Two Groups, of a kick, a snare and two toms, and of a hi-hat, in a program without a window. */
struct Rig
{
    Rig()
    {
        workspace.addGroup (take);
        workspace.addGroup (other);
        workspace.selectGroup (0);
        actions.keepSelectionValid();
        actions.onKnobsChanged = [this] { ++knobChanges; };
    }

    ~Rig() { folder.deleteRecursively(); }

    static TrackState track (const char* name, DrumType type, double rate = 48000.0)
    {
        TrackState state;
        state.name = name;
        state.sourceInfo.sampleRate = rate;
        state.record.setDrumType (type);
        state.record.setLengthInSamples (16384);
        state.record.setProcessed (true);
        state.rendered = std::make_shared<test::MemorySamples> (7, std::vector<float> (7 * 16384));
        return state;
    }

    static Group::Ptr groupOf (const char* name, std::vector<TrackState> tracks)
    {
        return new Group (name, std::move (tracks));
    }

    [[nodiscard]] static juce::String names (const Group& group)
    {
        juce::StringArray names;

        for (const auto& state : group.state().tracks)
            names.add (state.name);

        return names.joinIntoString (" ");
    }

    [[nodiscard]] std::uint32_t id (int index) const { return take->track (index)->id(); }

    const juce::ScopedJuceInitialiser_GUI toolkit;
    const juce::File folder = juce::File::createTempFile ("");
    TessivarWorkspace workspace{ UserFolders::below (folder) };
    Group::Ptr take = groupOf ("Take",
                               { track ("Kick", DrumType::kick),
                                 track ("Snare", DrumType::snare),
                                 track ("High", DrumType::tomLow),
                                 track ("Low", DrumType::tomLow) });
    Group::Ptr other = groupOf ("Other", { track ("HH", DrumType::hiHat) });
    test::ScriptedPrompts prompts;
    TrackActions actions{ workspace, prompts };
    int knobChanges = 0;
};
} // namespace

TEST_CASE ("The selection of tracks", "[app][tracks]")
{
    Rig rig;
    auto& actions = rig.actions;
    CHECK (actions.trackId() == rig.id (0));
    actions.stepTrack (1);
    CHECK (actions.trackId() == rig.id (1));
    actions.stepTrack (-5);
    CHECK (actions.trackId() == rig.id (0));

    SECTION ("holds several of a Group, and one again after a step")
    {
        actions.select (rig.take, rig.id (2), { rig.id (1), rig.id (2) });
        CHECK (actions.chosen() == TrackActions::TrackIds{ rig.id (1), rig.id (2) });
        actions.setExcluded (actions.chosen(), true);
        CHECK_FALSE (rig.take->track (0)->isExcluded());
        CHECK (rig.take->track (1)->isExcluded());
        CHECK (rig.take->track (2)->isExcluded());
        actions.stepTrack (1);
        CHECK (actions.chosen() == TrackActions::TrackIds{ rig.id (3) });
    }

    SECTION ("goes over to what is left")
    {
        actions.select (rig.take, rig.id (1), { rig.id (0), rig.id (1) });
        rig.take->removeTracks ({ rig.id (1) });
        actions.keepSelectionValid();
        CHECK (actions.chosen() == TrackActions::TrackIds{ rig.id (0) });
        actions.stepGroup (1);
        CHECK (actions.track() == rig.other->track (0));
        rig.workspace.removeGroup (1);
        rig.workspace.removeGroup (0);
        actions.keepSelectionValid();
        CHECK (actions.track() == nullptr);
        CHECK (actions.chosen().empty());

        // Without anything open nothing is done.
        actions.stepTrack (1);
        actions.stepGroup (1);
        actions.turnKnobs (1.0f, {});
        actions.remove ({});
        actions.undo();
    }

    SECTION ("tells whose type a chooser changes, selected or not")
    {
        actions.setDrumType ({ rig.other->track (0)->id() }, DrumType::other);
        CHECK (rig.other->track (0)->drumType() == DrumType::other);
    }
}

TEST_CASE ("Knobs of the selected track", "[app][tracks]")
{
    Rig rig;
    auto& actions = rig.actions;
    const auto knobs = [&] (int index) { return rig.take->track (index)->knobs (KnobSetting::a); };

    SECTION ("turned in one go are one step of undo, and never leave their range")
    {
        const auto start = knobs (0);
        actions.startKnobGesture();
        actions.turnKnobs (1.0f, {});
        actions.turnKnobs (2.0f, {});
        actions.startKnobGesture();
        actions.turnKnobs ({}, 0.5f);
        CHECK (knobs (0) == KnobValues{ 2.0f, 0.5f });
        CHECK (rig.knobChanges == 3);
        actions.undo();
        CHECK (knobs (0) == KnobValues{ 2.0f, start.fine });
        actions.undo();
        CHECK (knobs (0) == start);
        actions.redo();
        CHECK (knobs (0).focus == 2.0f);

        for (int i = 0; i < 30; ++i)
        {
            actions.nudgeFocus (0.05f);
            actions.nudgeFine (-0.05f);
        }

        CHECK (knobs (0) == KnobValues{ focusMaximum, 0.0f });
        CHECK (knobs (1) == start);
    }

    SECTION ("stay with their setting")
    {
        actions.toggleSetting (false);
        CHECK (rig.take->track (0)->selectedSetting() == KnobSetting::b);
        CHECK (rig.take->track (1)->selectedSetting() == KnobSetting::a);
        actions.turnKnobs (4.0f, {});
        CHECK (knobs (0).focus != 4.0f);
        actions.copySoundingSetting();
        CHECK (knobs (0).focus == 4.0f);
        actions.chooseSetting (KnobSetting::b, true);
        CHECK (rig.take->track (3)->selectedSetting() == KnobSetting::b);
    }

    SECTION ("are given to all of a type")
    {
        actions.selectTrack (rig.id (2));
        actions.turnKnobs (3.0f, {});
        actions.applyToType (*rig.take->track (2));
        CHECK (knobs (3).focus == 3.0f);
        CHECK (knobs (1).focus != 3.0f);
        CHECK (rig.take->undo().undoName() == "Apply to All of This Type");
    }

    SECTION ("of a drum type's preset are taken by tracks that become of it, untouched ones only")
    {
        const TrackKnobs preset{ { 4.0f, 0.25f }, { 1.0f, 0.0f }, KnobSetting::b };
        KnobPresets presets (actions.settings());
        presets.save (DrumType::tomHigh, preset);
        actions.setDrumType ({ rig.id (2) }, DrumType::tomHigh);
        CHECK (knobs (2) != preset.a); // nobody wants that yet

        presets.setForNewTracks (DrumType::tomHigh, true);
        actions.selectTrack (rig.id (1));
        actions.turnKnobs (3.0f, {});
        const auto before = knobs (3);
        actions.setDrumType ({ rig.id (1), rig.id (3) }, DrumType::tomHigh);
        CHECK (knobs (1).focus == 3.0f);
        CHECK (knobs (3) == preset.a);
        CHECK (rig.take->track (3)->soundingKnobs() == preset.b);
        actions.undo();
        CHECK (rig.take->track (3)->drumType() == DrumType::tomLow);
        CHECK (knobs (3) == before);
    }

    SECTION ("go to all chosen tracks in one step, past those that pass through")
    {
        const TrackKnobs given{ { 4.0f, 0.25f }, { 1.0f, 0.0f }, KnobSetting::b };
        rig.take->setDrumType ({ rig.id (3) }, DrumType::other);
        const auto before = knobs (1);
        actions.giveKnobs ({ rig.id (1), rig.id (2), rig.id (3) }, given, "Paste Settings");
        CHECK (knobs (1) == given.a);
        CHECK (rig.take->track (2)->soundingKnobs() == given.b);
        CHECK (knobs (3) == before);
        CHECK (rig.take->undo().undoName() == "Paste Settings");
        actions.undo();
        CHECK (knobs (1) == before);
        CHECK (knobs (2) == before);
    }

    SECTION ("do not turn by keys while nothing is to be turned")
    {
        const auto start = knobs (0);
        rig.take->setDrumType ({ rig.id (0) }, DrumType::other);
        actions.nudgeFocus (0.05f);
        CHECK (knobs (0) == start);
    }
}

TEST_CASE ("Levels, solo and mute of the kit", "[app][tracks]")
{
    Rig rig;
    auto& actions = rig.actions;
    const auto strip = [&] (int index) { return rig.take->track (index)->state().strip; };
    const auto wasUnsaved = rig.take->hasUnsavedChanges();
    actions.setSolo ({ rig.id (0), rig.id (2) }, true);
    actions.setMute ({ rig.id (2) }, true);
    actions.setFader (rig.id (1), 20.0f);
    CHECK (strip (0) == MixStrip{ 0.0f, true, false });
    CHECK (strip (1) == MixStrip{ MixStrip::highestDb, false, false });
    CHECK (strip (2) == MixStrip{ 0.0f, true, true });
    CHECK (rig.knobChanges == 3); // heard at once

    // They are no edits, but a save takes them.
    CHECK_FALSE (rig.take->undo().canUndo());
    CHECK (rig.take->hasUnsavedChanges() == wasUnsaved);
    const auto saved = rig.take->state();
    actions.setFader (rig.id (0), -3.0f);
    rig.take->markSaved (saved, {}, {});
    CHECK (rig.take->hasUnsavedStrips());
    rig.take->markSaved (rig.take->state(), {}, {});
    CHECK_FALSE ((rig.take->hasUnsavedStrips() || rig.take->hasUnsavedChanges()));

    // An edit that is undone leaves them as they are.
    actions.setExcluded ({ rig.id (0) }, true);
    actions.setFader (rig.id (0), -6.0f);
    actions.undo();
    CHECK (strip (0).faderDb == -6.0f);
}

TEST_CASE ("Tracks are moved and removed", "[app][tracks]")
{
    Rig rig;
    auto& actions = rig.actions;
    const auto both = [&] { return Rig::names (*rig.take) + " | " + Rig::names (*rig.other); };
    const auto before = both();

    SECTION ("within a Group to before the place that was pointed at, in one step")
    {
        actions.move ({ rig.id (0), rig.id (2) }, *rig.take, 4);
        CHECK (both() == "Snare Low Kick High | HH");
        actions.move ({ rig.id (3) }, *rig.take, 0);
        CHECK (both() == "High Snare Low Kick | HH");
        actions.undo();
        actions.undo();
        CHECK (both() == before);
    }

    SECTION ("by keys, together and no further than the ends, or to the next Group")
    {
        actions.select (rig.take, rig.id (1), { rig.id (1), rig.id (2) });
        actions.moveByStep (1);
        CHECK (both() == "Kick Low Snare High | HH");
        actions.moveByStep (1);
        CHECK (both() == "Kick Low Snare High | HH");
        actions.moveByStep (-1);
        CHECK (both() == before);
        actions.moveToGroup (-1);
        CHECK (both() == before);
        actions.moveToGroup (1);
        CHECK (both() == "Kick Low | HH Snare High");
        CHECK (actions.track()->name() == "Snare");
        CHECK (actions.group() == rig.other);
    }

    SECTION ("to another Group, and back by one undo from either")
    {
        actions.move ({ rig.id (1), rig.id (3) }, *rig.other, 0);
        CHECK (both() == "Kick High | Snare Low HH");
        actions.undo();
        CHECK (both() == before);
        actions.stepGroup (1);
        actions.redo();
        CHECK (both() == "Kick High | Snare Low HH");
        actions.undo();
        CHECK (both() == before);
        CHECK_FALSE (rig.take->undo().canUndo());
    }

    SECTION ("not to one of another sample rate")
    {
        const auto slow = Rig::groupOf ("Slow", { Rig::track ("OH", DrumType::oh, 44100.0) });
        rig.workspace.addGroup (slow);
        actions.move ({ rig.id (0) }, *slow, 0);
        CHECK (slow->numTracks() == 1);
        CHECK (both() == before);
        CHECK (rig.prompts.heard
               == juce::StringArray{ "warn: " + warningMessage (ImportWarnings::differentSampleRate) });
    }

    SECTION ("away when the user agrees")
    {
        actions.remove ({ rig.id (0) });
        CHECK (rig.prompts.lastText == "Remove Kick from the group? Its file is not touched.");
        CHECK (both() == before);
        rig.prompts.accepts = true;
        actions.remove ({ rig.id (0), rig.id (1) });
        CHECK (rig.prompts.lastText == "Remove 2 tracks from the group? Their files are not touched.");
        CHECK (both() == "High Low | HH");
        actions.undo();
        CHECK (both() == before);
    }
}

TEST_CASE ("A type that no name told is offered to tracks of like names", "[app][tracks]")
{
    Rig rig;
    auto names = { "SD Top", "SD Bot", "Audio 1", "SD Room" };
    std::vector<TrackState> tracks;

    for (const auto* name : names)
    {
        tracks.push_back (Rig::track (name, DrumType::other));
        tracks.back().typeUnknown = juce::String (name) != "SD Room"; // that one is meant to be Other
    }

    rig.take->addTracks (tracks);
    const auto top = rig.id (4), bottom = rig.id (5), audio = rig.id (6);
    TrackActions::TrackIds offered;
    rig.actions.onMoreLikeIt = [&] (const Group::Ptr&, const TrackActions::TrackIds& ids, DrumType type)
    {
        CHECK (type == DrumType::snare);
        offered = ids;
    };
    rig.actions.setDrumType ({ audio }, DrumType::snare);
    CHECK (offered.empty());
    rig.actions.setDrumType ({ top }, DrumType::snare);
    CHECK (offered == TrackActions::TrackIds{ bottom });
    CHECK (rig.take->findTrack (bottom)->drumType() == DrumType::other); // by nobody but the user

    // What was told is known, and undo forgets it.
    CHECK_FALSE (rig.take->findTrack (top)->state().typeUnknown);
    rig.actions.undo();
    CHECK (rig.take->findTrack (top)->state().typeUnknown);
}

TEST_CASE ("A type that a track sounds like is an offer", "[app][tracks]")
{
    Rig rig;
    auto state = Rig::track ("Audio 1", DrumType::other);
    state.typeUnknown = true;
    state.findings.soundsLike = DrumType::snare;
    rig.take->addTracks ({ state });
    const auto id = rig.id (4);
    const auto offered = [&] { return rig.take->findTrack (id)->state().offeredType(); };
    CHECK (offered() == DrumType::snare);
    CHECK (rig.take->findTrack (id)->drumType() == DrumType::other);
    rig.actions.setDrumType ({ id }, DrumType::other); // not a drum
    CHECK_FALSE (offered().has_value());
    rig.actions.undo();
    CHECK (offered() == DrumType::snare);
}
