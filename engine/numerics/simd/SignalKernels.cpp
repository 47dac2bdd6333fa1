#include "engine/numerics/simd/SignalKernels.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

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

std::size_t ReplaceNonFinite (float* a, std::size_t n)
{
    std::size_t count = 0, i = 0;

    for (; i + vectorLanes <= n; i += vectorLanes)
    {
        const auto x = hn::LoadU (tag, a + i);

        if (const auto isFinite = hn::IsFinite (x); HWY_UNLIKELY (! hn::AllTrue (tag, isFinite)))
        {
            count += vectorLanes - hn::CountTrue (tag, isFinite);
            hn::StoreU (hn::IfThenElseZero (isFinite, x), tag, a + i);
        }
    }

    for (; i < n; ++i)
        if (! std::isfinite (a[i]))
        {
            a[i] = 0.0f;
            ++count;
        }

    return count;
}

/** Integers in the order of the floats with these bits. */
template <typename D, typename V>
HWY_INLINE V keysOf (D d, V bits)
{
    return hn::Xor (bits, hn::And (hn::ShiftRight<31> (bits), hn::Set (d, 0x7fffffff)));
}

RankedValues GetRankedValues (float* values, std::size_t n, std::size_t index)
{
    const hn::RebindToSigned<FloatTag> ti;
    const auto one = hn::Set (ti, 1);
    constexpr auto highest = std::numeric_limits<std::int32_t>::max();
    constexpr std::uint32_t sign = 0x80000000u;
    const auto whole = n / vectorLanes * vectorLanes;
    auto* const keys = reinterpret_cast<std::int32_t*> (values);

    for (std::size_t i = 0; i < whole; i += vectorLanes)
        hn::StoreU (keysOf (ti, hn::LoadU (ti, keys + i)), ti, keys + i);

    // Nothing lies above what fills the last vector.
    HWY_ALIGN std::int32_t rest[vectorLanes];
    std::fill_n (rest, vectorLanes, highest);
    std::memcpy (rest, values + whole, (n - whole) * sizeof (float));
    const auto restKeys = keysOf (ti, hn::Load (ti, rest));

    const auto numBelow = [&] (std::int32_t limit)
    {
        const auto threshold = hn::Set (ti, limit);
        auto counts = hn::IfThenElseZero (hn::Lt (restKeys, threshold), one);

        for (std::size_t i = 0; i < whole; i += vectorLanes)
            counts = hn::Add (counts, hn::IfThenElseZero (hn::Lt (hn::LoadU (ti, keys + i), threshold), one));

        return static_cast<std::size_t> (hn::GetLane (hn::SumOfLanes (ti, counts)));
    };

    // The highest key that no more than index keys lie below, bit by bit.
    std::uint32_t found = 0;

    for (auto bit = sign; bit != 0; bit >>= 1)
        if (numBelow (static_cast<std::int32_t> ((found | bit) ^ sign)) <= index)
            found |= bit;

    const auto lower = static_cast<std::int32_t> (found ^ sign);
    auto upper = lower;

    if (index + 1 < n && lower < highest && numBelow (lower + 1) == index + 1)
    {
        const auto limit = hn::Set (ti, lower);
        const auto above = [&] (auto key)
        { return hn::IfThenElse (hn::Gt (key, limit), key, hn::Set (ti, highest)); };
        auto least = above (restKeys);

        for (std::size_t i = 0; i < whole; i += vectorLanes)
            least = hn::Min (least, above (hn::LoadU (ti, keys + i)));

        upper = hn::GetLane (hn::MinOfLanes (ti, least));
    }

    const auto valueOf = [] (std::int32_t key)
    { return std::bit_cast<float> (key < 0 ? key ^ highest : key); };
    return { valueOf (lower), valueOf (upper) };
}

constexpr std::size_t blockLength = 1024; // summed in single precision

/** Dot products of whole blocks that follow one another, added to total in turn: several at once, so that
    additions need not wait for one another. */
template <std::size_t numBlocks>
HWY_INLINE void addDotProducts (double& total, const float* a, const float* b)
{
    Floats sums[numBlocks * vectorsPerPanel];
    HWY_ALIGN float x[16];

#pragma GCC unroll 16
    for (auto& s : sums)
        s = hn::Zero (tag);

    for (std::size_t i = 0; i < blockLength; i += 16)
#pragma GCC unroll 16
        for (std::size_t s = 0; s < numBlocks * vectorsPerPanel; ++s)
        {
            const auto at = s / vectorsPerPanel * blockLength + i + s % vectorsPerPanel * vectorLanes;
            sums[s] = hn::Add (sums[s], hn::Mul (hn::LoadU (tag, a + at), hn::LoadU (tag, b + at)));
        }

    for (std::size_t block = 0; block < numBlocks; ++block)
    {
#pragma GCC unroll 4
        for (std::size_t s = 0; s < vectorsPerPanel; ++s)
            hn::Store (sums[block * vectorsPerPanel + s], tag, x + s * vectorLanes);

        total += static_cast<double> (sumLanes (x));
    }
}

