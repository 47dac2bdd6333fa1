#include "engine/numerics/simd/InterferenceKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/InterferenceKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;

double RowSum (const float* row, std::size_t n)
{
    constexpr std::size_t block = 1024; // summed in single precision
    double total = 0.0;

    for (std::size_t start = 0; start < n; start += block)
    {
        const auto end = std::min (n, start + block);
        Floats sums[vectorsPerPanel];
        HWY_ALIGN float x[4 * 16] = {};
        HWY_ALIGN float reduced[4];
        auto t = start;

#pragma GCC unroll 4
        for (auto& s : sums)
            s = hn::Zero (tag);

        for (; t + 16 <= end; t += 16)
#pragma GCC unroll 4
            for (std::size_t s = 0; s < vectorsPerPanel; ++s)
                sums[s] = hn::Add (sums[s], hn::Load (tag, row + t + s * vectorLanes));

#pragma GCC unroll 4
        for (std::size_t s = 0; s < vectorsPerPanel; ++s)
            hn::Store (sums[s], tag, x + s * vectorLanes);

        for (std::size_t lane = 0; t < end; ++t, ++lane)
            x[lane] += row[t];

        sumFourPanels (x, reduced);
        total += static_cast<double> (reduced[0]);
    }

    return total;
}

void GroupPeaks (float* HWY_RESTRICT peaks,
                 std::size_t numGroups,
                 const float* HWY_RESTRICT row,
                 std::size_t n)
{
    for (std::size_t g = 0; g < numGroups; g += vectorLanes)
    {
        auto peak = hn::Load (tag, row + g);

        for (auto t = g + numGroups; t + vectorLanes <= n; t += numGroups)
            peak = hn::Max (peak, hn::Load (tag, row + t));

        hn::Store (peak, tag, peaks + g);
    }
}

std::size_t
FindAtLeast (std::uint32_t* HWY_RESTRICT indices, const float* HWY_RESTRICT row, std::size_t n, float least)
{
    const auto limit = broadcast (least);
    std::size_t count = 0, t = 0;

    const auto take = [&] (std::size_t end)
    {
        for (; t < end; ++t)
        {
            indices[count] = static_cast<std::uint32_t> (t);
            count += row[t] >= least ? 1 : 0;
        }
    };

    while (t + vectorLanes <= n)
        if (hn::AllFalse (tag, hn::Ge (hn::Load (tag, row + t), limit)))
            t += vectorLanes;
        else
            take (t + vectorLanes);

    take (n);
    return count;
}

void InterferenceModel (const InterferenceBlock& block)
{
    const float* HWY_RESTRICT power = block.power;
    const float* HWY_RESTRICT sources = block.sources;
    const float* HWY_RESTRICT gains = block.gains;
    float* HWY_RESTRICT reciprocals = block.reciprocals;
    float* HWY_RESTRICT quotients = block.quotients;
    const auto rowStride = block.rowStride, scratchStride = block.scratchStride;
    const auto numTracks = block.numTracks, numFrames = block.numFrames;
    constexpr std::size_t width = 4 * vectorLanes; // four independent sums hide the latency
    const auto one = broadcast (1.0f);

    const auto run = [&] (std::size_t t, auto count)
    {
        constexpr std::size_t numV = decltype (count)::value;

        for (std::size_t i = 0; i < numTracks; ++i)
        {
            Floats model[numV];

#pragma GCC unroll 4
            for (std::size_t v = 0; v < numV; ++v)
                model[v] = hn::Zero (tag);

            for (std::size_t j = 0; j < numTracks; ++j)
            {
                const auto gain = broadcast (gains[i * numTracks + j]);
#pragma GCC unroll 4
                for (std::size_t v = 0; v < numV; ++v)
                    model[v] = fusedMultiplyAdd (
                        gain, hn::Load (tag, sources + j * rowStride + t + v * vectorLanes), model[v]);
            }

#pragma GCC unroll 4
            for (std::size_t v = 0; v < numV; ++v)
            {
                const auto at = i * scratchStride + t + v * vectorLanes;
                const auto u = hn::Div (one, model[v]);
                const auto x = hn::Load (tag, power + i * rowStride + t + v * vectorLanes);
                hn::Store (u, tag, reciprocals + at);
                // In this order neither factor leaves a float's range, however faint the model is.
                hn::Store (hn::Mul (hn::Mul (x, u), u), tag, quotients + at);
            }
        }
    };

    std::size_t t = 0;

    for (; t + width <= numFrames; t += width)
        run (t, std::integral_constant<std::size_t, 4>());

    for (; t < numFrames; t += vectorLanes)
        run (t, std::integral_constant<std::size_t, 1>());
}

