#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>

namespace tessivar::kernels
{

/** Memory layout shared by all decomposition kernels.

    Rows come in panels of 16 lanes. Bases and their sums are packed by panel: element (row, component) is at
    (panel * 10 + component) * 16 + row % 16. Activations and their sums take 16 floats per column, of which
    the first ten are used. All of these start on 64-byte boundaries. The power spectrogram is column-major
    with a stride of 16 * numPanels floats.
*/
inline constexpr std::size_t numComponents = 10;
inline constexpr std::size_t activationStride = 16;

/** Consecutive columns of a decomposition, and one worker's scratch. */
struct DecompositionTile
{
    const float* bases = nullptr; // packed
    std::size_t numPanels = 0;
    const float* power = nullptr;       // first column of the tile
    const float* activations = nullptr; // first column of the tile
    std::size_t numColumns = 0;
    float* scratch = nullptr; // tileScratchFloats, 64-byte aligned
};

inline constexpr std::size_t tileScratchFloats = 32 * 160;

/** For every column of the tile, with model = W h: numerators = W^T (V / max (model^2, floor)) and
    denominators = W^T (1 / max (model, floor)). Together with sumsForBases, 120 flops per element of V. */
extern const Kernel<void (const DecompositionTile& tile, float* numerators, float* denominators)>
    sumsForActivations;

/** Sums over the tile's columns in ascending order, packed: numerators = (V / max (model^2, floor)) h^T and
    denominators = (1 / max (model, floor)) h^T. */
extern const Kernel<void (const DecompositionTile& tile, float* numerators, float* denominators)>
    sumsForBases;

/** Updates columns first .. end - 1 of activations in order, of numColumns (at least 2) in all. numerators
    and denominators start at column first. Column end must still hold its old value. */
extern const Kernel<void (float* activations,
                          const float* numerators,
                          const float* denominators,
                          std::size_t first,
                          std::size_t end,
                          std::size_t numColumns,
                          float continuityWeight)>
    updateActivations;

/** dest[i] += a[i]; both on 64-byte boundaries, n a multiple of 16. */
extern const Kernel<void (float* dest, const float* a, std::size_t n)> add;

/** activations = max (activations * scale, floor); scale holds 16 floats. */
extern const Kernel<void (float* activations, std::size_t numColumns, const float* scale)> scaleActivations;

} // namespace tessivar::kernels
