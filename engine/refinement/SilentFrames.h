#pragma once

#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/MatrixView.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Frames by track in which it holds nothing: its power lies 100 dB or more below that of its loudest frame,
    as in gaps, before it begins, and where it is muted or gated.

    Frames that reach over the ends of the Group's signal never count, so recordings without a pause of that
    kind have none. Takes a look at every power, and a byte a frame of a track that has silence.
*/
class SilentFrames
{
public:
    SilentFrames() = default;

    /** Takes the tracks one after the other; powers of frames, of which those in within lie in the signal. */
    void add (std::span<const double> powers, FrameRange within);
    void add (std::span<const float> powers, FrameRange within);

    [[nodiscard]] std::size_t numTracks() const { return flags.size(); }

    /** One flag a frame, not 0 where the track is silent; empty where it never is. */
    [[nodiscard]] std::span<const std::uint8_t> of (std::size_t track) const { return flags[track]; }

    /** The frames, of numFrames, in which any track holds something; empty when that's all of them. */
    [[nodiscard]] std::vector<std::uint32_t> soundingFrames (std::size_t numFrames) const;

private:
    std::vector<std::vector<std::uint8_t>> flags;
};

/** Moves these columns, in ascending order, to the front. */
void moveToFront (MatrixView<float> matrix, std::span<const std::uint32_t> columns);

/** Moves them back, and fills the others with zeros. */
void moveBack (MatrixView<float> matrix, std::span<const std::uint32_t> columns);

} // namespace tessivar