void InterferenceSums (double* HWY_RESTRICT numerators,
                       double* HWY_RESTRICT denominators,
                       const InterferenceBlock& block)
{
    const float* HWY_RESTRICT sources = block.sources;
    const float* HWY_RESTRICT reciprocals = block.reciprocals;
    const float* HWY_RESTRICT quotients = block.quotients;
    const auto rowStride = block.rowStride, scratchStride = block.scratchStride;
    const auto numTracks = block.numTracks, numFrames = block.numFrames;
    // Sources per pass, two sums each over 16 logical lanes: as many as the registers hold.
    constexpr std::size_t group = vectorsPerPanel == 1 ? 4 : 2;
    HWY_ALIGN float lanesOfSum[2 * group * 16];
    HWY_ALIGN float reduced[2 * group];

    for (std::size_t i = 0; i < numTracks; ++i)
        for (std::size_t j0 = 0; j0 < numTracks; j0 += group)
        {
            const auto numJ = std::min (group, numTracks - j0);
            Floats n[group][vectorsPerPanel], d[group][vectorsPerPanel];

#pragma GCC unroll 4
            for (std::size_t j = 0; j < group; ++j)
#pragma GCC unroll 4
                for (std::size_t s = 0; s < vectorsPerPanel; ++s)
                    n[j][s] = d[j][s] = hn::Zero (tag);

            for (std::size_t t = 0; t < numFrames; t += 16)
#pragma GCC unroll 4
                for (std::size_t s = 0; s < vectorsPerPanel; ++s)
                {
                    const auto at = t + s * vectorLanes;
                    const auto q = hn::Load (tag, quotients + i * scratchStride + at);
                    const auto u = hn::Load (tag, reciprocals + i * scratchStride + at);
#pragma GCC unroll 4
                    for (std::size_t j = 0; j < group; ++j)
                    {
                        // In a group that isn't full the last source is computed again and not used.
                        const auto p =
                            hn::Load (tag, sources + (j0 + std::min (j, numJ - 1)) * rowStride + at);
                        n[j][s] = fusedMultiplyAdd (q, p, n[j][s]);
                        d[j][s] = fusedMultiplyAdd (u, p, d[j][s]);
                    }
                }

#pragma GCC unroll 4
            for (std::size_t j = 0; j < group; ++j)
#pragma GCC unroll 4
                for (std::size_t s = 0; s < vectorsPerPanel; ++s)
                {
                    hn::Store (n[j][s], tag, lanesOfSum + 2 * j * 16 + s * vectorLanes);
                    hn::Store (d[j][s], tag, lanesOfSum + (2 * j + 1) * 16 + s * vectorLanes);
                }

            for (std::size_t first = 0; first < 2 * group; first += 4)
                sumFourPanels (lanesOfSum + first * 16, reduced + first);

            for (std::size_t j = 0; j < numJ; ++j)
            {
                numerators[i * numTracks + j0 + j] += static_cast<double> (reduced[2 * j]);
                denominators[i * numTracks + j0 + j] += static_cast<double> (reduced[2 * j + 1]);
            }
        }
}

void InterferenceUpdate (const InterferenceBlock& block, const float* HWY_RESTRICT floors)
{
    float* HWY_RESTRICT sources = block.sources;
    const float* HWY_RESTRICT gains = block.gains;
    const float* HWY_RESTRICT reciprocals = block.reciprocals;
    const float* HWY_RESTRICT quotients = block.quotients;
    const auto rowStride = block.rowStride, scratchStride = block.scratchStride;
    const auto numTracks = block.numTracks, numFrames = block.numFrames;
    for (std::size_t j = 0; j < numTracks; ++j)
    {
        const auto lowest = broadcast (floors[j]);

        for (std::size_t t = 0; t < numFrames; t += 2 * vectorLanes)
        {
            Floats n[2], d[2];
            n[0] = n[1] = d[0] = d[1] = hn::Zero (tag);
            // numFrames is a multiple of 16, so of one vector but not always of two.
            const auto second = t + vectorLanes < numFrames ? t + vectorLanes : t;
            const std::size_t at[2]{ t, second };

            for (std::size_t i = 0; i < numTracks; ++i)
            {
                const auto gain = broadcast (gains[i * numTracks + j]);
#pragma GCC unroll 2
                for (std::size_t v = 0; v < 2; ++v)
                {
                    n[v] =
                        fusedMultiplyAdd (gain, hn::Load (tag, quotients + i * scratchStride + at[v]), n[v]);
                    d[v] = fusedMultiplyAdd (
                        gain, hn::Load (tag, reciprocals + i * scratchStride + at[v]), d[v]);
                }
            }

            Floats updated[2];
#pragma GCC unroll 2
            for (std::size_t v = 0; v < 2; ++v)
                updated[v] = hn::Max (lowest,
                                      hn::Mul (hn::Load (tag, sources + j * rowStride + at[v]),
                                               hn::Sqrt (hn::Div (n[v], d[v]))));
#pragma GCC unroll 2
            for (std::size_t v = 0; v < 2; ++v)
                hn::Store (updated[v], tag, sources + j * rowStride + at[v]);
        }
    }
}

void LeakageOf (float* HWY_RESTRICT leakage, const InterferenceBlock& block, std::size_t track)
{
    const float* HWY_RESTRICT sources = block.sources;
    const float* HWY_RESTRICT gains = block.gains;
    const auto rowStride = block.rowStride, numTracks = block.numTracks;
    const auto lowest = broadcast (1.0e-30f);

    for (std::size_t t = 0; t < block.numFrames; t += vectorLanes)
    {
        auto sum = hn::Zero (tag);

        for (std::size_t j = 0; j < numTracks; ++j)
            if (j != track)
                sum = fusedMultiplyAdd (broadcast (gains[track * numTracks + j]),
                                        hn::Load (tag, sources + j * rowStride + t),
                                        sum);

        hn::Store (hn::Max (sum, lowest), tag, leakage + t);
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (rowSum, RowSum);
TESSIVAR_KERNEL (groupPeaks, GroupPeaks);
TESSIVAR_KERNEL (findAtLeast, FindAtLeast);
TESSIVAR_KERNEL (interferenceModel, InterferenceModel);
TESSIVAR_KERNEL (interferenceSums, InterferenceSums);
TESSIVAR_KERNEL (interferenceUpdate, InterferenceUpdate);
TESSIVAR_KERNEL (leakageOf, LeakageOf);
} // namespace tessivar::kernels
#endif
