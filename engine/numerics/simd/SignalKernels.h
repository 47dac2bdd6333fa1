#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Sums of and over signals, which may start anywhere. Those over signals run over 16 logical lanes and one
    fixed tree: results are the same on every instruction set. No operation is fused.
*/

/** Replaces infinities and NaNs by 0, and returns how many there were. */
extern const Kernel<std::size_t (float* a, std::size_t n)> replaceNonFinite;

/** Two neighbouring values in ascending order, the upper one the lower again at the end. */
struct RankedValues
{
    float lower, upper;
};

/** Those at index and index + 1 of n > index values, none of them NaN. Uses the values up. Bits of the lower
    one are found one after the other, each by counting: exact, n / 16 comparisons of vectors a bit. */
extern const Kernel<RankedValues (float* values, std::size_t n, std::size_t index)> rankedValues;

/** Sum of products, each rounded to single precision: blocks of 1024 in single precision, their sums in
    double. */
extern const Kernel<double (const float* a, const float* b, std::size_t n)> dotProduct;

/** Sum of squares, rounded as in dotProduct. */
[[nodiscard]] inline double sumOfSquares (const float* a, std::size_t n)
{
    return dotProduct (a, a, n);
}

/** Sum of squares and largest absolute value of a signal. */
struct SignalLevel
{
    double squares = 0.0;
    float peak = 0.0f; // NaNs don't count
};

/** Both in one go; squares rounded to single precision, blocks of 1024 summed in single precision, their sums
    in double. */
extern const Kernel<SignalLevel (const float* a, std::size_t n)> signalLevel;

/** dest[i] = 2^(bits - 1) a[i], rounded to the nearest integer, ties to even, no further than
    -2^(bits - 1) .. 2^(bits - 1) - 1, in the upper of 32 bits; NaNs become 0. Returns how many lay beyond
    full scale by more than a step. bits: 8..24. */
extern const Kernel<std::size_t (std::int32_t* dest, const float* a, int bits, std::size_t n)> quantised;

} // namespace tessivar::kernels
