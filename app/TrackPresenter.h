#pragma once

#include "app/WaveformLibrary.h"
#include "model/GroupState.h"
#include "terms/ChannelLayout.h"
#include "ui/dock/DockState.h"
#include "ui/wave/WaveTrackHeader.h"

namespace tessivar
{

/** What the window shows of one track, made from its state. */

/** Weights of the seven channels in what the track's sounding setting makes of it. */
[[nodiscard]] ChannelWeights soundingWeights (const TrackState& track);

[[nodiscard]] WaveTrack
waveTrackFor (const TrackState& track, const TrackWaveform* waveform, std::int64_t groupLength);
[[nodiscard]] WaveLook waveLookFor (const TrackState& track, ListenMode listening);
[[nodiscard]] WaveTrackHeader::Content headerFor (const TrackState& track, WaveLook look);
[[nodiscard]] DockState dockFor (const TrackState* track, ListenMode listening);

/** What an analysis found out about a track. */
[[nodiscard]] juce::String leakageText (const TrackState& track);      // "leakage -3 dB", or nothing
[[nodiscard]] juce::String findingsSentence (const TrackState& track); // or nothing

/** What is told after an analysis: a line that says it all, and a sentence for every track where there is
    more.
*/
struct AnalysisSummary
{
    juce::String headline;
    juce::StringArray sentences;
};
[[nodiscard]] AnalysisSummary analysisSummary (const GroupState& group);

/** "3:42" and "3:42.000". */
[[nodiscard]] juce::String durationText (double seconds, bool withMilliseconds);

/** "44.1 kHz" */
[[nodiscard]] juce::String rateText (double sampleRate);

} // namespace tessivar
