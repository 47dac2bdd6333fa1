#pragma once

#include "engine/SampleStorage.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** A track of a Group, to which the recognition of drums listens. */
struct HeardTrack
{
    SampleSource* source = nullptr;
    DrumType type = DrumType::other;
    bool isAsked = false; // what it sounds like
};

/** What a track's own hits are like, in the middle of them: those in which it is loud against every other
    track, measured by how loud it is against that one elsewhere. So leakage is passed over, and overheads and
    rooms, in which other microphones' drums are the loudest, have few.
*/
struct DrumSound
{
    static constexpr std::size_t fewestHits = 4; // to tell a drum by

    std::size_t numHits = 0;          // that were listened to, at most 24; nothing below is known without any
    double ownShare = 0.0;            // own hits among all loud ones
    double resonance = 0.0;           // the lowest strong one below 500 Hz, in Hz
    double resonanceRatio = 0.0;      // of high ones to low ones among the hits
    double medianFrequency = 0.0;     // half of the power lies below, in Hz
    double medianRatio = 0.0;         // as resonanceRatio
    double lows = 0.0, mids = 0.0;    // shares of the power in 30, 110, 450 Hz,
    double uppers = 0.0, highs = 0.0; // 2 and 16 kHz, in the 0.1 s from a hit's beginning on
    double left = 0.0;                // of the resonance's power after 0.12 s
};

/** Of the tracks which are asked, in their order; nothing when told to stop, or when a source can't be read.

    Reads every source once, each on one thread.
*/
[[nodiscard]] std::optional<std::vector<DrumSound>> hearDrums (std::span<const HeardTrack> tracks,
                                                               double sampleRate,
                                                               WorkerPool& pool,
                                                               const WorkControl& control);

/** The drums that the tracks which are asked sound like, in their order; nothing for the others, where a
    track sounds like no drum, and where that is unsure.

    At least four hits must agree. Resonance, shares and what is left tell a kick from a snare, a tom (high
    from 110 Hz on, floor below 101 Hz) and a hi-hat, which is told only where the Group has no other.
*/
[[nodiscard]] std::vector<std::optional<DrumType>> recognizeDrums (std::span<const HeardTrack> tracks,
                                                                   std::span<const DrumSound> sounds);

} // namespace tessivar
