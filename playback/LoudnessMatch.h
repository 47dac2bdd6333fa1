#pragma once

#include "playback/PlaybackTrack.h"
#include "terms/WorkControl.h"

#include <array>
#include <limits>
#include <optional>
#include <span>

namespace tessivar
{

/** How loud a stretch of sound is. */
struct Loudness
{
    double lufs = -std::numeric_limits<double>::infinity(); // ITU-R BS.1770-4, gated; minus infinity: silence
    float peak = 0.0f;                                      // largest absolute sample
};

/** The loudness of all that can be heard of a choice of tracks: its source, the processed signal with the
    selected track at A and at B, and what is removed from the selected track by A and by B.
*/
struct LoudnessMatch
{
    Loudness source;
    std::array<Loudness, 2> processed, removed;
    bool isOfGroup = false;

    /** Larger differences are reduced by this much only: what is so soft isn't compared by ear. */
    static constexpr double largestDifferenceDb = 24.0;

    /** Longest stretches measured of one track and of a whole Group, in seconds. */
    static constexpr double longestSeconds = 30.0, longestSecondsOfGroup = 10.0;

    /** Gains that make all of it as loud as the source, or softer by as much as keeps every peak within full
        scale. What is removed from one track does not pull down a whole Group, and is softer then. Silence,
        and what is too short to measure, stays as it is.
    */
    [[nodiscard]] MatchingGains gains() const;

    /** Takes the higher peaks of another stretch of the same sound. */
    void addPeaks (const LoudnessMatch& other);

    /** Measures a range of the tracks; their own matching gains don't count. Hits of a drum count and the
        pauses in between don't. Removed is always the selected track alone.

        Reads from disk: not for the message thread. Asks shouldStop after every block. Nothing when stopped
        or when samples can't be read.
    */
    [[nodiscard]] static std::optional<LoudnessMatch> measure (std::span<const PlaybackTrack> tracks,
                                                               double sampleRate,
                                                               const PlaybackChoice& choice,
                                                               LoopRange range,
                                                               const WorkControl& control = {});

    /** The range to measure around a position: as long as asked for, moved to lie inside the track. */
    [[nodiscard]] static LoopRange
    rangeAround (std::int64_t position, std::int64_t lengthInSamples, double sampleRate, double seconds);
};

} // namespace tessivar
