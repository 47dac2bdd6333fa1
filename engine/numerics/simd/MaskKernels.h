#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Passes that turn evidence into gains. Rows may start anywhere; n is a multiple of 16. No operation is
    fused, and logarithm and exponential are our own polynomials (after Moshier's Cephes, 2e-7 relative), so
    results are the same on every instruction set.

    What is kept between two passes takes 16 bits per bin and frame: a log ratio in steps of 4e-4, a mask as
    its negative logarithm in steps of 6e-4. Half a step is less than 0.003 dB of gain.
*/

inline constexpr float logRatioLimit = 12.0f; // of a bin's own log ratio, in either direction
inline constexpr float logMaskLimit = 40.0f;  // masks are at least exp (-40)

/** power = re^2 + im^2 for numBins bins. */
extern const Kernel<void (float* power, const float* spectrum, std::size_t numBins)> powers;

/** dest = (a + b + c) / 3. */
extern const Kernel<void (float* dest, const float* a, const float* b, const float* c, std::size_t n)>
    meanOfThree;

/** dest += a. */
extern const Kernel<void (float* dest, const float* a, std::size_t n)> accumulate;

/** codes = clip (ln (own / leakage), +-logRatioLimit), full scale 32767. */
extern const Kernel<void (std::int16_t* codes, const float* own, const float* leakage, std::size_t n)>
    packLogRatios;

/** mask = -ln m, m = 1 / (1 + exp (-logit)), logit = common + weight * log ratio; 65535 stands for
    logMaskLimit. May work in place. */
extern const Kernel<void (
    std::uint16_t* mask, const std::int16_t* ratios, const float* common, float weight, std::size_t n)>
    packMask;

/** gains = m^exponent. */
extern const Kernel<void (float* gains, const std::uint16_t* mask, float exponent, std::size_t n)> maskGains;

/** gains = mask * min (1, sqrt (layer / (total + 1e-20)))^0.5. */
extern const Kernel<void (
    float* gains, const float* mask, const float* layer, const float* total, std::size_t n)>
    layerGains;

} // namespace tessivar::kernels
