#include "model/Group.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/TrackFindings.h"

#include <catch2/catch.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

using namespace tessivar;

namespace
{
TrackState trackOf (const char* name, DrumType type)
{
    TrackState track;
    track.name = name;
    track.sourceInfo.sampleRate = 48000.0;
    track.record.setLengthInSamples (16384);
    track.record.setDrumType (type);
    return track;
}

Group::Ptr kickAndSnare()
{
    return new Group ("Take 3", { trackOf ("Kick", DrumType::kick), trackOf ("Snare", DrumType::snare) });
}

/** As if the Group had been analysed as it stands. */
void analyse (Group& group, std::optional<double> suggestedFocus = {})
{
    TrackFindings findings;
    findings.suggestedFocus = suggestedFocus;

    std::vector<Group::AnalysedTrack> results;

    for (const auto& track : group.state().tracks)
        results.push_back ({ track.id, track.analysisInput(), nullptr, nullptr, findings });

    group.applyAnalysis ({ group.method(), 1, group.numTracks() }, results);
}

juce::StringArray namesOf (const Group& group)
{
    juce::StringArray names;

    for (int i = 0; i < group.numTracks(); ++i)
        names.add (group.track (i)->name());

    return names;
}

void writeFloat (TrackRecord::Bytes& bytes, std::size_t offset, float value)
{
    std::memcpy (&bytes[offset], &value, sizeof (value));
}

float readFloat (const TrackRecord::Bytes& bytes, std::size_t offset)
{
    float value = 0.0f;
    std::memcpy (&value, &bytes[offset], sizeof (value));
    return value;
}
} // namespace

TEST_CASE ("TrackRecord", "[model][record]")
{
    TrackRecord::Bytes bytes{};

    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t> (i + 1);

    writeFloat (bytes, 68, 1.25f);
    writeFloat (bytes, 72, 2.5f);
    writeFloat (bytes, 76, 0.5f);
    writeFloat (bytes, 84, 0.0f);
    writeFloat (bytes, 96, 0.75f);

    SECTION ("takes setting B and the selector away from records older than 1.2 alone")
    {
        writeFloat (bytes, 84, 1.0f);
        writeFloat (bytes, 136, 1.1f);
        const auto old = TrackRecord::fromFile (bytes);
        CHECK (old.knobs (KnobSetting::a) == KnobValues{ 1.25f, 0.75f });
        CHECK (old.knobs (KnobSetting::b) == KnobValues{});
        CHECK (old.selected() == KnobSetting::a);
        CHECK (readFloat (old.bytes(), 136) == 1.5f);

        writeFloat (bytes, 136, 1.2f);
        const auto newer = TrackRecord::fromFile (bytes);
        CHECK (newer.knobs (KnobSetting::b) == KnobValues{ 2.5f, 0.5f });
        CHECK (newer.selected() == KnobSetting::b);
    }

    SECTION ("keeps every byte that no accessor was asked to change")
    {
        writeFloat (bytes, 136, 1.5f);
        auto record = TrackRecord::fromFile (bytes);
        record.setKnobs (KnobSetting::a, { 4.0f, 0.25f });
        record.setDrumType (DrumType::hiHat);
        record.setProcessed (true);

        auto expected = bytes;
        writeFloat (expected, 68, 4.0f);
        writeFloat (expected, 96, 0.25f);
        expected[104] = 128;
        expected[105] = expected[106] = expected[107] = 0;
        CHECK (record.bytes() == expected); // the processed byte was set already, to a value of its own
    }

    SECTION ("never gives the renderer a value that it can't use")
    {
        writeFloat (bytes, 136, 1.5f);
        writeFloat (bytes, 68, std::numeric_limits<float>::quiet_NaN());
        writeFloat (bytes, 96, 7.0f);
        writeFloat (bytes, 72, -std::numeric_limits<float>::infinity());
        writeFloat (bytes, 76, -0.5f);
        writeFloat (bytes, 84, std::numeric_limits<float>::quiet_NaN());
        bytes[104] = 3; // no single bit
        const auto record = TrackRecord::fromFile (bytes);
        CHECK (record.knobs (KnobSetting::a) == KnobValues{ 0.0f, 1.0f });
        CHECK (record.knobs (KnobSetting::b) == KnobValues{});
        CHECK (record.selected() == KnobSetting::b);
        CHECK (record.drumType() == DrumType::other);
    }

    SECTION ("is summed so that only the last eight bytes count")
    {
        std::vector<std::uint8_t> table (2 * TrackRecord::encodedSize, 9);
        table[143] = 0x05;
        table[287] = 0x01;
        const auto sum = 2 * 0x0909090909090900u + 0x05u + 0x01u; // wraps
        CHECK (recordChecksum (table) == sum);
        table[0] = 77;
        table[135] = 77;
        CHECK (recordChecksum (table) == sum);
    }
}

