#pragma once

#include "app/WaveformLibrary.h"
#include "model/GroupState.h"
#include "terms/ChannelLayout.h"
#include "ui/dock/DockState.h"
#include "ui/wave/WaveTrackHeader.h"

namespace tessivar
{

/** What the window shows of one track, made from the track's state. */

/** Weights of the seven channels for the track's sounding setting. */
[[nodiscard]] ChannelWeights soundingWeights (const TrackState& track);

[[nodiscard]] WaveTrack
waveTrackFor (const TrackState& track, const TrackWaveform* waveform, std::int64_t groupLength);
[[nodiscard]] WaveLook waveLookFor (const TrackState& track, ListenMode listening);
[[nodiscard]] WaveTrackHeader::Content
headerFor (const TrackState& track, WaveLook look, const juce::StringArray& sameDrumAs);
[[nodiscard]] DockState dockFor (const TrackState* track, ListenMode listening);

/** What an analysis found out about a track; sameDrumAs: the tracks that hear the same drum. */
[[nodiscard]] juce::String leakageText (const TrackState& track); // "leakage -3 dB", or nothing
[[nodiscard]] juce::String findingsSentence (const TrackState& track,
                                             const juce::StringArray& sameDrumAs); // or nothing

/** What is said after an analysis: one line that sums it up, and a sentence for each track with findings. */
struct AnalysisSummary
{
    juce::String headline;
    juce::StringArray sentences;
};
[[nodiscard]] AnalysisSummary analysisSummary (const GroupState& group);

/** "3:42" and "3:42.000". */
[[nodiscard]] juce::String durationText (double seconds, bool withMilliseconds);

/** In dB, at least -120. */
[[nodiscard]] float levelDbOf (float rms);

} // namespace tessivar
