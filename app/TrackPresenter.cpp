#include "app/TrackPresenter.h"

#include "playback/PlaybackTrack.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/TrackFindings.h"
#include "ui/DrumDrawing.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
SuppressionRule soundingRule (const TrackState& track)
{
    return SuppressionRule::forSetting (track.soundingKnobs());
}

bool hasFindings (const TrackState& track)
{
    return track.hasProcessedOutput() && track.findings.suggestedFocus.has_value();
}

juce::String focusPercent (double focus)
{
    return juce::String (juce::roundToInt (focus * 100.0 / static_cast<double> (focusMaximum))) + "%";
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

juce::String leakageText (const TrackState& track)
{
    if (! hasFindings (track))
        return {};

    if (! track.findings.hasLeakage())
        return "no leakage";

    const auto level = juce::roundToInt (track.findings.leakageDb);
    return "leakage " + juce::String (level > 0 ? "+" : "")
           + (level < 0 ? juce::String::fromUTF8 ("\xe2\x88\x92") : juce::String())
           + juce::String (std::abs (level)) + " dB";
}

juce::String findingsSentence (const TrackState& track, const juce::StringArray& sameDrumAs)
{
    if (! hasFindings (track))
        return {};

    const auto focus = *track.findings.suggestedFocus;
    const auto twins = sameDrumAs.isEmpty()
                           ? juce::String()
                           : " It hears the same drum as " + sameDrumAs.joinIntoString (", ") + ".";

    if (focus == 0.0)
        return "No drum was found that could be kept apart: it hardly plays, or most of the track would go."
               + twins;

    if (! track.findings.hasLeakage())
        return "No leakage was found." + twins;

    const auto level = juce::roundToInt (track.findings.leakageDb);
    const auto place =
        level == 0 ? juce::String ("as loud as the drum")
                   : juce::String (std::abs (level)) + (level < 0 ? " dB below" : " dB above") + " the drum";
    const auto certainty = track.findings.certainty();
    return "Leakage is " + place + ". Focus " + focusPercent (focus) + " is suggested"
           + (certainty == Certainty::unsure
                  ? juce::String (", but the analysis is unsure: listen to it.")
                  : "; the analysis is " + juce::String (certaintyText (certainty)) + ".")
           + twins;
}

AnalysisSummary analysisSummary (const GroupState& group)
{
    AnalysisSummary summary;
    juce::StringArray unsure, untold;
    auto count = 0;

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        const auto& track = group.tracks[i];
        count += track.hasProcessedOutput() ? 1 : 0;

        if (const auto offered = track.offeredType())
        {
            summary.sentences.add (track.name + ": its name tells no drum type, but it sounds like "
                                   + drumTypeNoun (*offered) + ".");
            untold.add (track.name);
        }

        if (! hasFindings (track))
            continue;

        summary.sentences.add (track.name + ": " + findingsSentence (track, group.namesSharingDrumWith (i)));

        if (*track.findings.suggestedFocus == 0.0 || track.findings.certainty() == Certainty::unsure)
            unsure.add (track.name);
    }

    summary.headline << count << (count == 1 ? " track" : " tracks") << " analyzed";

    if (! unsure.isEmpty())
        summary.headline << ", listen to " << unsure.joinIntoString (", ", 0, 2)
                         << (unsure.size() > 2 ? " and " + juce::String (unsure.size() - 2) + " more"
                                               : juce::String());

    if (! untold.isEmpty())
        summary.headline << ", set the type of " << untold[0]
                         << (untold.size() > 1 ? " and " + juce::String (untold.size() - 1) + " more"
                                               : juce::String());

    return summary;
}

ChannelWeights soundingWeights (const TrackState& track)
{
    return soundingRule (track).toWeights();
}

WaveTrack waveTrackFor (const TrackState& track, const TrackWaveform* waveform, std::int64_t groupLength)
{
    WaveTrack result;
    result.name = track.name;
    result.colour = drumColour (track.drumType());
    result.sampleRate = track.sampleRate();
    result.lengthInSamples = groupLength;
    result.contentId = track.contentId;

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
        return track.excluded ? WaveLook::excluded : WaveLook::asIs;

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

WaveTrackHeader::Content
headerFor (const TrackState& track, WaveLook look, const juce::StringArray& sameDrumAs)
{
    const auto type = track.drumType();
    WaveTrackHeader::Content content;
    content.name = track.name;
    content.icon = drumIcon (type);
    content.colour = drumColour (type);
    content.look = look;

    // What was found comes first: it is what is left where there is little room.
    if (hasFindings (track))
    {
        if (const auto focus = *track.findings.suggestedFocus; focus > 0.0)
            content.facts.addArray (
                { focusPercent (focus) + " suggested, " + certaintyText (track.findings.certainty()),
                  leakageText (track) });
        else
            content.facts.add ("best left as it is");
    }

    if (const auto offered = track.offeredType())
        content.facts.add (juce::String ("sounds like ") + drumTypeNoun (*offered));

    if (! sameDrumAs.isEmpty())
        content.facts.add ("same drum as " + sameDrumAs.joinIntoString (", "));

    content.facts.addArray (
        { drumName (type),
          durationText (static_cast<double> (track.lengthInSamples()) / track.sampleRate(), false),
          juce::String (track.sourceInfo.bitsPerSample) + "-bit"
              + (track.sourceInfo.isFloatingPoint ? " float" : ""),
          "mono" });

    content.hint = findingsSentence (track, sameDrumAs);
    return content;
}

DockState dockFor (const TrackState* track, ListenMode listening)
{
    DockState dock;
    dock.listening = listening;

    if (track == nullptr)
        return dock;

    dock.sounding = track->record.selected();
    dock.settings = { track->record.knobs (KnobSetting::a), track->record.knobs (KnobSetting::b) };
    dock.defaults = startKnobsA;
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

float levelDbOf (float rms)
{
    return 20.0f * std::log10 (std::max (rms, 1.0e-6f));
}

} // namespace tessivar
