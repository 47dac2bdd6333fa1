#pragma once

#include <cstddef>

namespace tessivar::kernels
{

/** Memory layout that all decomposition kernels share.

    Rows come in panels of 16, the number of logical lanes at every vector width. Bases and the sums for them are packed
    by panel: element (row, component) at (panel * 10 + component) * 16 + row % 16. Activations and the sums for them
    take 16 floats a column, of which the first ten are used. All of these start on 64-byte boundaries. The power
    spectrogram is column-major with a stride of 16 * numPanels floats.
*/
inline constexpr std::size_t lanes = 16;
inline constexpr std::size_t numComponents = 10;
inline constexpr std::size_t activationStride = 16;

/** Some consecutive columns of a decomposition, and one worker's scratch. */
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

/** For every column of the tile numerators = W^T (V / max (model^2, floor)) and denominators = W^T (1 / max (model, floor)),
    model = W h. 120 flops an element of V are needed by this and sumsForBases together. */
void sumsForActivations (const DecompositionTile& tile, float* numerators, float* denominators);

/** Packed sums over the tile's columns, in ascending order: numerators = (V / max (model^2, floor)) h^T and
    denominators = (1 / max (model, floor)) h^T. */
void sumsForBases (const DecompositionTile& tile, float* numerators, float* denominators);

/** The in-order update of columns first .. end - 1 of activations that has numColumns columns in all (at least 2).
    numerators and denominators belong to column first on. Column end must still hold its old value. */
void updateActivations (float* activations,
                        const float* numerators,
                        const float* denominators,
                        std::size_t first,
                        std::size_t end,
                        std::size_t numColumns,
                        float continuityWeight);

/** dest[i] += a[i]; both on 64-byte boundaries, n a multiple of 16. */
void add (float* dest, const float* a, std::size_t n);

/** activations = max (activations * scale, floor); scale holds 16 floats. */
void scaleActivations (float* activations, std::size_t numColumns, const float* scale);

} // namespace tessivar::kernels
