#include "model/KnobPresets.h"
#include "model/settings/SettingsStore.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>

using namespace tessivar;

namespace
{
const TrackKnobs someKnobs{ { 3.1f, 0.18f }, { 1.0f / 3.0f, 1.0f }, KnobSetting::b };
} // namespace

TEST_CASE ("Knobs as text", "[model][knobs]")
{
    CHECK (knobText ({ { 3.1f, 0.18f }, { 0.0f, 0.0f }, KnobSetting::a })
           == "Tessivar settings: A Focus 3.1 Fine 0.18, B Focus 0 Fine 0, A sounds");
    CHECK (parseKnobText (knobText (someKnobs)) == someKnobs);
    CHECK (parseKnobText ("\n " + knobText (someKnobs) + "\r\n") == someKnobs);

    const juce::String good ("Tessivar settings: A Focus 3.1 Fine 0.18, B Focus 0 Fine 0, A sounds");

    for (const auto& bad : { juce::String(),
                             juce::String ("Focus 3"),
                             good.replace ("3.1", "5.1"),
                             good.replace ("3.1", "-1"),
                             good.replace ("3.1", "nan"),
                             good.replace ("3.1", "1e"),
                             good.replace ("0.18", "2"),
                             good.replace ("A sounds", "C sounds"),
                             good + " too",
                             good.replace ("3.1", "0." + juce::String::repeatedString ("1", 100000)) })
    {
        INFO (bad.substring (0, 100));
        CHECK_FALSE (parseKnobText (bad).has_value());
    }
}

TEST_CASE ("Presets of drum types", "[model][knobs]")
{
    test::WorkFolder work;
    const auto folders = UserFolders::below (work.file ("user"));

    SECTION ("outlast the program, and another copy of it that saves its own")
    {
        SettingsStore one (folders), other (folders);
        KnobPresets (one).save (DrumType::kick, someKnobs);
        KnobPresets (other).save (DrumType::snare, {});
        KnobPresets (other).setForNewTracks (DrumType::snare, true);
        REQUIRE (one.saveIfNeeded().wasOk());
        REQUIRE (other.saveIfNeeded().wasOk());
        SettingsStore next (folders);
        const KnobPresets presets (next);
        CHECK (presets.find (DrumType::kick) == someKnobs);
        CHECK_FALSE (presets.ofNewTrack (DrumType::kick).has_value());
        CHECK (presets.ofNewTrack (DrumType::snare) == TrackKnobs());
    }

    SECTION ("are nothing where the settings hold something else")
    {
        SettingsStore settings (folders);
        settings.setValue ("preset.kick", "Focus 99");
        CHECK_FALSE (KnobPresets (settings).find (DrumType::kick).has_value());
    }

    SECTION ("go to new tracks of their types, but never to knobs that were touched")
    {
        SettingsStore settings (folders);
        KnobPresets presets (settings);
        presets.save (DrumType::kick, someKnobs);
        presets.setForNewTracks (DrumType::kick, true);
        std::vector<TrackState> tracks (3);
        tracks[0].record.setDrumType (DrumType::kick);
        tracks[1].record.setDrumType (DrumType::snare);
        tracks[2].record.setDrumType (DrumType::kick);
        tracks[2].knobsTouched = true;
        const auto before = tracks[1].soundingKnobs();
        presets.applyToNew (tracks);
        CHECK (tracks[0].soundingKnobs() == someKnobs.b);
        CHECK (tracks[0].record.knobs (KnobSetting::a) == someKnobs.a);
        CHECK (tracks[0].knobsTouched);
        CHECK (tracks[1].soundingKnobs() == before);
        CHECK (tracks[2].soundingKnobs() == before);

        presets.forget (DrumType::kick);
        CHECK_FALSE (presets.ofNewTrack (DrumType::kick).has_value());
        CHECK_FALSE (presets.isForNewTracks (DrumType::kick));
    }
}
