#include "engine/numerics/simd/SpectralKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/SpectralKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;
using DoubleTag = hn::Repartition<double, FloatTag>;

/** Complex values in reverse order. */
HWY_INLINE Floats reverseComplex (Floats x)
{
    return hn::BitCast (tag, hn::Reverse (DoubleTag(), hn::BitCast (DoubleTag(), x)));
}

/** Minus zero in the imaginary lanes: exclusive-or conjugates. */
HWY_INLINE Floats imaginarySigns()
{
    const hn::Repartition<std::uint64_t, FloatTag> du;
    return hn::BitCast (tag, hn::Set (du, std::uint64_t{ 1 } << 63));
}

HWY_INLINE Floats multiplyComplex (Floats a, Floats b)
{
    // (ar br - ai bi, ar bi + ai br); the sign goes on the swapped b, whose even lanes hold bi.
    const hn::Repartition<std::uint64_t, FloatTag> du;
    const auto realSigns = hn::BitCast (tag, hn::Set (du, std::uint64_t{ 1 } << 31));
    const auto swapped = hn::Xor (hn::Reverse2 (tag, b), realSigns);
    return hn::Add (hn::Mul (hn::DupEven (a), b), hn::Mul (hn::DupOdd (a), swapped));
}

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

void Multiply (float* dest, const float* a, const float* b, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += vectorLanes)
        hn::StoreU (hn::Mul (hn::LoadU (tag, a + i), hn::LoadU (tag, b + i)), tag, dest + i);
}

void AddWindowed (float* dest, const float* a, const float* window, float gain, std::size_t n)
{
    const auto g = broadcast (gain);

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto x = hn::Mul (g, hn::Mul (hn::LoadU (tag, a + i), hn::LoadU (tag, window + i)));
        hn::StoreU (hn::Add (hn::LoadU (tag, dest + i), x), tag, dest + i);
    }
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

float PeakLevel (const float* a, std::size_t n)
{
    auto peaks = hn::Zero (tag);
    std::size_t i = 0;

    for (; i + vectorLanes <= n; i += vectorLanes)
        peaks = hn::Max (peaks, hn::Abs (hn::LoadU (tag, a + i)));

    auto peak = hn::GetLane (hn::MaxOfLanes (tag, peaks));

    for (; i < n; ++i)
        peak = std::max (peak, std::max (a[i], -a[i]));

    return peak;
}

void SplitSpectrum (float* spectrum, float* z, const float* twiddles, std::size_t half)
{
    // z repeats after half values: with the first one appended, every k finds its mirror image half - k.
    z[2 * half] = z[0];
    z[2 * half + 1] = z[1];
    const auto signs = imaginarySigns();
    const auto oneHalf = broadcast (0.5f);

    for (std::size_t i = 0; i < 2 * half; i += vectorLanes)
    {
        const auto a = hn::Load (tag, z + i);
        const auto b = hn::Xor (signs, reverseComplex (hn::LoadU (tag, z + 2 * half - i - vectorLanes + 2)));
        const auto even = hn::Mul (oneHalf, hn::Add (a, b));
        const auto difference = hn::Sub (a, b);
        // -i times the difference: (im, -re).
        const auto odd = hn::Xor (signs, hn::Reverse2 (tag, difference));
        hn::Store (hn::Add (even, multiplyComplex (hn::Load (tag, twiddles + i), odd)), tag, spectrum + i);
    }

    spectrum[2 * half] = z[0] - z[1];
    spectrum[2 * half + 1] = 0.0f;
}

void PrepareInverse (float* prepared,
                     float* mirrored,
                     const float* spectrum,
                     const float* plus,
                     const float* minus,
                     std::size_t half)
{
    const auto signs = imaginarySigns();

    for (std::size_t i = 0; i < 2 * half; i += vectorLanes)
    {
        const auto a = hn::Load (tag, spectrum + i);
        const auto b =
            hn::Xor (signs, reverseComplex (hn::LoadU (tag, spectrum + 2 * half - i - vectorLanes + 2)));
        hn::Store (multiplyComplex (hn::Load (tag, plus + i), a), tag, prepared + i);
        hn::Store (multiplyComplex (hn::Load (tag, minus + i), b), tag, mirrored + i);
    }
}

void WeightedSum (
    float* dest, const float* a, const float* wa, const float* b, const float* wb, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += vectorLanes)
        hn::Store (hn::Add (hn::Mul (hn::Load (tag, a + i), hn::Load (tag, wa + i)),
                            hn::Mul (hn::Load (tag, b + i), hn::Load (tag, wb + i))),
                   tag,
                   dest + i);
}

void GainedSum (
    float* dest, const float* prepared, const float* mirrored, const float* gains, std::size_t half)
{
    constexpr std::size_t pairs = vectorLanes / 2; // complex values in a vector
    const hn::Repartition<std::uint64_t, FloatTag> du;
    const hn::Rebind<std::uint32_t, decltype (du)> tagOfBits;
    const hn::Rebind<float, decltype (du)> tagOfGains;

    // One gain serves the real and the imaginary part.
    const auto twice = [&] (auto x)
    {
        const auto wide = hn::PromoteTo (du, hn::BitCast (tagOfBits, x));
        return hn::BitCast (tag, hn::Or (wide, hn::ShiftLeft<32> (wide)));
    };

    for (std::size_t k = 0; k < half; k += pairs)
    {
        const auto a = twice (hn::LoadU (tagOfGains, gains + k));
        const auto b = twice (hn::Reverse (tagOfGains, hn::LoadU (tagOfGains, gains + half - k - pairs + 1)));
        hn::Store (hn::Add (hn::Mul (hn::Load (tag, prepared + 2 * k), a),
                            hn::Mul (hn::Load (tag, mirrored + 2 * k), b)),
                   tag,
                   dest + 2 * k);
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (multiply, Multiply);
TESSIVAR_KERNEL (addWindowed, AddWindowed);
TESSIVAR_KERNEL (dotProduct, DotProduct);
TESSIVAR_KERNEL (signalLevel, GetSignalLevel);
TESSIVAR_KERNEL (peakLevel, PeakLevel);
TESSIVAR_KERNEL (splitSpectrum, SplitSpectrum);
TESSIVAR_KERNEL (prepareInverse, PrepareInverse);
TESSIVAR_KERNEL (weightedSum, WeightedSum);
TESSIVAR_KERNEL (gainedSum, GainedSum);
} // namespace tessivar::kernels
#endif
