#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>

namespace tessivar::kernels
{

/** Passes over sixteen frames at a time in lane layout: value i of frame l stands at i * 16 + l; bin f of a
    spectrum has its real parts at f * 32 and its imaginary ones at f * 32 + 16. All arrays start on 64-byte
    boundaries, but for those with one value a bin or band. Sums run in one fixed order for each frame:
    results are the same on every instruction set and whatever stands in the other lanes. No operation is
    fused.
*/

/** dest[l] = sum of squares of n values of frame l: 256 at a time in single precision, their sums in double.
    n is a multiple of 4. */
extern const Kernel<void (double* dest, const float* values, std::size_t n)> squaresOfFrames;

/** products[l] = sum of a[i] * (b[i] * scales[l]), squares[l] = sum of (b[i] * scales[l])^2, each product and
    square rounded to single precision; summed as above. */
extern const Kernel<void (
    double* products, double* squares, const float* a, const float* b, const float* scales, std::size_t n)>
    productsOfFrames;

/** dest[f] = sqrt (re^2 + im^2). */
extern const Kernel<void (float* dest, const float* spectrum, std::size_t numBins)> magnitudesOfFrames;

/** dest[b] = (sum over i of weights[i] * magnitudes[firstBin[b] + i])^2, over sizes[b] bins; the weights of
    the bands follow one another. */
extern const Kernel<void (float* dest,
                          const float* magnitudes,
                          const float* weights,
                          const std::size_t* firstBin,
                          const std::size_t* sizes,
                          std::size_t numBands)>
    bandPowersOfFrames;

/** Divides spectra, in place, by max (sum over k of activations[k] * bases[k][bin], 1e-24), the model of ten
    components. bases[k] holds numBins weights from basesStride * k on; activations is in lane layout. */
extern const Kernel<void (float* spectrum,
                          const float* bases,
                          std::size_t basesStride,
                          const float* activations,
                          std::size_t numBins)>
    divideFramesByModel;

/** dest[bin * 16 + l] = sum over c of activations[components[c] * 16 + l] * bases[components[c]][bin], in
    that order, of one to five components; 0 where that is below 1e-30, which no model of a sound is. */
extern const Kernel<void (float* dest,
                          const float* bases,
                          std::size_t basesStride,
                          const float* activations,
                          const int* components,
                          std::size_t numSummed,
                          std::size_t numBins)>
    sumOfBases;

} // namespace tessivar::kernels
