#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar::kernels
{

/** How a complex inverse transform of m = n/2 values is made of passes, for the real transforms of length n
    below. The first pass takes the bins b, b + m/r, b + 2m/r, ..., so that its results stand side by side;
    each later one joins neighbouring blocks into one of twice, four or eight times the size; the last one
    joins eight. Its first half of results is z[j], z[j + m/8], ...

    Twiddles of a pass that joins r blocks of span values are exp (2 pi i j q / (r span)) for j < span,
    1 <= q < r, as (re, im).
*/
struct TransformPlan
{
    explicit TransformPlan (std::size_t n);

    struct Pass
    {
        std::size_t radix, span;
        std::vector<float> twiddles;
    };

    /** Two butterflies of the first pass, whose bins mirror each other. Both positions are the same for those
        that stand alone. */
    struct Step
    {
        std::size_t bin, position, mirroredPosition;
        std::size_t numJoins; // blocks that are then complete
    };

    struct Join
    {
        std::size_t pass, position;
    };

    struct Order
    {
        std::vector<Step> steps;
        std::vector<Join> joins;
    };

    std::size_t length; // m
    std::size_t firstRadix;
    std::vector<Pass> middlePasses;
    Order inTurn, inPairs; // one butterfly after the other, and those together that mirror each other
    std::vector<float> lastTwiddles, halvedLastTwiddles;
    std::vector<float> silence;           // n zeros
    std::vector<float> splitTwiddles;     // cos, sin of 2 pi k / n for k <= m
    std::vector<float> differences, sums; // cos h - sin h and cos h + sin h, h = pi k / n, for k <= m

    [[nodiscard]] std::size_t workFloats() const { return 2 * length * lanes + 2 * (length + lanes); }
    [[nodiscard]] std::size_t preparedFloatsPerFrame() const { return 4 * firstRadix * inPairs.steps.size(); }

private:
    [[nodiscard]] Order makeOrder (bool paired) const;
};

/** Transforms of 16 frames in lane layout: value i of frame l stands at i * 16 + l. Spectra are n/2 + 1 bins
    of 16 real and then 16 imaginary parts. A frame's arithmetic is the same in every lane and on every
    instruction set, and no operation is fused. Arrays start on 64-byte boundaries and don't overlap, unless
    said otherwise; work holds plan.workFloats().

    Sources: Cooley, Tukey 1965 (decimation in time); Bergland 1968 (radix 8); Sorensen, Jones, Heideman,
    Burrus 1987 (a real transform by a complex one of half the length).
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

/** A window in the order in which the overlap-adding pass takes it. */
[[nodiscard]] std::vector<float> overlapWindow (std::span<const float> window);

/** Where inverse transforms are overlap-added. */
struct OverlapTarget
{
    float* signal; // 16 * n/4 samples, starts anywhere
    /** 3n/4 sums of what the frames before leave, in an order of their own; zeros to begin with. The 16 floats
        before may be read and written back. */
    float* carry;
    const float* window;     // from overlapWindow
    const float* frameGains; // 16
};

/** The same transforms, windowed, multiplied with the frames' gains and overlap-added. */
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
