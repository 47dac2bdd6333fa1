#include "model/KnobPresets.h"

#include "model/settings/Settings.h"

namespace tessivar
{

namespace
{
juce::String presetKey (DrumType type)
{
    return juce::String (settingsKeys::presetPrefix) + drumTypeKey (type);
}

juce::String newTracksKey (DrumType type)
{
    return juce::String (settingsKeys::presetForNewPrefix) + drumTypeKey (type);
}
} // namespace

std::optional<TrackKnobs> KnobPresets::find (DrumType type) const
{
    return parseKnobText (settings.getValue (presetKey (type)));
}

void KnobPresets::save (DrumType type, const TrackKnobs& knobs)
{
    settings.setValue (presetKey (type), knobText (knobs));
}

void KnobPresets::forget (DrumType type)
{
    settings.removeValue (presetKey (type));
    settings.removeValue (newTracksKey (type));
}

bool KnobPresets::isForNewTracks (DrumType type) const
{
    return settings.getValue (newTracksKey (type)) == settingsTrue;
}

void KnobPresets::setForNewTracks (DrumType type, bool shouldBe)
{
    settings.setValue (newTracksKey (type), shouldBe ? settingsTrue : settingsFalse);
}

std::optional<TrackKnobs> KnobPresets::ofNewTrack (DrumType type) const
{
    return isForNewTracks (type) ? find (type) : std::nullopt;
}

void KnobPresets::applyToNew (std::vector<TrackState>& tracks) const
{
    for (auto& track : tracks)
        if (const auto preset = ofNewTrack (track.drumType()); preset && ! track.knobsTouched)
        {
            track.record.setKnobs (KnobSetting::a, preset->a);
            track.record.setKnobs (KnobSetting::b, preset->b);
            track.record.select (preset->sounding);
            track.knobsTouched = true; // else the first analysis would move them
        }
}

} // namespace tessivar
