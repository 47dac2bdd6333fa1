#pragma once

#include <cstddef>

namespace tessivar::kernels
{

/** Passes that turn evidence into gains. 64-byte aligned where a row starts, n a multiple of 16; no operation is fused and the
    logarithm and exponential are polynomials of our own (after Moshier's Cephes, 2e-7 relative), so results are the same on
    every instruction set.
*/

/** power = re^2 + im^2 for numBins bins; any alignment. */
void powers (float* power, const float* spectrum, std::size_t numBins);

/** dest = (a + b + c) / 3. */
void meanOfThree (float* dest, const float* a, const float* b, const float* c, std::size_t n);

/** dest += a. */
void accumulate (float* dest, const float* a, std::size_t n);

/** logits = common + weight * clip (ln (own / leakage), +-12). */
void separationLogits (
    float* logits, const float* own, const float* leakage, const float* common, float weight, std::size_t n);

/** values = m = 1 / (1 + exp (-logit)). */
void maskValues (float* values, const float* logits, std::size_t n);

/** gains = m^exponent, m = 1 / (1 + exp (-logit)). */
void maskGains (float* gains, const float* logits, float exponent, std::size_t n);

/** gains *= min (1, sqrt (layer / (total + 1e-20)))^0.5. */
void applyLayer (float* gains, const float* layer, const float* total, std::size_t n);

/** dest = spectrum * gains, one real gain a bin. */
void multiplySpectrum (float* dest, const float* spectrum, const float* gains, std::size_t numBins);

} // namespace tessivar::kernels
