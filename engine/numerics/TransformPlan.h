#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** How the transforms of real signals of length n run, a power of two of at least 64: by inverse transforms
    of m = n/2 complex values, decimated in time. Passes of radix 8 join blocks of values, from single bins
    upwards; where 8 doesn't divide m evenly, some are of radix 4:

    - The first pass takes the bins k, k + m/r, k + 2m/r, ... wherever they stand, and leaves its r results
      side by side.
    - A middle pass joins r neighbouring blocks of span values into one.
    - The last pass joins eight blocks into the whole: value j of each gives values j, j + m/8, j + 2m/8, ...

    Blocks are joined as soon as they are complete, so that the caches hold them. Immutable.

    Sources: Cooley, Tukey 1965; Bergland 1968 (radix 8); Sorensen, Jones, Heideman, Burrus 1987 (real
    signals).
*/
class TransformPlan
{
public:
    explicit TransformPlan (std::size_t n);

    struct Pass
    {
        std::size_t radix, span;
        /** exp (2 pi i j q / (radix span)) as (re, im), for j < span and 1 <= q < radix. */
        std::vector<float> twiddles;
    };

    /** One butterfly of the first pass or two, whose bins mirror each other: k and m - k. */
    struct Step
    {
        std::size_t bin;                        // the lowest bin of the first butterfly
        std::size_t position, mirroredPosition; // of the results; the same for one that stands alone
        std::size_t numJoins;                   // blocks of the middle passes that can follow
    };

    struct Join
    {
        std::size_t pass, position;
    };

    struct Order
    {
        std::vector<Step> steps;
        std::vector<Join> joins; // of all steps, in turn
    };

    /** Positions, in complex values: the last pass joins eight blocks, and between two of them there is room
        for one value more, as the caches keep few lines at distances of a power of two. */
    [[nodiscard]] static constexpr std::size_t lastStride (std::size_t m) { return m / 8 + 1; }

    std::size_t length; // m
    std::size_t firstRadix;
    std::vector<Pass> middlePasses;
    std::vector<float> lastTwiddles, halvedLastTwiddles;
    Order oneByOne, inPairs;

    std::vector<float> splitTwiddles;     // cos, sin of 2 pi k / n for k <= m
    std::vector<float> differences, sums; // cos h - sin h and cos h + sin h with h = pi k / n, for k <= m
    std::vector<float> silence;           // n zeros

    /** Floats of the complex values that a kernel works with. */
    [[nodiscard]] std::size_t valueFloatsPerFrame() const { return 8 * lastStride (length) * 2; }

    /** Floats a kernel works in: these of all lanes, and two factors a bin. */
    [[nodiscard]] std::size_t workFloats() const
    {
        return kernels::lanes * valueFloatsPerFrame() + 2 * (length + kernels::lanes);
    }

    /** Floats of a prepared spectrum. */
    [[nodiscard]] std::size_t preparedFloatsPerFrame() const { return 4 * firstRadix * inPairs.steps.size(); }

private:
    [[nodiscard]] std::vector<std::size_t> firstBins() const;
    [[nodiscard]] Order makeOrder (bool paired) const;
};

/** A window in the order in which overlap-adding takes it: for pairs of samples of the hop's first half,
    these and those half a hop later, each in the four quarters of the frame. */
[[nodiscard]] std::vector<float> windowForOverlap (std::span<const float> window);

} // namespace tessivar
