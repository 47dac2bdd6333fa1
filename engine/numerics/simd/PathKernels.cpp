#include "engine/numerics/simd/PathKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/PathKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;

void MaskWithDelay (float* HWY_RESTRICT masked,
                    float* HWY_RESTRICT last,
                    const float* HWY_RESTRICT spectrum,
                    const float* HWY_RESTRICT gains,
                    std::size_t numBins)
{
    for (std::size_t bin = 0; bin < numBins; ++bin)
    {
        const auto* const gain = gains + bin * lanes;

        // Real parts, then imaginary ones. The delayed row reaches one lane too far, where the next one
        // begins.
        for (std::size_t part = 0; part < 2; ++part)
        {
            const auto* const x = spectrum + (2 * bin + part) * lanes;
            auto* const now = masked + (4 * bin + part) * lanes;
            auto* const before = now + 2 * lanes;
            before[0] = last[2 * bin + part];

            for (std::size_t l = 0; l < lanes; l += vectorLanes)
            {
                const auto z = hn::Mul (hn::LoadU (tag, gain + l), hn::LoadU (tag, x + l));
                hn::Store (z, tag, now + l);
                hn::StoreU (z, tag, before + l + 1);
            }

            last[2 * bin + part] = gain[lanes - 1] * x[lanes - 1];
        }
    }
}

void AddPaths (float* const* sums,
               std::size_t numMicrophones,
               const float* HWY_RESTRICT masked,
               std::size_t drumStride,
               std::size_t numDrums,
               const float* HWY_RESTRICT paths,
               std::size_t numBins)
{
    constexpr std::size_t group = 4; // microphones at a time, whose sums the registers hold
    const auto numPaths = 4 * numDrums;

    for (std::size_t bin = 0; bin < numBins; ++bin)
        for (std::size_t i0 = 0; i0 < numMicrophones; i0 += group)
        {
            const auto numI = std::min (group, numMicrophones - i0);
            const float* path[group];

            // In a group that isn't full the last microphone is computed again and not used.
            for (std::size_t i = 0; i < group; ++i)
                path[i] = paths + (bin * numMicrophones + i0 + std::min (i, numI - 1)) * numPaths;

            for (std::size_t l = 0; l < lanes; l += vectorLanes)
            {
                Floats re[group], im[group];

#pragma GCC unroll 4
                for (std::size_t i = 0; i < group; ++i)
                    re[i] = im[i] = hn::Zero (tag);

                for (std::size_t tap = 0; tap < 2 * numDrums; ++tap)
                {
                    const auto* const z =
                        masked + tap / 2 * drumStride + (4 * bin + 2 * (tap % 2)) * lanes + l;
                    const auto x = hn::Load (tag, z), y = hn::Load (tag, z + lanes);
#pragma GCC unroll 4
                    for (std::size_t i = 0; i < group; ++i)
                    {
                        const auto a = broadcast (path[i][2 * tap]), b = broadcast (path[i][2 * tap + 1]);
                        re[i] = fusedMultiplyAdd (a, x, re[i]);
                        im[i] = fusedMultiplyAdd (a, y, im[i]);
                        re[i] = fusedMultiplyAdd (hn::Neg (b), y, re[i]);
                        im[i] = fusedMultiplyAdd (b, x, im[i]);
                    }
                }

#pragma GCC unroll 4
                for (std::size_t i = 0; i < group; ++i)
                    if (i < numI)
                    {
                        auto* const dest = sums[i0 + i] + 2 * bin * lanes + l;
                        hn::Store (re[i], tag, dest);
                        hn::Store (im[i], tag, dest + lanes);
                    }
            }
        }
}

void WeightedProducts (float* HWY_RESTRICT products,
                       const float* const* real,
                       const float* const* imaginary,
                       std::size_t numRows,
                       const float* HWY_RESTRICT weights,
                       std::size_t n)
{
    constexpr std::size_t group = 2; // rows a times rows b, real and imaginary: eight sums
    HWY_ALIGN float lanesOfSum[2 * group * group * lanes];
    HWY_ALIGN float reduced[2 * group * group];

    for (std::size_t a0 = 0; a0 < numRows; a0 += group)
        for (std::size_t b0 = 0; b0 <= a0; b0 += group)
        {
            // In a group that isn't full the last row is computed again and not used.
            const std::size_t a[]{ a0, std::min (a0 + 1, numRows - 1) };
            const std::size_t b[]{ b0, std::min (b0 + 1, numRows - 1) };

            for (std::size_t l = 0; l < lanes; l += vectorLanes)
            {
                Floats sums[2 * group * group];

#pragma GCC unroll 8
                for (auto& sum : sums)
                    sum = hn::Zero (tag);

                for (auto t = l; t < n; t += lanes)
                {
                    const auto w = hn::LoadU (tag, weights + t);
                    Floats br[group], bi[group];
#pragma GCC unroll 2
                    for (std::size_t j = 0; j < group; ++j)
                    {
                        br[j] = hn::LoadU (tag, real[b[j]] + t);
                        bi[j] = hn::LoadU (tag, imaginary[b[j]] + t);
                    }
#pragma GCC unroll 2
                    for (std::size_t i = 0; i < group; ++i)
                    {
                        const auto ar = hn::Mul (w, hn::LoadU (tag, real[a[i]] + t));
                        const auto ai = hn::Mul (w, hn::LoadU (tag, imaginary[a[i]] + t));
#pragma GCC unroll 2
                        for (std::size_t j = 0; j < group; ++j)
                        {
                            auto& re = sums[2 * (i * group + j)];
                            auto& im = sums[2 * (i * group + j) + 1];
                            re = fusedMultiplyAdd (ar, br[j], re);
                            im = fusedMultiplyAdd (ar, bi[j], im);
                            re = fusedMultiplyAdd (ai, bi[j], re);
                            im = fusedMultiplyAdd (hn::Neg (ai), br[j], im);
                        }
                    }
                }

#pragma GCC unroll 8
                for (std::size_t s = 0; s < 2 * group * group; ++s)
                    hn::Store (sums[s], tag, lanesOfSum + s * lanes + l);
            }

            sumFourPanels (lanesOfSum, reduced);
            sumFourPanels (lanesOfSum + 4 * lanes, reduced + 4);

            for (std::size_t i = 0; i < group; ++i)
                for (std::size_t j = 0; j < group; ++j)
                    std::copy_n (reduced + 2 * (i * group + j), 2, products + 2 * (a[i] * numRows + b[j]));
        }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (maskWithDelay, MaskWithDelay);
TESSIVAR_KERNEL (addPaths, AddPaths);
TESSIVAR_KERNEL (weightedProducts, WeightedProducts);
} // namespace tessivar::kernels
#endif
