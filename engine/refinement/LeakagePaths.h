#pragma once

#include "engine/refinement/RefinementPasses.h"

#include <cstddef>

namespace tessivar::refinement
{

/** The paths from every drum to the other microphones, as filters of two taps a bin on the spectra of its own
    microphone (a convolutive transfer function: Avargel, Cohen 2007):

        X_i (f, t) ~ own drum + sum over j other than i, and over k = 0, 1, of H_ijk (f) Z_j (f, t - k)

    where Z_j is track j under the cube of its mask: a bin that holds drum j doubtfully also holds other
    drums, among them the microphone's own, which must not be subtracted from itself.
*/
class LeakagePaths
{
public:
    static constexpr std::size_t numTaps = 2;
    static constexpr float maskExponent = 3.0f;

    LeakagePaths (std::size_t tracks, std::size_t stride)
        : binStride (stride), numTracks (tracks), values (tracks * tracks * numTaps * 2 * stride)
    {
    }

    /** binStride real parts, then as many imaginary ones. */
    [[nodiscard]] float* row (std::size_t to, std::size_t from, std::size_t tap)
    {
        return values.data() + ((to * numTracks + from) * numTaps + tap) * 2 * binStride;
    }

    [[nodiscard]] const float* row (std::size_t to, std::size_t from, std::size_t tap) const
    {
        return values.data() + ((to * numTracks + from) * numTaps + tap) * 2 * binStride;
    }

    const std::size_t binStride;

private:
    const std::size_t numTracks;
    AlignedBuffer values;
};

/** Which tracks the paths lead from and to. */
struct PathEnds
{
    std::vector<std::size_t> drums;       // tracks whose masks kept a drum
    std::vector<std::size_t> microphones; // tracks whose layers take something away
};

/** Fits the paths, bin by bin, to the frames in which the drums sound loudest, as many as a fixed room takes.

    Least squares. Every frame's error is weighted by the reciprocal power of what the microphone's own drum
    has there, so that its hits don't bend the paths, and every tap has a zero-mean Gaussian prior whose
    variance is the power gain that the interference model found for the pair: where little leaks, little can
    be subtracted. A pair that the model calls 50 dB down, or that is not among the six loudest in a
    microphone, gets no path.
*/
[[nodiscard]] bool fitPaths (RefinementRun& run,
                             const FittedModel& model,
                             const Masks& masks,
                             const PathEnds& ends,
                             LeakagePaths& paths,
                             ProgressRange progress);

/** Bytes that the frames take while paths are fitted. */
[[nodiscard]] std::uint64_t pathBytes (const SpectrumShape& shape, std::size_t numTracks);

} // namespace tessivar::refinement
