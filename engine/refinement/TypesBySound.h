#pragma once

#include "engine/SampleStorage.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** A track as its user typed it. */
struct TypedTrack
{
    SampleSource* source = nullptr;
    DrumType type = DrumType::other;
};

/** The types of the tracks by their sound where that tells a drum, else as they were typed; overheads, rooms
    and others keep theirs. Where no kick or no snare would be left, what was typed so and sounds like a tom
    is one; where there is still no kick or no hi-hat, what sounds most like one, if anything does. A hi-hat
    is told from kick and snare by these types, so that a wrong one costs no other track anything.

    Listens to two minutes at most, from the middle of the Group. Nothing when told to stop, or when a source
    can't be read.
*/
[[nodiscard]] std::optional<std::vector<DrumType>>
typesBySound (std::span<const TypedTrack> tracks, double sampleRate, const WorkControl& control);

} // namespace tessivar
