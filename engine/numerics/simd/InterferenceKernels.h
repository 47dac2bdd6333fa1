#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Frames of one bin and the interference model's scratch for them. Power, sources and scratch are M rows of
    frames for M tracks, on 64-byte boundaries. Sums run over 16 logical lanes and one fixed tree, so results
    are the same on every instruction set. */
struct InterferenceBlock
{
    std::size_t numTracks = 0; // M
    std::size_t numFrames = 0; // a multiple of 16
    std::size_t rowStride = 0; // floats from row to row of power and sources
    const float* power = nullptr;
    float* sources = nullptr;
    std::size_t scratchStride = 0; // the same of reciprocals and quotients
    float* reciprocals = nullptr;
    float* quotients = nullptr;
    const float* gains = nullptr; // M x M, row-major: gains[i * M + j] is the gain of source j into track i
};

/** Sum of a row of any length n: blocks of 1024 in single precision, their sums in double. */
extern const Kernel<double (const float* row, std::size_t n)> rowSum;

/** peaks[g] = the largest of row[g], row[g + numGroups], row[g + 2 numGroups], ...; the last n % 16 values
    may be left out. numGroups is a multiple of 16 and at most n. */
extern const Kernel<void (float* peaks, std::size_t numGroups, const float* row, std::size_t n)> groupPeaks;

/** Writes the indices of the values that are at least this large, in ascending order, and returns how many
    there are. indices has room for n.
*/
extern const Kernel<std::size_t (std::uint32_t* indices, const float* row, std::size_t n, float least)>
    findAtLeast;

/** model_i = sum over j of gains[i, j] sources_j; reciprocals_i = 1 / model_i; quotients_i = power_i /
    model_i^2. */
extern const Kernel<void (const InterferenceBlock& block)> interferenceModel;

/** Adds to M x M sums: numerators[i, j] += sum over t of quotients_i sources_j, denominators[i, j] += sum
    of reciprocals_i sources_j. */
extern const Kernel<void (double* numerators, double* denominators, const InterferenceBlock& block)>
    interferenceSums;

/** sources_j *= sqrt (sum over i of gains[i, j] quotients_i / sum over i of gains[i, j] reciprocals_i), at
    least floors[j]. */
extern const Kernel<void (const InterferenceBlock& block, const float* floors)> interferenceUpdate;

/** leakage = max (sum over j other than track of gains[track, j] sources_j, 1e-30), a row of frames. */
extern const Kernel<void (float* leakage, const InterferenceBlock& block, std::size_t track)> leakageOf;

} // namespace tessivar::kernels
