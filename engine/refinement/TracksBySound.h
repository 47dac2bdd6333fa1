#pragma once

#include "engine/SampleStorage.h"
#include "engine/numerics/WorkerPool.h"
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

/** What a track is by its sound. */
struct TrackBySound
{
    DrumType type = DrumType::other;

    /** A low drum that goes on: a fifth of its resonance's power is left after 0.12 s. */
    bool rings = false;
};

/** The types by sound where that tells a drum, else as typed; overheads, rooms and others keep theirs. Where
    no kick or no snare would be left, what was typed so and sounds like a tom is one; where there is still no
    kick or no hi-hat, what sounds most like one, if anything does. A hi-hat is told from kick and snare by
    these types, so that a wrong one costs no other track anything.

    Nothing when told to stop, or when a source can't be read.
*/
[[nodiscard]] std::optional<std::vector<TrackBySound>> hearTracks (std::span<const TypedTrack> tracks,
                                                                   double sampleRate,
                                                                   WorkerPool& pool,
                                                                   const WorkControl& control);

} // namespace tessivar
