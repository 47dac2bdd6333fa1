#include "engine/numerics/simd/DecompositionKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/DecompositionKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

// An iteration needs 120 flops per element of V and reads V twice; the model W h is never stored. The
// quotients and reciprocals of a few columns stay in the first-level cache between the model and the sums
// over them. With u = 1 / max (model, floor) the other divisor is exact too: V / max (model^2, floor) = V *
// min (u * u, 1 / floor), even where model^2 underflows. Every logical lane sees the same operations in the
// same order at every vector width, so all instruction sets give the same bits.

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr std::size_t panelFloats = numComponents * lanes;
constexpr float floorValue = 1.0e-24f;
constexpr float inverseFloor = 1.0f / floorValue;

// Register blocks. The model takes one panel by columnsAtOnce columns: the divisions that follow them bound
// it, and in small blocks the next one's multiply-adds begin beside them. Sums need as many side by side as
// the registers hold, to hide the latency of a multiply-add: over rows sumComponents components by sumColumns
// columns, over columns basesGroup components.
constexpr std::size_t columnsAtOnce = 4;
#if HWY_TARGET <= HWY_AVX3 && HWY_ARCH_X86
constexpr std::size_t sumColumns = 2, sumComponents = 5, basesGroup = 10;
#else
constexpr std::size_t sumColumns = 1, sumComponents = 5, basesGroup = 5;
#endif

/** Not to the first level, where bases and quotients would have to make room. */
HWY_INLINE void prefetchToSecondLevel (const float* address)
{
    __builtin_prefetch (address, 0, 2);
}

/** Quotients and reciprocals of a panel by numC columns. dest: 16 quotients and 16 reciprocals per column. */
template <std::size_t numC>
HWY_INLINE void quotientsOfPanel (const float* HWY_RESTRICT bases,
                                  const float* HWY_RESTRICT power,
                                  std::size_t powerStride,
                                  const float* HWY_RESTRICT activations,
                                  float* HWY_RESTRICT dest)
{
    const FloatTag d;
    Floats model[vectorsPerPanel][numC];

#pragma GCC unroll 16
    for (std::size_t k = 0; k < numComponents; ++k)
    {
        Floats w[vectorsPerPanel];
#pragma GCC unroll 8
        for (std::size_t i = 0; i < vectorsPerPanel; ++i)
            w[i] = hn::Load (d, bases + k * lanes + i * vectorLanes);
#pragma GCC unroll 8
        for (std::size_t c = 0; c < numC; ++c)
        {
            const auto h = broadcast (activations[c * activationStride + k]);
#pragma GCC unroll 8
            for (std::size_t i = 0; i < vectorsPerPanel; ++i)
                model[i][c] = k == 0 ? hn::Mul (w[i], h) : fusedMultiplyAdd (w[i], h, model[i][c]);
        }
    }

    const auto one = broadcast (1.0f), lowest = broadcast (floorValue), highest = broadcast (inverseFloor);

#pragma GCC unroll 8
    for (std::size_t c = 0; c < numC; ++c)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < vectorsPerPanel; ++i)
        {
            const auto u = hn::Div (one, hn::Max (model[i][c], lowest));
            const auto v = hn::LoadU (d, power + c * powerStride + i * vectorLanes);
            const auto q = hn::Mul (v, hn::Min (hn::Mul (u, u), highest));
            auto* out = dest + c * 2 * lanes + i * vectorLanes;
            hn::Store (q, d, out);
            hn::Store (u, d, out + lanes);
        }
    }
}

/** The same over any number of panels, whose columns stand destColumns apart; fetches the power of the
    columns that come next. */
template <std::size_t numC>
HWY_INLINE void quotients (const float* bases,
                           const float* power,
                           std::size_t powerStride,
                           const float* activations,
                           float* dest,
                           std::size_t destColumns,
                           std::size_t numPanels)
{
    for (std::size_t p = 0; p < numPanels; ++p)
    {
#pragma GCC unroll 8
        for (std::size_t c = 0; c < numC; ++c)
            prefetchToSecondLevel (power + (c + numC) * powerStride + p * lanes);

        quotientsOfPanel<numC> (bases + p * panelFloats,
                                power + p * lanes,
                                powerStride,
                                activations,
                                dest + p * destColumns * 2 * lanes);
    }
}

