#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/numerics/MatrixView.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Frames by track that say nothing: the whole Group is silent, or the track is muted.

    A track is silent where its power lies 120 dB or more below that of its loudest frame. A drum's own pause
    in a dry track is silent too, but tells that the microphone hears nothing of the others. So a track counts
    as muted only where it falls silent from less than 50 dB below its loudest frame at once, and for a second
    or more, and if all of that takes less than half of the Group's time: a track that is cut to its own hits
    misses none of them, and what else sounds then is no fair sample of what leaks into it.

    Frames that reach over the ends of the Group's signal never count, so recordings without such pauses have
    none. Takes two looks at every power, and a byte for every frame of a track that has silence.
*/
class SilentFrames
{
public:
    SilentFrames() = default;
    SilentFrames (std::int64_t signalLength, const RateParameters& rate);

    /** Takes the tracks one after the other: powers of frames, or their means of three. */
    void add (std::span<const float> powers);

    /** To be called once all tracks are there; nothing below holds before. */
    void settle();

    [[nodiscard]] bool isSilent (std::size_t track, std::size_t frame) const
    {
        return isEverSilent (track) && flags[track][frame] != 0;
    }

    /** Whether a frame is silent or lies so close to one that is that some of its samples may be. */
    [[nodiscard]] bool isNear (std::size_t track, std::size_t frame) const;

    /** Whether a track is silent in any frame. */
    [[nodiscard]] bool isEverSilent (std::size_t track) const
    {
        return track < flags.size() && ! flags[track].empty();
    }

    /** How many of a track's frames, numFrames in all, are not silent. */
    [[nodiscard]] std::size_t numSounding (std::size_t track, std::size_t numFrames) const;

    /** The frames in which any track holds something; empty when that's all of them. */
    [[nodiscard]] std::vector<std::uint32_t> soundingFrames() const;

private:
    [[nodiscard]] std::vector<std::uint8_t> find (std::span<const float> powers) const;

    std::size_t first = 0, end = 0;               // frames that lie in the signal
    std::size_t shortestMute = 1;                 // frames
    std::vector<std::vector<std::uint8_t>> flags; // empty for tracks that are never silent
    std::vector<std::uint8_t> common;             // the Group's; empty when there are none
};

/** Moves these columns, in ascending order, to the front. */
void moveToFront (MatrixView<float> matrix, std::span<const std::uint32_t> columns);

/** Moves them back, and fills the others with zeros. */
void moveBack (MatrixView<float> matrix, std::span<const std::uint32_t> columns);

} // namespace tessivar
