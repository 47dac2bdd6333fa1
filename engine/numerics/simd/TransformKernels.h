#pragma once

#include "engine/numerics/TransformPlan.h"
#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Transforms of 16 real frames of length n in lane layout: value i of frame l stands at i * 16 + l. Spectra
    are n/2 + 1 bins of 16 real and then 16 imaginary parts. A frame's arithmetic is the same in every lane
    and on every instruction set, and no operation is fused. Arrays start on 64-byte boundaries and don't
    overlap, unless said otherwise; weights, windows and frame gains may start anywhere. work holds
    plan.workFloats(), prepared plan.preparedFloatsPerFrame() for each frame.
*/

/** dest[i * 16 + l] = frames[l][i] * window[i] for i < n. Returns a bit for each frame that isn't silent,
    lowest first. Frames may start anywhere; they and the window hold n values. */
extern const Kernel<std::uint32_t (
    float* dest, const float* const* frames, const float* window, std::size_t n)>
    windowFrames;

/** spectrum = DFT of n samples. */
extern const Kernel<void (float* spectrum, const float* samples, float* work, const TransformPlan& plan)>
    transformForward;

/** Copies a spectrum into the order in which inverse transforms take it, and turns it towards them. */
extern const Kernel<void (float* prepared, const float* spectrum, const TransformPlan& plan)> prepareSpectrum;

/** samples = inverse DFT of weights[bin] * spectrum, n times too large. */
extern const Kernel<void (
    float* samples, const float* prepared, const float* weights, float* work, const TransformPlan& plan)>
    transformInverse;

/** Where inverse transforms are overlap-added. */
struct OverlapTarget
{
    float* signal; // 16 * n/4 samples, starts anywhere
    /** 3n/4 sums of what the frames before leave, in an order of their own; zeros to begin with. The 16
        floats before may be read and written back. */
    float* carry;
    const float* window;     // from windowForOverlap
    const float* frameGains; // 16
};

/** The same transforms, windowed, multiplied with the frames' gains and overlap-added. A frame of n = 1024
    takes 21,700 operations; a block of 16 reads 67 KB of prepared bins, writes and reads 64 KB of work and
    writes 16 KB of samples, so that only vectors of fewer than 16 lanes find all of work in a first-level
    cache. */
extern const Kernel<void (const OverlapTarget& target,
                          const float* prepared,
                          const float* weights,
                          float* work,
                          const TransformPlan& plan)>
    overlapWeighted;

/** The same under a gain for each bin and frame, gains[bin * 16 + l]. */
extern const Kernel<void (const OverlapTarget& target,
                          const float* prepared,
                          const float* gains,
                          float* work,
                          const TransformPlan& plan)>
    overlapGained;

} // namespace tessivar::kernels
