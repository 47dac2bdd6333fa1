#pragma once

#include "model/JobControl.h"
#include "playback/PlaybackTrack.h"

#include <optional>

namespace tessivar
{

/** Linear gains for PlaybackMix under which both settings of a track are equally loud. */
struct LoudnessMatch
{
    float gainA = 1.0f;
    float gainB = 1.0f;

    /** More than this is not made up for: settings that differ more are not compared by ear. */
    static constexpr double largestDifferenceDb = 24.0;

    /** Longest stretch that is measured, seconds. */
    static constexpr double longestSeconds = 30.0;

    /** Renders a range of the track with both settings and measures their loudness (ITU-R BS.1770-4 with its
        gates, so that of a drum the hits count and not the pauses between). The louder one is turned down to
        the other; neither is ever turned up. Both gains are 1 when one of them is silent or the range is
        shorter than 0.4 s.

        Reads from disk: not for the message thread. Asks shouldStop block by block. Nothing when stopped or
        when the samples can't be read.
    */
    [[nodiscard]] static std::optional<LoudnessMatch> measure (TrackSamples& samples,
                                                               double sampleRate,
                                                               const SuppressionSetting& settingA,
                                                               const SuppressionSetting& settingB,
                                                               LoopRange range,
                                                               const JobControl& control = {});

    /** The range to measure around a position: as much as is measured, moved so that it lies inside the
        track.
    */
    [[nodiscard]] static LoopRange
    rangeAround (std::int64_t position, std::int64_t lengthInSamples, double sampleRate);
};

} // namespace tessivar
