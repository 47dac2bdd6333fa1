#pragma once

#include "engine/SampleStorage.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

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

/** The drums that the tracks which are asked sound like, in their order; nothing for the others, where a
    track sounds like no drum, and where that is unsure.

    Only hits of a track's own count: those in which it is loud against every other track, measured by how
    loud it is against that one elsewhere. So leakage is passed over, and overheads and rooms, in which other
    microphones' drums are the loudest, have too few hits of their own. At least four of them must agree. Of
    the 0.1 s from their beginnings on, the lowest strong resonance, the shares of four frequency ranges, and
    what is left of the resonance 0.12 s later tell a kick from a snare, a tom (high from 110 Hz on, floor
    below 101 Hz) and a hi-hat, which is told only where the Group has no other.

    Reads every source once, and works on one thread. No list when told to stop, or when a source can't be
    read.
*/
[[nodiscard]] std::optional<std::vector<std::optional<DrumType>>>
recognizeDrums (std::span<const HeardTrack> tracks, double sampleRate, const WorkControl& control);

} // namespace tessivar
