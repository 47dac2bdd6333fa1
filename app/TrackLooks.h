#pragma once

#include "app/WaveformLibrary.h"
#include "model/GroupState.h"
#include "ui/dock/DockState.h"
#include "ui/wave/WaveTrackHeader.h"

namespace tessivar
{

/** What the window shows of one track, made from its state. */

/** Weights of the seven channels in what the track's sounding setting makes of it. */
[[nodiscard]] WaveChannelWeights soundingWeights (const TrackState& track);

[[nodiscard]] WaveTrack
waveTrackFor (const TrackState& track, const TrackWaveform* waveform, std::int64_t groupLength);
[[nodiscard]] WaveLook waveLookFor (const TrackState& track, ListenMode listening);
[[nodiscard]] WaveTrackHeader::Content headerFor (const TrackState& track, WaveLook look);
[[nodiscard]] DockState dockFor (const TrackState* track, ListenMode listening);

/** "3:42" and "3:42.000". */
[[nodiscard]] juce::String durationText (double seconds, bool withMilliseconds);

/** "44.1 kHz" */
[[nodiscard]] juce::String rateText (double sampleRate);

} // namespace tessivar
