#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/refinement/RefinementPasses.h"

#include <cstddef>
#include <vector>

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

    LeakagePaths (std::size_t microphones, std::size_t drums, std::size_t numBins)
        : numMicrophones (microphones), numDrums (drums), values (numBins * microphones * drums * numTaps * 2)
    {
    }

    /** The taps of a bin from this one of the drums to that one of the microphones, each a real and an
        imaginary part. Drums follow one another, then microphones, then bins. */
    [[nodiscard]] float* taps (std::size_t bin, std::size_t microphone, std::size_t drum)
    {
        return values.data() + ((bin * numMicrophones + microphone) * numDrums + drum) * numTaps * 2;
    }

    [[nodiscard]] const float* ofBin (std::size_t bin) const
    {
        return values.data() + bin * numMicrophones * numDrums * numTaps * 2;
    }

private:
    const std::size_t numMicrophones, numDrums;
    AlignedBuffer values;
};

/** Which tracks the paths lead from and to, in ascending order. */
struct PathEnds
{
    std::vector<std::size_t> drums;       // tracks whose masks kept a drum
    std::vector<std::size_t> microphones; // tracks whose layers take something away
    std::vector<std::size_t> tracks;      // both
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
