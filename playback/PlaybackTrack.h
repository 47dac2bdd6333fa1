#pragma once

#include "engine/SuppressionRendering.h"
#include "model/TrackSamples.h"
#include "terms/KnobValues.h"

#include <cstdint>
#include <memory>
#include <span>

namespace tessivar
{

struct TrackState;

/** The user's settings for one track. */
struct PlaybackMix
{
    KnobValues settingA, settingB;
    bool usesSettingB = false;

    /** Linear gains that make both settings equally loud; 1 without matching. See LoudnessMatch. */
    float matchingGainA = 1.0f, matchingGainB = 1.0f;

    float gain = 1.0f; // linear, 0..16
    bool solo = false;
    bool mute = false;

    [[nodiscard]] const KnobValues& setting() const { return usesSettingB ? settingB : settingA; }
    [[nodiscard]] float matchingGain() const { return usesSettingB ? matchingGainB : matchingGainA; }
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

    /** A track of a Group with its knobs; neither solo nor muted. */
    [[nodiscard]] static PlaybackTrack of (const TrackState& track);
};

/** Which of a track's three signals is heard; removed is source minus processed. */
enum class Listening
{
    processed,
    bypassed,
    removed
};

/** What is heard of a Group: all tracks, subject to solo and mute, or the selected one alone, regardless of
    both.
*/
struct PlaybackChoice
{
    Listening listening = Listening::processed;
    bool playsWholeGroup = false;
    std::uint32_t selectedTrack = 0;

    /** Whether this one of the tracks is heard. */
    [[nodiscard]] bool isHeard (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const;
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
