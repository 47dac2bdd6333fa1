#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/TransformPlan.h"
#include "engine/numerics/simd/Kernel.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** What sixteen frames leave to the sixteen that follow when they are overlap-added. One for each signal. */
class OverlapCarry
{
public:
    OverlapCarry() = default;
    explicit OverlapCarry (std::size_t hop) : sums (margin + 3 * hop) {}

    /** Begins with silence. */
    void clear() { sums.clear(); }

    /** For the kernels only. */
    [[nodiscard]] float* data() { return sums.data() + margin; }

private:
    static constexpr std::size_t margin = kernels::lanes; // kernels may store the end of a vector

    AlignedBuffer sums;
};

/** Real transforms of sixteen windowed frames at a time, which stand side by side in the vector lanes, so
    that a transform is arithmetic without shuffles and twiddles serve all sixteen.

    Lane layout: value i of frame l stands at i * 16 + l. Spectra are n/2 + 1 bins of 16 real parts and then
    16 imaginary ones, DC first, Nyquist last. Both directions are unscaled: inverse (forward (x)) = n * x.
    The hop is n / 4. Every frame's result is the same whatever stands in the other lanes, on every
    instruction set. Arrays start on 64-byte boundaries and don't overlap, unless said otherwise.

    One thread at a time may use an object; objects of equal length share their twiddles.
*/
class BlockFft
{
public:
    static constexpr std::size_t numFrames = kernels::lanes;

    /** window: a weight for each sample of a frame, a power of two of them, at least 64; must outlive this.
        It serves both analysis and synthesis. */
    explicit BlockFft (std::span<const float> window);

    BlockFft (const BlockFft&) = delete;
    BlockFft& operator= (const BlockFft&) = delete;

    [[nodiscard]] std::size_t length() const { return n; }
    [[nodiscard]] std::size_t hop() const { return n / 4; }
    [[nodiscard]] std::size_t numBins() const { return n / 2 + 1; }
    [[nodiscard]] std::size_t spectrumFloats() const { return numBins() * 2 * numFrames; }

    /** Windows frames that start a hop apart from samples on, anywhere. Only numGiven are read; the others
        are zeros. */
    void load (const float* samples, std::size_t numGiven = numFrames);

    /** Windows frames that start anywhere; a null pointer is a frame of zeros. */
    void load (const std::array<const float*, numFrames>& frames);

    /** The frames as they were loaded, in lane layout. */
    [[nodiscard]] const float* windowed() const { return samplesInLanes.data(); }

    /** Whether all samples of a loaded frame are zero. */
    [[nodiscard]] bool isSilent (std::size_t frame) const { return silence[frame]; }

    /** Spectra of the loaded frames. */
    void forward (float* spectrum);

    /** The spectra that the inverse transforms below start from, until the next call. They may be overwritten
        afterwards. */
    void prepare (const float* spectrum);

    /** samples = inverse transforms of weights[bin] * spectrum, n * 16 floats in lane layout, neither
        windowed nor scaled. */
    void inverseWeighted (float* samples, const float* weights);

    /** The same inverse transforms, each windowed, multiplied with its frameGains[l] and overlap-added:
        gives the 16 * hop samples from the first frame's start on, to which the frames before this block
        have added through the carry. They are complete; signal may start anywhere. Sums run from the
        earliest frame to the latest one, so they are the same however frames fall into blocks. */
    void overlapWeighted (float* signal, OverlapCarry& carry, const float* weights, const float* frameGains);

    /** The same with a gain for every bin and frame: gains[bin * 16 + l]. */
    void overlapGained (float* signal, OverlapCarry& carry, const float* gains, const float* frameGains);

private:
    const std::span<const float> window;
    const std::size_t n;
    const TransformPlan& plan;
    const std::vector<float> windowInOverlapOrder;
    AlignedBuffer samplesInLanes, prepared, work;
    std::array<bool, numFrames> silence{};
};

} // namespace tessivar