double DotProduct (const float* a, const float* b, std::size_t n)
{
    constexpr auto atOnce = std::max<std::size_t> (2, 8 / vectorsPerPanel);
    double total = 0.0;
    std::size_t start = 0;

    for (; start + atOnce * blockLength <= n; start += atOnce * blockLength)
        addDotProducts<atOnce> (total, a + start, b + start);

    for (; start + blockLength <= n; start += blockLength)
        addDotProducts<1> (total, a + start, b + start);

    if (start == n)
        return total;

    Floats sums[vectorsPerPanel];
    HWY_ALIGN float x[16];

#pragma GCC unroll 4
    for (auto& s : sums)
        s = hn::Zero (tag);

    for (; start + 16 <= n; start += 16)
#pragma GCC unroll 4
        for (std::size_t s = 0; s < vectorsPerPanel; ++s)
            sums[s] = hn::Add (sums[s],
                               hn::Mul (hn::LoadU (tag, a + start + s * vectorLanes),
                                        hn::LoadU (tag, b + start + s * vectorLanes)));

#pragma GCC unroll 4
    for (std::size_t s = 0; s < vectorsPerPanel; ++s)
        hn::Store (sums[s], tag, x + s * vectorLanes);

    for (std::size_t lane = 0; start < n; ++start, ++lane)
        x[lane] += a[start] * b[start];

    return total + static_cast<double> (sumLanes (x));
}

SignalLevel GetSignalLevel (const float* a, std::size_t n)
{
    constexpr std::size_t step = 4 * 16; // four sums in each lane, so that additions need not wait
    SignalLevel result;
    Floats peaks[4];

#pragma GCC unroll 4
    for (auto& peak : peaks)
        peak = hn::Zero (tag);

    for (std::size_t start = 0; start < n; start += blockLength)
    {
        const auto end = std::min (n, start + blockLength);
        Floats sums[step / vectorLanes];
        HWY_ALIGN float x[step];
        auto i = start;

#pragma GCC unroll 16
        for (auto& s : sums)
            s = hn::Zero (tag);

        for (; i + step <= end; i += step)
#pragma GCC unroll 16
            for (std::size_t s = 0; s < step / vectorLanes; ++s)
            {
                const auto value = hn::LoadU (tag, a + i + s * vectorLanes);
                sums[s] = hn::Add (sums[s], hn::Mul (value, value));
                auto& peak = peaks[s % 4];
                peak = hn::Max (hn::Abs (value), peak); // with a NaN, the second
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

    for (const auto& peak : peaks)
        result.peak = std::max (result.peak, hn::GetLane (hn::MaxOfLanes (tag, peak)));

    return result;
}

std::size_t Quantised (std::int32_t* dest, const float* a, int bits, std::size_t n)
{
    const hn::RebindToSigned<FloatTag> integers;
    const auto fullScale = static_cast<float> (1 << (bits - 1));
    const auto scale = broadcast (fullScale), lowest = broadcast (-fullScale),
               highest = broadcast (fullScale - 1.0f);
    std::size_t numClipped = 0;

    const auto quantise = [&] (const float* from, std::int32_t* to)
    {
        const auto sample = hn::LoadU (tag, from);
        // Multiplied with a power of two, so exact.
        const auto steps = hn::Round (hn::Mul (hn::IfThenElseZero (hn::Eq (sample, sample), sample), scale));
        numClipped += hn::CountTrue (tag, hn::Gt (hn::Abs (steps), scale));
        const auto kept = hn::ConvertTo (integers, hn::Max (hn::Min (steps, highest), lowest));
        hn::StoreU (hn::ShiftLeftSame (kept, 32 - bits), integers, to);
    };

    std::size_t i = 0;

    for (; i + vectorLanes <= n; i += vectorLanes)
        quantise (a + i, dest + i);

    if (i < n)
    {
        float from[vectorLanes] = {};
        std::int32_t to[vectorLanes];
        std::copy_n (a + i, n - i, from);
        quantise (from, to);
        std::copy_n (to, n - i, dest + i);
    }

    return numClipped;
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (replaceNonFinite, ReplaceNonFinite);
TESSIVAR_KERNEL (rankedValues, GetRankedValues);
TESSIVAR_KERNEL (dotProduct, DotProduct);
TESSIVAR_KERNEL (signalLevel, GetSignalLevel);
TESSIVAR_KERNEL (quantised, Quantised);
} // namespace tessivar::kernels
#endif
