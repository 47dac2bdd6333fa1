#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>

namespace tessivar::kernels
{

/** Products for the paths that lead from drums to microphones: filters of two taps a bin, on spectra of
    sixteen frames in lane layout (engine/numerics/BlockFft.h). Element by element, or over 16 logical lanes
    and one fixed tree: results are the same on every instruction set.
*/

/** Spectra under gains, each with that of the frame before: for every bin 16 real and 16 imaginary parts of
    spectrum * gains, and then the same of the frames before. last holds two floats a bin, the value of the
    frame before lane 0, and takes that of lane 15. masked is 64-byte aligned and has room for one float more.
*/
extern const Kernel<void (
    float* masked, float* last, const float* spectrum, const float* gains, std::size_t numBins)>
    maskWithDelay;

/** sums[i] = for microphone i the sum of paths times masked drums, numBins bins of a spectrum in lane layout.
    Drum j is what maskWithDelay() gave, at masked + j * drumStride; paths holds for each bin numMicrophones *
    numDrums * 2 taps, each a real and an imaginary part. All but paths 64-byte aligned. */
extern const Kernel<void (float* const* sums,
                          std::size_t numMicrophones,
                          const float* masked,
                          std::size_t drumStride,
                          std::size_t numDrums,
                          const float* paths,
                          std::size_t numBins)>
    addPaths;

/** Weighted products of every two of numRows complex rows of n values: products[2 * (a * numRows + b)] and
    the float behind it are the real and imaginary part of the sum of weights * conj (a) * b, for b <= a. Real
    and imaginary parts of a row stand apart and start anywhere. n is a multiple of 16.
*/
extern const Kernel<void (float* products,
                          const float* const* real,
                          const float* const* imaginary,
                          std::size_t numRows,
                          const float* weights,
                          std::size_t n)>
    weightedProducts;

} // namespace tessivar::kernels
