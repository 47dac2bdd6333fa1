#pragma once

#include "playback/PlaybackTrack.h"
#include "terms/KnobValues.h"
#include "terms/WorkControl.h"

#include <optional>

namespace tessivar
{

/** Linear gains for PlaybackMix that make both settings of a track equally loud. */
struct LoudnessMatch
{
    float gainA = 1.0f;
    float gainB = 1.0f;

    /** Larger differences are reduced by this much only: such settings aren't compared by ear. */
    static constexpr double largestDifferenceDb = 24.0;

    /** Longest stretch measured, in seconds. */
    static constexpr double longestSeconds = 30.0;

    /** Renders a range of the track with both settings and measures their loudness (ITU-R BS.1770-4 with its
        gates, so that a drum's hits count and the pauses in between don't). The louder one is turned down to
        the other; neither is ever turned up. Both gains are 1 when either is silent or the range is shorter
        than 0.4 s.

        Reads from disk: not for the message thread. Asks shouldStop after every block. Nothing when stopped
        or when the samples can't be read.
    */
    [[nodiscard]] static std::optional<LoudnessMatch> measure (TrackSamples& samples,
                                                               double sampleRate,
                                                               const KnobValues& settingA,
                                                               const KnobValues& settingB,
                                                               LoopRange range,
                                                               const WorkControl& control = {});

    /** The range to measure around a position: as long as measuring allows, moved to lie inside the track. */
    [[nodiscard]] static LoopRange
    rangeAround (std::int64_t position, std::int64_t lengthInSamples, double sampleRate);
};

} // namespace tessivar