/** Adds the products of numC columns with numPanels panels to 20 logical vectors per column: ten numerators,
    ten denominators.
*/
template <std::size_t numC>
HWY_INLINE void accumulateColumns (const float* HWY_RESTRICT bases,
                                   const float* HWY_RESTRICT quotient,
                                   std::size_t quotientColumns,
                                   std::size_t numPanels,
                                   float* HWY_RESTRICT sums,
                                   bool first)
{
    const FloatTag d;
    constexpr auto columnStride = 2 * panelFloats;

    for (std::size_t s = 0; s < lanes; s += vectorLanes)
    {
        for (std::size_t k0 = 0; k0 < numComponents; k0 += sumComponents)
        {
            Floats n[sumComponents][numC], e[sumComponents][numC];
#pragma GCC unroll 16
            for (std::size_t k = 0; k < sumComponents; ++k)
            {
#pragma GCC unroll 16
                for (std::size_t c = 0; c < numC; ++c)
                {
                    const auto* sum = sums + c * columnStride + (k0 + k) * lanes + s;
                    n[k][c] = first ? hn::Zero (d) : hn::Load (d, sum);
                    e[k][c] = first ? hn::Zero (d) : hn::Load (d, sum + panelFloats);
                }
            }

            const auto* q = quotient + s;
            const auto* w = bases + k0 * lanes + s;

            for (std::size_t p = 0; p < numPanels; ++p)
            {
                Floats x[sumComponents];
#pragma GCC unroll 16
                for (std::size_t k = 0; k < sumComponents; ++k)
                    x[k] = hn::Load (d, w + k * lanes);
#pragma GCC unroll 16
                for (std::size_t c = 0; c < numC; ++c)
                {
                    const auto vq = hn::Load (d, q + c * 2 * lanes);
#pragma GCC unroll 16
                    for (std::size_t k = 0; k < sumComponents; ++k)
                        n[k][c] = fusedMultiplyAdd (x[k], vq, n[k][c]);

                    const auto vu = hn::Load (d, q + c * 2 * lanes + lanes);
#pragma GCC unroll 16
                    for (std::size_t k = 0; k < sumComponents; ++k)
                        e[k][c] = fusedMultiplyAdd (x[k], vu, e[k][c]);
                }

                q += quotientColumns * 2 * lanes;
                w += panelFloats;
            }

#pragma GCC unroll 16
            for (std::size_t k = 0; k < sumComponents; ++k)
            {
#pragma GCC unroll 16
                for (std::size_t c = 0; c < numC; ++c)
                {
                    auto* sum = sums + c * columnStride + (k0 + k) * lanes + s;
                    hn::Store (n[k][c], d, sum);
                    hn::Store (e[k][c], d, sum + panelFloats);
                }
            }
        }
    }
}

/** Sums the 16 lanes of each of the 20 vectors. */
HWY_INLINE void reduceColumn (const float* HWY_RESTRICT sums,
                              float* HWY_RESTRICT numerators,
                              float* HWY_RESTRICT denominators)
{
    HWY_ALIGN float reduced[2 * numComponents];

#pragma GCC unroll 5
    for (std::size_t k = 0; k < 2 * numComponents; k += 4)
        sumFourPanels (sums + k * lanes, reduced + k);

    for (std::size_t k = 0; k < numComponents; ++k)
    {
        numerators[k] = reduced[k];
        denominators[k] = reduced[numComponents + k];
    }
}

