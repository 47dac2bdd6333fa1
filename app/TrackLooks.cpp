#include "app/TrackLooks.h"

#include "app/DrumLooks.h"
#include "playback/PlaybackTrack.h"

#include <cmath>

namespace tessivar
{

namespace
{
SuppressionRule soundingRule (const TrackState& track)
{
    const auto knobs = track.record.knobs (track.record.selected());
    return SuppressionRule::forSetting ({ knobs.focus, knobs.fine });
}

DockState::Values valuesOf (KnobValues knobs)
{
    return { knobs.focus, knobs.fine };
}

juce::String bullet()
{
    return juce::String::fromUTF8 (" \xc2\xb7 ");
}
} // namespace

juce::String durationText (double seconds, bool withMilliseconds)
{
    const auto milliseconds = static_cast<juce::int64> (std::llround (seconds * 1000.0));
    const auto whole = withMilliseconds ? milliseconds / 1000 : (milliseconds + 500) / 1000;
    juce::String text;

    if (whole >= 3600)
        text << whole / 3600 << ":" << juce::String (whole / 60 % 60).paddedLeft ('0', 2);
    else
        text << whole / 60;

    text << ":" << juce::String (whole % 60).paddedLeft ('0', 2);
    return withMilliseconds ? text + "." + juce::String (milliseconds % 1000).paddedLeft ('0', 3) : text;
}

juce::String rateText (double sampleRate)
{
    return juce::String (sampleRate / 1000.0, 1).trimCharactersAtEnd ("0").trimCharactersAtEnd (".") + " kHz";
}

WaveChannelWeights soundingWeights (const TrackState& track)
{
    return soundingRule (track).toWeights().weight;
}

WaveTrack waveTrackFor (const TrackState& track, const TrackWaveform* waveform, std::int64_t groupLength)
{
    WaveTrack result;
    result.name = track.name;
    result.colour = drumColour (drumLookOf (track.drumType()));
    result.sampleRate = track.sampleRate;
    result.lengthInSamples = groupLength;

    if (waveform != nullptr)
    {
        result.source = waveform->source;
        result.energies = track.hasProcessedOutput() ? waveform->energies : nullptr;
    }

    return result;
}

WaveLook waveLookFor (const TrackState& track, ListenMode listening)
{
    if (! track.takesPart())
        return track.excluded ? WaveLook::notAnalysed : WaveLook::asIs;

    if (! track.hasProcessedOutput())
        return WaveLook::notAnalysed;

    switch (listening)
    {
        case ListenMode::bypass:
            return WaveLook::bypassed;
        case ListenMode::removed:
            return WaveLook::removed;
        case ListenMode::processed:
            break;
    }

    return WaveLook::processed;
}

WaveTrackHeader::Content headerFor (const TrackState& track, WaveLook look)
{
    const auto type = drumLookOf (track.drumType());
    WaveTrackHeader::Content content;
    content.name = track.name;
    content.icon = drumIcon (type);
    content.colour = drumColour (type);
    content.look = look;
    content.facts << drumName (type) << bullet() << track.bitsPerSample << "-bit"
                  << (track.isFloatingPoint ? " float" : "") << bullet() << "mono" << bullet()
                  << durationText (static_cast<double> (track.lengthInSamples()) / track.sampleRate, true);

    if (track.hasProcessedOutput() && track.findings.suggestedFocus)
    {
        content.facts << bullet();

        if (*track.findings.suggestedFocus == 0.0)
            content.facts << "its own drum hardly plays, or most of it would go: left as it is";
        else
            content.facts << "leakage " << juce::String (track.findings.leakageDb, 1) << " dB";
    }

    return content;
}

DockState dockFor (const TrackState* track, ListenMode listening)
{
    DockState dock;
    dock.listening = listening;

    if (track == nullptr)
        return dock;

    dock.sounding = track->record.selected() == KnobSetting::a ? SettingLetter::a : SettingLetter::b;
    dock.settings = { valuesOf (track->record.knobs (KnobSetting::a)),
                      valuesOf (track->record.knobs (KnobSetting::b)) };
    dock.available = track->hasProcessedOutput();

    if (! track->takesPart())
        dock.unavailableText =
            track->excluded ? "Excluded: it plays its source." : "This type is passed through as is.";

    if (! dock.available)
        return dock;

    if (const auto suggested = track->findings.suggestedFocus)
        dock.suggestedFocus = static_cast<float> (*suggested);

    const auto rule = soundingRule (*track);

    for (std::size_t i = 0; i < dock.layers.size(); ++i)
        dock.layers[i] = { rule.channelWeight[i], rule.back * (1.0f - rule.channelWeight[i]) };

    return dock;
}

} // namespace tessivar
