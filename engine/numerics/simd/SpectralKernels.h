#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>

namespace tessivar::kernels
{

/** Passes over spectra and signals. Complex arrays are interleaved (re, im). Pointers called aligned start on
    64-byte boundaries; the others may start anywhere. Element by element, or over 16 logical lanes and one
    fixed tree: results are the same on every instruction set. No operation is fused.
*/

/** dest[i] = a[i] * b[i]; n a multiple of 16. */
extern const Kernel<void (float* dest, const float* a, const float* b, std::size_t n)> multiply;

/** dest[i] += gain * (a[i] * window[i]); n a multiple of 16. */
extern const Kernel<void (float* dest, const float* a, const float* window, float gain, std::size_t n)>
    addWindowed;

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

/** Largest absolute value, 0 for n = 0. A NaN may count as any value. */
extern const Kernel<float (const float* a, std::size_t n)> peakLevel;

/** Bins 0 .. half of a real signal's spectrum, from the transform z of its even samples plus i times its odd
    ones. z has half values and room for one more. twiddles[k] = exp (-2 pi i k / (2 half)) / 2. All aligned.
*/
extern const Kernel<void (float* spectrum, float* z, const float* twiddles, std::size_t half)> splitSpectrum;

/** prepared[k] = spectrum[k] * plus[k] and mirrored[k] = conj (spectrum[half - k]) * minus[k] for k < half.
    All aligned.
*/
extern const Kernel<void (float* prepared,
                          float* mirrored,
                          const float* spectrum,
                          const float* plus,
                          const float* minus,
                          std::size_t half)>
    prepareInverse;

/** dest[i] = a[i] * wa[i] + b[i] * wb[i]; all aligned, n a multiple of 16. */
extern const Kernel<void (
    float* dest, const float* a, const float* wa, const float* b, const float* wb, std::size_t n)>
    weightedSum;

/** dest[k] = gains[k] * prepared[k] + gains[half - k] * mirrored[k] for complex k < half. All but gains
    aligned. */
extern const Kernel<void (
    float* dest, const float* prepared, const float* mirrored, const float* gains, std::size_t half)>
    gainedSum;

} // namespace tessivar::kernels