void SumsForActivations (const DecompositionTile& tile, float* numerators, float* denominators)
{
    // Twenty panels of bases (12.5 KB) and their quotients for four columns (10 KB) fit into the first-level
    // cache.
    constexpr std::size_t panelBlock = 20;
    const auto powerStride = tile.numPanels * lanes;
    HWY_ALIGN float sums[columnsAtOnce][2 * panelFloats];
    std::size_t column = 0;

    const auto run = [&] (auto count)
    {
        constexpr std::size_t numC = decltype (count)::value;

        for (; column + numC <= tile.numColumns; column += numC)
        {
            const auto* power = tile.power + column * powerStride;
            const auto* activations = tile.activations + column * activationStride;

            for (std::size_t p = 0; p < tile.numPanels; p += panelBlock)
            {
                const auto numPanels = std::min (panelBlock, tile.numPanels - p);
                const auto* bases = tile.bases + p * panelFloats;
                quotients<numC> (
                    bases, power + p * lanes, powerStride, activations, tile.scratch, numC, numPanels);

                constexpr auto group = numC % sumColumns == 0 ? sumColumns : 1;

                for (std::size_t c = 0; c < numC; c += group)
                    accumulateColumns<group> (
                        bases, tile.scratch + c * 2 * lanes, numC, numPanels, sums[c], p == 0);
            }

            for (std::size_t c = 0; c < numC; ++c)
                reduceColumn (sums[c],
                              numerators + (column + c) * activationStride,
                              denominators + (column + c) * activationStride);
        }
    };

    run (std::integral_constant<std::size_t, columnsAtOnce>());
    run (std::integral_constant<std::size_t, 1>());
}

void SumsForBases (const DecompositionTile& tile, float* numerators, float* denominators)
{
    // Bases and both sums of eight panels (15 KB) and their quotients for sixteen columns (16 KB) do too.
    constexpr std::size_t panelBlock = 8, columnBlock = 16;
    const FloatTag d;
    const auto powerStride = tile.numPanels * lanes;

    for (std::size_t p0 = 0; p0 < tile.numPanels; p0 += panelBlock)
    {
        const auto numPanels = std::min (panelBlock, tile.numPanels - p0);
        const auto* bases = tile.bases + p0 * panelFloats;

        for (std::size_t t0 = 0; t0 < tile.numColumns; t0 += columnBlock)
        {
            const auto numColumns = std::min (columnBlock, tile.numColumns - t0);
            const auto* power = tile.power + t0 * powerStride + p0 * lanes;
            const auto* activations = tile.activations + t0 * activationStride;
            std::size_t t = 0;

            for (; t + columnsAtOnce <= numColumns; t += columnsAtOnce)
                quotients<columnsAtOnce> (bases,
                                          power + t * powerStride,
                                          powerStride,
                                          activations + t * activationStride,
                                          tile.scratch + t * 2 * lanes,
                                          columnBlock,
                                          numPanels);

            for (; t < numColumns; ++t)
                quotients<1> (bases,
                              power + t * powerStride,
                              powerStride,
                              activations + t * activationStride,
                              tile.scratch + t * 2 * lanes,
                              columnBlock,
                              numPanels);

            for (std::size_t p = 0; p < numPanels; ++p)
                for (std::size_t s = 0; s < lanes; s += vectorLanes)
#pragma GCC unroll 2
                    for (std::size_t k0 = 0; k0 < numComponents; k0 += basesGroup)
                    {
                        auto* nw = numerators + (p0 + p) * panelFloats + k0 * lanes + s;
                        auto* dw = denominators + (p0 + p) * panelFloats + k0 * lanes + s;
                        Floats n[basesGroup], e[basesGroup];
#pragma GCC unroll 16
                        for (std::size_t k = 0; k < basesGroup; ++k)
                        {
                            n[k] = t0 == 0 ? hn::Zero (d) : hn::Load (d, nw + k * lanes);
                            e[k] = t0 == 0 ? hn::Zero (d) : hn::Load (d, dw + k * lanes);
                        }

                        const auto* q = tile.scratch + p * columnBlock * 2 * lanes + s;
                        const auto* h = activations + k0;

                        for (std::size_t c = 0; c < numColumns; ++c)
                        {
                            const auto vq = hn::Load (d, q), vu = hn::Load (d, q + lanes);
#pragma GCC unroll 16
                            for (std::size_t k = 0; k < basesGroup; ++k)
                            {
                                const auto hk = broadcast (h[k]);
                                n[k] = fusedMultiplyAdd (vq, hk, n[k]);
                                e[k] = fusedMultiplyAdd (vu, hk, e[k]);
                            }

                            q += 2 * lanes;
                            h += activationStride;
                        }

#pragma GCC unroll 16
                        for (std::size_t k = 0; k < basesGroup; ++k)
                        {
                            hn::Store (n[k], d, nw + k * lanes);
                            hn::Store (e[k], d, dw + k * lanes);
                        }
                    }
        }
    }
}