TEST_CASE ("Group edits", "[model][group]")
{
    const auto group = kickAndSnare();
    const auto kick = group->track (0)->id();
    const auto snare = group->track (1)->id();

    SECTION ("each is one named step, which undo takes back and redo brings again")
    {
        const auto kickTrack = group->track (0);
        group->rename ("Take 4");
        group->setDrumType ({ kick, snare }, DrumType::tomLow);
        group->setExcluded ({ snare }, true);
        group->renameTrack (kick, "Kick In");
        group->moveTracks ({ kick }, *group, 2);
        group->removeTracks ({ kick });
        group->addTracks ({ trackOf ("HH", DrumType::hiHat) });
        group->duplicateTrack (snare);
        group->selectSetting ({ snare }, KnobSetting::b);
        group->copyKnobs ({ snare }, KnobSetting::a); // both settings are alike: no step
        CHECK (namesOf (*group) == juce::StringArray{ "Snare", "Snare copy", "HH" });

        juce::StringArray steps;
        const auto last = group->state();

        while (group->undo().canUndo())
        {
            steps.add (group->undo().undoName());
            group->undo().undo();
        }

        CHECK (steps
               == juce::StringArray{ "Switch to B",
                                     "Duplicate Track",
                                     "Add Track",
                                     "Remove Track",
                                     "Move Track",
                                     "Rename Track",
                                     "Exclude from Analysis",
                                     "Change Drum Type",
                                     "Rename Group" });
        CHECK (group->name() == "Take 3");
        CHECK (namesOf (*group) == juce::StringArray{ "Kick", "Snare" });
        CHECK (group->track (0) == kickTrack); // the same object, for whoever shows it
        CHECK (group->track (0)->drumType() == DrumType::kick);
        CHECK_FALSE (group->track (1)->isExcluded());

        while (group->undo().canRedo())
            group->undo().redo();

        const auto again = group->state();
        REQUIRE (again.tracks.size() == last.tracks.size());

        for (std::size_t i = 0; i < last.tracks.size(); ++i)
        {
            CHECK (again.tracks[i].id == last.tracks[i].id);
            CHECK (again.tracks[i].record == last.tracks[i].record);
            CHECK (again.tracks[i].excluded == last.tracks[i].excluded);
        }
    }

    SECTION ("of knobs are called by what is turned")
    {
        group->setKnobs ({ kick }, KnobSetting::a, { 1.0f, 0.0f });
        CHECK (group->undo().undoName() == "Focus of Kick");
        group->setKnobs ({ kick }, KnobSetting::a, { 1.0f, 0.5f });
        CHECK (group->undo().undoName() == "Fine of Kick");
        group->setKnobs ({ kick, snare }, KnobSetting::b, { 2.0f, 0.1f });
        CHECK (group->undo().undoName() == "Focus and Fine of 2 Tracks");
    }

    SECTION ("take a move to another Group back, and make it again, from either of the two")
    {
        const auto kickTrack = group->track (0);
        const Group::Ptr other = new Group ("Take 4", { trackOf ("HH", DrumType::hiHat) });
        const auto both = [&]
        { return namesOf (*group).joinIntoString (" ") + "|" + namesOf (*other).joinIntoString (" "); };
        group->moveTracks ({ kick }, *other, 0);
        CHECK (both() == "Snare|Kick HH");
        CHECK (group->undo().undoName() == "Move Track");
        other->undo().undo();
        CHECK (both() == "Kick Snare|HH");
        CHECK (group->track (0) == kickTrack);
        CHECK_FALSE (group->undo().canUndo());
        group->undo().redo();
        CHECK (both() == "Snare|Kick HH");
        group->undo().undo();
        other->undo().redo();
        CHECK (both() == "Snare|Kick HH");

        // What was done to the other Group since stays, and remains its own step.
        other->addTracks ({ trackOf ("Tom", DrumType::tomLow) }, 0);
        other->setExcluded ({ other->track (2)->id() }, true);
        group->undo().undo();
        CHECK (both() == "Kick Snare|Tom HH");
        CHECK (other->track (1)->isExcluded());
        group->undo().redo();
        CHECK (other->numTracks() == 3);
        group->undo().undo();
        other->undo().undo();
        CHECK (both() == "Kick Snare|Tom HH");
        CHECK_FALSE (other->track (1)->isExcluded());
        other->undo().undo();
        CHECK (both() == "Kick Snare|HH");
        CHECK_FALSE (other->undo().canUndo());
    }

    SECTION ("a drag of a knob is one step, and the next drag another")
    {
        for (const auto focus : { 0.5f, 1.0f, 1.5f })
            group->setKnobs ({ kick }, KnobSetting::a, { focus, 0.0f }, focus != 0.5f);

        group->setKnobs ({ kick }, KnobSetting::a, { 4.0f, 0.0f });
        group->undo().undo();
        CHECK (group->track (0)->knobs (KnobSetting::a).focus == 1.5f);
        group->undo().undo();
        CHECK (group->track (0)->knobs (KnobSetting::a).focus == 0.0f);
        CHECK_FALSE (group->undo().canUndo());
        group->undo().redo();
        CHECK (group->track (0)->knobs (KnobSetting::a).focus == 1.5f);
    }

    SECTION ("keep the knobs from every analysis once the user has touched them")
    {
        const auto focusA = [&] (int index) { return group->track (index)->knobs (KnobSetting::a).focus; };
        group->selectSetting ({ snare }, KnobSetting::b);
        analyse (*group, 1.5);
        CHECK (focusA (0) == 1.5f);
        CHECK (focusA (1) == 1.5f);
        CHECK (group->track (1)->selectedSetting() == KnobSetting::b);

        group->renameTrack (kick, "Kick In");
        analyse (*group, 2.0);
        group->undo().undo(); // of the name alone
        CHECK (focusA (0) == 2.0f);

        group->setKnobs ({ kick }, KnobSetting::a, startKnobsA); // a choice, though it is where knobs start
        group->setKnobs ({ snare }, KnobSetting::b, { 3.0f, 0.5f });
        analyse (*group, 4.0);
        CHECK (focusA (0) == 2.5f);
        CHECK (focusA (1) == 2.0f);
        CHECK (group->track (1)->soundingKnobs() == KnobValues{ 3.0f, 0.5f });

        group->resetKnobs ({ kick, snare }, KnobSetting::a);
        CHECK (focusA (0) == 4.0f);
        analyse (*group, 1.0);
        CHECK (focusA (0) == 1.0f);
        CHECK (focusA (1) == 4.0f); // its setting B is the user's
    }

    SECTION ("tell by comparing whether a new analysis would differ")
    {
        CHECK (group->changedSinceLastAnalysis());
        analyse (*group);
        CHECK_FALSE (group->changedSinceLastAnalysis());

        group->setKnobs ({ kick }, KnobSetting::a, { 3.0f, 0.0f });
        group->moveTracks ({ kick }, *group, 2);
        group->renameTrack (kick, "Kick In");
        CHECK_FALSE (group->changedSinceLastAnalysis());

        group->setDrumType ({ kick }, DrumType::tomFloor);
        CHECK (group->changedSinceLastAnalysis());
        group->undo().undo();
        CHECK_FALSE (group->changedSinceLastAnalysis());

        group->setExcluded ({ snare }, true);
        CHECK (group->changedSinceLastAnalysis());
        group->undo().undo();
        group->setMethod (AnalysisMethod::refined);
        CHECK (group->changedSinceLastAnalysis());
        group->undo().undo();
        group->removeTracks ({ snare });
        CHECK (group->changedSinceLastAnalysis());
        group->undo().undo();
        group->duplicateTrack (kick);
        group->removeTracks ({ snare }); // as many tracks as were analyzed
        CHECK (group->changedSinceLastAnalysis());
    }

    SECTION ("undo never brings back the samples of an older analysis")
    {
        group->setDrumType ({ kick }, DrumType::tomFloor);
        analyse (*group);
        const auto inputs = group->state().tracks[0].analysedAs;
        group->undo().undo();
        CHECK (group->track (0)->drumType() == DrumType::kick);
        CHECK (group->state().tracks[0].analysedAs == inputs);
        CHECK (group->changedSinceLastAnalysis());
    }

    SECTION ("what was edited while a save ran stays unsaved")
    {
        CHECK (group->hasUnsavedChanges());
        const auto saved = group->state();
        group->renameTrack (kick, "Kick In");
        group->markSaved (saved, {}, nullptr);
        CHECK (group->hasUnsavedChanges());
        group->undo().undo();
        CHECK_FALSE (group->hasUnsavedChanges());
        analyse (*group);
        CHECK (group->hasUnsavedChanges());
    }

    SECTION ("an edit of something else leaves a drum type that nobody knows as it is")
    {
        TrackRecord::Bytes bytes{};
        bytes[104] = 3;
        writeFloat (bytes, 136, 1.5f);
        auto strange = trackOf ("?", DrumType::other);
        strange.record = TrackRecord::fromFile (bytes);
        group->addTracks ({ strange });
        const auto id = group->track (2)->id();
        group->renameTrack (id, "Cowbell");
        CHECK (group->track (2)->state().record.bytes()[104] == 3);
    }
}

TEST_CASE ("GroupContents", "[model][group]")
{
    const auto contentsOf = [] (std::vector<TrackState> tracks)
    {
        GroupState state;
        state.tracks = std::move (tracks);
        return GroupContents::of (state);
    };
    auto excludedKick = trackOf ("Kick", DrumType::kick);
    excludedKick.excluded = true;

    SECTION ("counts active tracks only")
    {
        const auto contents = contentsOf ({ excludedKick, trackOf ("HH", DrumType::hiHat) });
        CHECK (contents.numActiveTracks == 1);
        CHECK_FALSE (contents.hasKick);
        CHECK (contents.breaksHiHatRule());
        CHECK (contents.hasAnalysableCloseMicrophone);
    }

    SECTION ("overheads and Other are no close microphones")
    {
        const auto contents =
            contentsOf ({ trackOf ("OH", DrumType::oh), trackOf ("Room", DrumType::other) });
        CHECK (contents.numActiveTracks == 2);
        CHECK_FALSE (contents.hasAnalysableCloseMicrophone);
        CHECK_FALSE (contents.breaksHiHatRule());
    }
}
