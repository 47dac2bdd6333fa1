#pragma once

#include "engine/SuppressionRendering.h"
#include "model/TrackSamples.h"
#include "terms/KnobValues.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace tessivar
{

struct TrackState;

/** Which of a track's three signals is heard; removed is source minus processed. */
enum class Listening
{
    processed,
    bypassed,
    removed
};

/** Linear gains that make all that can be heard equally loud; 1 without matching. See LoudnessMatch. */
struct MatchingGains
{
    float source = 1.0f;
    std::array<float, 2> processed{ 1.0f, 1.0f }, removed{ 1.0f, 1.0f }; // of A and of B

    bool operator== (const MatchingGains&) const = default;
    [[nodiscard]] float of (Listening listening, bool usesSettingB) const;

    /** With no gain above the largest, except the source's. */
    [[nodiscard]] MatchingGains within (float largest) const;
};

/** The user's settings for one track. */
struct PlaybackMix
{
    KnobValues settingA, settingB;
    bool usesSettingB = false;
    MatchingGains matching;

    // While the whole Group plays.
    float gain = 1.0f; // linear, 0..16
    bool solo = false;
    bool mute = false;

    bool operator== (const PlaybackMix&) const = default;
    [[nodiscard]] const KnobValues& setting() const { return usesSettingB ? settingB : settingA; }
    [[nodiscard]] float matchingGain (Listening listening) const
    {
        return matching.of (listening, usesSettingB);
    }
};

/** A track as handed to playback.

    samples has seven channels (six rendered ones and the source) or one (the source alone, played as it is).
    Null stands for a track whose audio is lost: it is silent.
*/
struct PlaybackTrack
{
    std::uint32_t id = 0; // equal ids are the same track before and after a change
    std::shared_ptr<TrackSamples> samples;
    PlaybackMix mix;

    bool operator== (const PlaybackTrack&) const = default;

    /** A track of a Group with its knobs, as an export has it; neither solo nor muted. */
    [[nodiscard]] static PlaybackTrack of (const TrackState& track);
};

/** What is heard of a Group: all tracks, subject to solo, mute and gain, or the selected one alone,
    regardless of all three.
*/
struct PlaybackChoice
{
    Listening listening = Listening::processed;
    bool playsWholeGroup = false;
    std::uint32_t selectedTrack = 0;

    bool operator== (const PlaybackChoice&) const = default;

    /** Whether this one of the tracks is heard. */
    [[nodiscard]] bool isHeard (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const;

    /** With what linear gain; 0 when it isn't. */
    [[nodiscard]] float gainOf (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const;
};

/** The range that repeats: samples from start up to, not including, end. */
struct LoopRange
{
    std::int64_t start = 0;
    std::int64_t end = 0;

    [[nodiscard]] std::int64_t length() const { return end - start; }
    bool operator== (const LoopRange&) const = default;
};

} // namespace tessivar
