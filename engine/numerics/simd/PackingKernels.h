#pragma once

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Powers in 16 bits: the upper bits of the float, seven of the exponent and nine of the mantissa, for
    2^-74 (5e-23) up to 2^54 (2e16). Below that is 0, above it the largest. Rounded to the nearest, within
    0.1 % (0.004 dB). Integer operations only, so codes are the same on every instruction set. Rows may lie
    anywhere, n is a multiple of 16.
*/

/** Powers are not negative; infinities and NaN become the largest. */
void packPowers (std::uint16_t* codes, const float* powers, std::size_t n);

void unpackPowers (float* powers, const std::uint16_t* codes, std::size_t n);

/** A float's upper and lower 16 bits apart, and together again: exact. */
void splitFloats (std::uint16_t* upper, std::uint16_t* lower, const float* values, std::size_t n);
void joinFloats (float* values, const std::uint16_t* upper, const std::uint16_t* lower, std::size_t n);

/** dest (columns x rows) = transposed source (rows x columns), both row by row, strides in codes. Rows and
    columns are multiples of 8. */
void transposeCodes (std::uint16_t* dest,
                     std::size_t destStride,
                     const std::uint16_t* source,
                     std::size_t sourceStride,
                     std::size_t rows,
                     std::size_t columns);

} // namespace tessivar::kernels