void UpdateActivations (float* activations,
                        const float* numerators,
                        const float* denominators,
                        std::size_t first,
                        std::size_t end,
                        std::size_t numColumns,
                        float continuityWeight)
{
    const FloatTag d;
    const auto lowest = broadcast (floorValue), weight = broadcast (continuityWeight);
    const auto weightSquared = broadcast (continuityWeight * continuityWeight);
    const auto two = broadcast (2.0f), four = broadcast (4.0f);

    for (std::size_t s = 0; s < activationStride; s += vectorLanes)
    {
        auto previous =
            first > 0 ? hn::Load (d, activations + (first - 1) * activationStride + s) : hn::Zero (d);

        for (std::size_t t = first; t < end; ++t)
        {
            auto* h = activations + t * activationStride + s;
            const auto old = hn::Load (d, h);
            const auto divisor = hn::Load (d, denominators + (t - first) * activationStride + s);
            const auto c =
                hn::Mul (hn::Load (d, numerators + (t - first) * activationStride + s), hn::Mul (old, old));

            if (t == 0)
            {
                // Deliberate: the floor limits 2 a here, but the undoubled divisor at the other end.
                const auto next = hn::Max (hn::Load (d, h + activationStride), lowest);
                const auto a = hn::Add (divisor, hn::Div (weight, next));
                const auto root = hn::Sqrt (hn::Add (weightSquared, hn::Mul (hn::Mul (four, a), c)));
                previous = hn::Div (hn::Add (weight, root), hn::Max (hn::Mul (two, a), lowest));
            }
            else if (t + 1 < numColumns)
            {
                const auto next = hn::Max (hn::Load (d, h + activationStride), lowest);
                const auto a = hn::Max (hn::Add (divisor, hn::Div (weight, next)), lowest);
                previous = hn::Sqrt (hn::Div (hn::Add (c, hn::Mul (weight, previous)), a));
            }
            else
            {
                const auto b = hn::Add (c, hn::Mul (weight, previous));
                const auto root = hn::Sqrt (hn::Add (weightSquared, hn::Mul (hn::Mul (four, divisor), b)));
                previous = hn::Div (hn::Sub (root, weight), hn::Mul (two, hn::Max (divisor, lowest)));
            }

            hn::Store (previous, d, h);
        }
    }
}

void Add (float* dest, const float* a, std::size_t n)
{
    const FloatTag d;

    for (std::size_t i = 0; i < n; i += vectorLanes)
        hn::Store (hn::Add (hn::Load (d, dest + i), hn::Load (d, a + i)), d, dest + i);
}

void ScaleActivations (float* activations, std::size_t numColumns, const float* scale)
{
    const FloatTag d;
    const auto lowest = broadcast (floorValue);

    for (std::size_t s = 0; s < activationStride; s += vectorLanes)
    {
        const auto factor = hn::Load (d, scale + s);

        for (std::size_t t = 0; t < numColumns; ++t)
        {
            auto* h = activations + t * activationStride + s;
            hn::Store (hn::Max (hn::Mul (hn::Load (d, h), factor), lowest), d, h);
        }
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (sumsForActivations, SumsForActivations);
TESSIVAR_KERNEL (sumsForBases, SumsForBases);
TESSIVAR_KERNEL (updateActivations, UpdateActivations);
TESSIVAR_KERNEL (add, Add);
TESSIVAR_KERNEL (scaleActivations, ScaleActivations);
} // namespace tessivar::kernels
#endif
