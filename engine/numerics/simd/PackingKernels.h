#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Powers in 16 bits: the upper bits of the float, seven of the exponent and nine of the mantissa, for 2^-74
    (5e-23) to 2^54 (2e16). Smaller powers become 0, larger ones the maximum. Rounded to nearest, within 0.1 %
    (0.004 dB). Results are the same on every instruction set. Rows may start anywhere; n is a multiple of 16.
*/

/** Codes of powers + share * others. Powers are >= 0; infinities and NaN become the maximum. */
extern const Kernel<void (
    std::uint16_t* codes, const float* powers, const float* others, float share, std::size_t n)>
    packPowers;

extern const Kernel<void (float* powers, const std::uint16_t* codes, std::size_t n)> unpackPowers;

/** Splits floats into their upper and lower 16 bits, and joins them again: exact. */
extern const Kernel<void (std::uint16_t* upper, std::uint16_t* lower, const float* values, std::size_t n)>
    splitFloats;
extern const Kernel<void (
    float* values, const std::uint16_t* upper, const std::uint16_t* lower, std::size_t n)>
    joinFloats;

} // namespace tessivar::kernels
