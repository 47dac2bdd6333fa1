#include "engine/numerics/simd/SignalKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/SignalKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;

/** Sums 16 logical lanes: lanes 8, 4, 2 and 1 apart. */
HWY_INLINE float sumLanes (const float* lanesOfSum)
{
    float x[16];
    std::copy_n (lanesOfSum, 16, x);

    for (int width = 8; width > 0; width /= 2)
        for (int i = 0; i < width; ++i)
            x[i] += x[i + width];

    return x[0];
}

double DotProduct (const float* a, const float* b, std::size_t n)
{
    double total = 0.0;

    for (std::size_t start = 0; start < n; start += 1024)
    {
        const auto end = std::min (n, start + 1024);
        Floats sums[vectorsPerPanel];
        HWY_ALIGN float x[16];
        auto i = start;

#pragma GCC unroll 4
        for (auto& s : sums)
            s = hn::Zero (tag);

        for (; i + 16 <= end; i += 16)
#pragma GCC unroll 4
            for (std::size_t s = 0; s < vectorsPerPanel; ++s)
                sums[s] = hn::Add (sums[s],
                                   hn::Mul (hn::LoadU (tag, a + i + s * vectorLanes),
                                            hn::LoadU (tag, b + i + s * vectorLanes)));

#pragma GCC unroll 4
        for (std::size_t s = 0; s < vectorsPerPanel; ++s)
            hn::Store (sums[s], tag, x + s * vectorLanes);

        for (std::size_t lane = 0; i < end; ++i, ++lane)
            x[lane] += a[i] * b[i];

        total += static_cast<double> (sumLanes (x));
    }

    return total;
}

SignalLevel GetSignalLevel (const float* a, std::size_t n)
{
    constexpr std::size_t step = 4 * 16; // four sums in each lane, so that additions need not wait
    SignalLevel result;
    auto peaks = hn::Zero (tag);

    for (std::size_t start = 0; start < n; start += 1024)
    {
        const auto end = std::min (n, start + 1024);
        Floats sums[step / vectorLanes];
        HWY_ALIGN float x[step];
        auto i = start;

#pragma GCC unroll 16
        for (auto& s : sums)
            s = hn::Zero (tag);

        for (; i + step <= end; i += step)
        {
            auto peak = hn::Zero (tag);
#pragma GCC unroll 16
            for (std::size_t s = 0; s < step / vectorLanes; ++s)
            {
                const auto value = hn::LoadU (tag, a + i + s * vectorLanes);
                sums[s] = hn::Add (sums[s], hn::Mul (value, value));
                peak = hn::Max (hn::Abs (value), peak); // with a NaN, the second
            }

            peaks = hn::Max (peak, peaks);
        }

#pragma GCC unroll 16
        for (std::size_t s = 0; s < step / vectorLanes; ++s)
            hn::Store (sums[s], tag, x + s * vectorLanes);

        for (std::size_t lane = 0; i < end; ++i, ++lane)
        {
            x[lane] += a[i] * a[i];
            result.peak = std::max (result.peak, std::max (a[i], -a[i]));
        }

        for (std::size_t lane = 0; lane < 16; ++lane)
            x[lane] = (x[lane] + x[lane + 16]) + (x[lane + 32] + x[lane + 48]);

        result.squares += static_cast<double> (sumLanes (x));
    }

    result.peak = std::max (result.peak, hn::GetLane (hn::MaxOfLanes (tag, peaks)));
    return result;
}

void AddUp (float* const* sums,
            const float* const* signals,
            std::size_t numSignals,
            float gain,
            float rescaling,
            std::size_t n)
{
    constexpr std::size_t piece = 512;
    HWY_ALIGN float total[piece];

    for (std::size_t start = 0; start < n; start += piece)
    {
        const auto count = std::min (piece, n - start);
        const auto whole = count / vectorLanes * vectorLanes;

        for (std::size_t c = 0; c < numSignals; ++c)
        {
            const auto* HWY_RESTRICT x = signals[c] + start;

            for (std::size_t i = 0; i < whole; i += vectorLanes)
            {
                const auto scaled =
                    hn::Mul (hn::Mul (hn::LoadU (tag, x + i), broadcast (gain)), broadcast (rescaling));
                hn::Store (c == 0 ? scaled : hn::Add (hn::Load (tag, total + i), scaled), tag, total + i);
            }

            for (auto i = whole; i < count; ++i)
                total[i] = c == 0 ? x[i] * gain * rescaling : total[i] + x[i] * gain * rescaling;

            if (sums[c] != nullptr)
                std::copy_n (total, count, sums[c] + start);
        }
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (dotProduct, DotProduct);
TESSIVAR_KERNEL (signalLevel, GetSignalLevel);
TESSIVAR_KERNEL (addUp, AddUp);
} // namespace tessivar::kernels
#endif
