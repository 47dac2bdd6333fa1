#pragma once

#include <cstddef>

namespace tessivar::kernels
{

/** Passes of the interference model over frames of one bin. Power and sources are rows of frames, rowStride
    floats apart; reciprocals and quotients are rows scratchStride apart; all are 64-byte aligned. numFrames
    is a multiple of 16. For M tracks, gains is M x M, row-major: gains[i * M + j] is the gain of source j
    into track i. Sums run over 16 logical lanes and one fixed tree, so results are the same on every
    instruction set.
*/

/** Sum of a row of any length n: blocks of 1024 in single precision, their sums in double. */
[[nodiscard]] double rowSum (const float* row, std::size_t n);

/** peaks[g] = the largest of row[g], row[g + numGroups], row[g + 2 numGroups], ...; the last n % 16 values
    may be left out. numGroups is a multiple of 16 and at most n. */
void groupPeaks (float* peaks, std::size_t numGroups, const float* row, std::size_t n);

/** model_i = sum over j of gains[i, j] sources_j; reciprocals_i = 1 / model_i; quotients_i = power_i /
    model_i^2. */
void interferenceModel (float* reciprocals,
                        float* quotients,
                        std::size_t scratchStride,
                        const float* power,
                        const float* sources,
                        std::size_t rowStride,
                        const float* gains,
                        std::size_t numTracks,
                        std::size_t numFrames);

/** Adds to M x M sums: numerators[i, j] += sum over t of quotients_i sources_j, denominators[i, j] += sum
    of reciprocals_i sources_j. */
void interferenceSums (double* numerators,
                       double* denominators,
                       const float* reciprocals,
                       const float* quotients,
                       std::size_t scratchStride,
                       const float* sources,
                       std::size_t rowStride,
                       std::size_t numTracks,
                       std::size_t numFrames);

/** sources_j *= sqrt (sum over i of gains[i, j] quotients_i / sum over i of gains[i, j] reciprocals_i), at
    least floors[j]. */
void interferenceUpdate (float* sources,
                         std::size_t rowStride,
                         const float* reciprocals,
                         const float* quotients,
                         std::size_t scratchStride,
                         const float* gains,
                         const float* floors,
                         std::size_t numTracks,
                         std::size_t numFrames);

/** leakage = max (sum over j other than track of gains[track, j] sources_j, 1e-30). */
void leakageOf (float* leakage,
                const float* sources,
                std::size_t rowStride,
                const float* gains,
                std::size_t track,
                std::size_t numTracks,
                std::size_t numFrames);

} // namespace tessivar::kernels
