#include "engine/numerics/simd/MaskKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/MaskKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;
using IntTag = hn::RebindToSigned<FloatTag>;

HWY_INLINE Floats timesPlus (Floats a, Floats b, float c)
{
    return hn::Add (hn::Mul (a, b), broadcast (c));
}

struct ExponentAndFraction
{
    Floats exponent, fraction;
};

/** x = 2^exponent * (1 + fraction), 1 + fraction in [sqrt (1/2), sqrt (2)), for normal positive numbers. */
HWY_INLINE ExponentAndFraction exponentAndFraction (Floats x)
{
    const IntTag ti;
    const auto bits = hn::BitCast (ti, x);
    const auto exponent = hn::ShiftRight<23> (hn::Sub (bits, hn::Set (ti, 0x3f3504f3)));
    const auto mantissa = hn::BitCast (tag, hn::Sub (bits, hn::ShiftLeft<23> (exponent)));
    return { hn::ConvertTo (tag, exponent), hn::Sub (mantissa, broadcast (1.0f)) };
}

/** 2^n for whole numbers within -126..127. */
HWY_INLINE Floats powerOfTwo (Floats n)
{
    // Beyond 2^23 floats are whole: the sum holds n + 127 in its lowest bits, where the shift finds it.
    const auto sum = hn::Add (n, broadcast (12582912.0f + 127.0f));
    return hn::BitCast (tag, hn::ShiftLeft<23> (hn::BitCast (IntTag(), sum)));
}

/** Natural logarithm of normal positive numbers. */
HWY_INLINE Floats logarithm (Floats x)
{
    const auto [e, f] = exponentAndFraction (x);
    const auto squared = hn::Mul (f, f);

    auto y = timesPlus (broadcast (7.0376836292e-2f), f, -1.1514610310e-1f);
    y = timesPlus (y, f, 1.1676998740e-1f);
    y = timesPlus (y, f, -1.2420140846e-1f);
    y = timesPlus (y, f, 1.4249322787e-1f);
    y = timesPlus (y, f, -1.6668057665e-1f);
    y = timesPlus (y, f, 2.0000714765e-1f);
    y = timesPlus (y, f, -2.4999993993e-1f);
    y = timesPlus (y, f, 3.3333331174e-1f);
    y = hn::Mul (hn::Mul (y, f), squared);
    y = hn::Sub (hn::Sub (y, hn::Mul (e, broadcast (2.12194440e-4f))), hn::Mul (broadcast (0.5f), squared));
    return hn::Add (hn::Add (f, y), hn::Mul (e, broadcast (0.693359375f)));
}

HWY_INLINE Floats exponential (Floats x)
{
    x = hn::Min (hn::Max (x, broadcast (-87.0f)), broadcast (87.0f));
    const auto n = hn::Round (hn::Mul (x, broadcast (1.44269504088896341f)));
    const auto r =
        hn::Add (hn::Sub (x, hn::Mul (n, broadcast (0.693359375f))), hn::Mul (n, broadcast (2.12194440e-4f)));

    auto y = timesPlus (broadcast (1.9875691500e-4f), r, 1.3981999507e-3f);
    y = timesPlus (y, r, 8.3334519073e-3f);
    y = timesPlus (y, r, 4.1665795894e-2f);
    y = timesPlus (y, r, 1.6666665459e-1f);
    y = timesPlus (y, r, 5.0000001201e-1f);
    y = hn::Add (hn::Add (hn::Mul (hn::Mul (y, r), r), r), broadcast (1.0f));
    return hn::Mul (y, powerOfTwo (n));
}

constexpr float log2OfE = 1.44269504088896341f;

/** Binary logarithm of normal positive numbers, 2e-5 off at most: a minimax polynomial. */
HWY_INLINE Floats quickLog2 (Floats x)
{
    const auto [e, f] = exponentAndFraction (x);

    auto y = timesPlus (broadcast (2.52697408e-1f), f, -3.94567281e-1f);
    y = timesPlus (y, f, 4.86675978e-1f);
    y = timesPlus (y, f, -7.20242560e-1f);
    y = timesPlus (y, f, 1.44257855f);
    return hn::Add (e, hn::Mul (y, f));
}

/** Power of two, 3e-6 off at most: a minimax polynomial. */
HWY_INLINE Floats quickExp2 (Floats x)
{
    x = hn::Min (hn::Max (x, broadcast (-126.0f)), broadcast (126.0f));
    const auto n = hn::Round (x);
    const auto r = hn::Sub (x, n);

    auto y = timesPlus (broadcast (9.57010221e-3f), r, 5.59178628e-2f);
    y = timesPlus (y, r, 2.40247443e-1f);
    y = timesPlus (y, r, 6.93121791e-1f);
    y = timesPlus (y, r, 9.99999285e-1f);
    return hn::Mul (y, powerOfTwo (n));
}

/** Calls use (index, means) for each vector of what smoothPowers makes. */
template <typename Use>
HWY_INLINE void
smooth (float* HWY_RESTRICT history, const float* HWY_RESTRICT spectrum, std::size_t numBins, const Use& use)
{
    constexpr std::size_t group = 16; // bins, so that stores have settled before they are loaded askew
    constexpr std::size_t rowLength = 2 * lanes, now = lanes; // of which the two before now are used
    HWY_ALIGN float rows[group * rowLength];
    const auto third = broadcast (1.0f / 3.0f);

    for (std::size_t first = 0; first < numBins; first += group)
    {
        const auto numRows = std::min (group, numBins - first);

        for (std::size_t i = 0; i < numRows; ++i)
        {
            auto* const row = rows + i * rowLength;
            auto* const before = history + 2 * (first + i);
            const auto* const re = spectrum + (first + i) * 2 * lanes;
            row[now - 2] = before[0];
            row[now - 1] = before[1];

            for (std::size_t l = 0; l < lanes; l += vectorLanes)
            {
                const auto x = hn::LoadU (tag, re + l), y = hn::LoadU (tag, re + lanes + l);
                hn::Store (hn::Add (hn::Mul (x, x), hn::Mul (y, y)), tag, row + now + l);
            }

            before[0] = row[rowLength - 2];
            before[1] = row[rowLength - 1];
        }

        for (std::size_t i = 0; i < numRows; ++i)
            for (std::size_t l = 0; l < lanes; l += vectorLanes)
            {
                const auto* const x = rows + i * rowLength + now + l;
                const auto sum =
                    hn::Add (hn::Add (hn::LoadU (tag, x - 2), hn::LoadU (tag, x - 1)), hn::Load (tag, x));
                use ((first + i) * lanes + l, hn::Mul (third, sum));
            }
    }
}

void SmoothPowers (float* HWY_RESTRICT means,
                   float* HWY_RESTRICT history,
                   const float* HWY_RESTRICT spectrum,
                   std::size_t numBins)
{
    smooth (history,
            spectrum,
            numBins,
            [means] (std::size_t at, Floats mean) { hn::StoreU (mean, tag, means + at); });
}

void DelayFrames (float* HWY_RESTRICT spectrum, float* HWY_RESTRICT last, std::size_t numRows)
{
    constexpr std::size_t group = 16;
    HWY_ALIGN float rows[group * lanes + lanes]; // each store reaches one lane into the next row

    for (std::size_t first = 0; first < numRows; first += group)
    {
        const auto end = std::min (first + group, numRows);

        for (auto i = first; i < end; ++i)
        {
            auto* const row = rows + (i - first) * lanes;
            const auto* const x = spectrum + i * lanes;
            row[0] = last[i];
            last[i] = x[lanes - 1];

            for (std::size_t l = 0; l < lanes; l += vectorLanes)
                hn::StoreU (hn::LoadU (tag, x + l), tag, row + l + 1);
        }

        for (auto i = first; i < end; ++i)
            for (std::size_t l = 0; l < lanes; l += vectorLanes)
                hn::StoreU (hn::Load (tag, rows + (i - first) * lanes + l), tag, spectrum + i * lanes + l);
    }
}

void SumRows (float* HWY_RESTRICT sums, const float* HWY_RESTRICT rows, std::size_t numRows)
{
    constexpr std::size_t group = 32;

    for (std::size_t l = 0; l < lanes; l += vectorLanes)
    {
        auto total = hn::Zero (tag);

        for (std::size_t first = 0; first < numRows; first += group)
        {
            auto sum = hn::Zero (tag);

            for (auto i = first; i < std::min (first + group, numRows); ++i)
                sum = hn::Add (sum, hn::LoadU (tag, rows + i * lanes + l));

            total = hn::Add (total, sum);
        }

        hn::StoreU (total, tag, sums + l);
    }
}

void Accumulate (float* dest, const float* a, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += vectorLanes)
        hn::StoreU (hn::Add (hn::LoadU (tag, dest + i), hn::LoadU (tag, a + i)), tag, dest + i);
}

void AddLogRatios (float* HWY_RESTRICT dest,
                   const float* HWY_RESTRICT a,
                   const float* HWY_RESTRICT b,
                   float weight,
                   float lowest,
                   float highest,
                   std::size_t n)
{
    const auto least = broadcast (1.0e-30f), factor = broadcast (weight);
    const auto from = broadcast (lowest), to = broadcast (highest);
    const auto logarithmAt = [&] (const float* x) { return logarithm (hn::Max (hn::LoadU (tag, x), least)); };

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        // Not of the quotient, which may leave a float's range.
        const auto ratio = hn::Sub (logarithmAt (a + i), logarithmAt (b + i));
        const auto clipped = hn::Min (hn::Max (ratio, from), to);
        hn::StoreU (hn::Add (hn::LoadU (tag, dest + i), hn::Mul (factor, clipped)), tag, dest + i);
    }
}

void PackLogRatios (std::int16_t* codes, const float* own, const float* leakage, std::size_t n)
{
    const hn::Rebind<std::int16_t, FloatTag> tagOfCodes;
    const auto limit = broadcast (logRatioLimit * log2OfE);
    const auto scale = broadcast (32767.0f / (logRatioLimit * log2OfE));

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto ratio = quickLog2 (hn::Div (hn::LoadU (tag, own + i), hn::LoadU (tag, leakage + i)));
        const auto clipped = hn::Min (hn::Max (ratio, hn::Neg (limit)), limit);
        hn::StoreU (
            hn::DemoteTo (tagOfCodes, hn::NearestInt (hn::Mul (clipped, scale))), tagOfCodes, codes + i);
    }
}

void PackMask (
    std::uint16_t* mask, const std::int16_t* ratios, const float* common, float weight, std::size_t n)
{
    const hn::Rebind<std::int16_t, FloatTag> tagOfRatios;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfMask;
    const IntTag ti;
    const auto factor = broadcast (-log2OfE * weight * (logRatioLimit / 32767.0f));
    const auto one = broadcast (1.0f), scale = broadcast (65535.0f / (logMaskLimit * log2OfE));

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto evidence = hn::ConvertTo (tag, hn::PromoteTo (ti, hn::LoadU (tagOfRatios, ratios + i)));
        // -log2 m = log2 (1 + 2^x), x = -log2 (e) logit
        const auto x =
            hn::Add (hn::Mul (broadcast (-log2OfE), hn::LoadU (tag, common + i)), hn::Mul (factor, evidence));
        const auto attenuation = quickLog2 (hn::Add (one, quickExp2 (x)));
        hn::StoreU (
            hn::DemoteTo (tagOfMask, hn::NearestInt (hn::Mul (attenuation, scale))), tagOfMask, mask + i);
    }
}

void MaskGains (float* gains, const std::uint16_t* mask, float exponent, std::size_t n)
{
    const hn::Rebind<std::uint16_t, FloatTag> tagOfMask;
    const IntTag ti;
    const auto factor = broadcast (-log2OfE * exponent * (logMaskLimit / 65535.0f));

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto attenuation = hn::ConvertTo (tag, hn::PromoteTo (ti, hn::LoadU (tagOfMask, mask + i)));
        hn::StoreU (quickExp2 (hn::Mul (factor, attenuation)), tag, gains + i);
    }
}

void BandLogits (float* HWY_RESTRICT logits,
                 const std::int16_t* HWY_RESTRICT ratios,
                 const float* HWY_RESTRICT common,
                 float weight,
                 std::size_t numBins)
{
    const hn::Rebind<std::int16_t, FloatTag> tagOfRatios;
    const IntTag ti;
    const auto factor = broadcast (weight * (logRatioLimit / 32767.0f));

    for (std::size_t l = 0; l < lanes; l += vectorLanes)
    {
        const auto shared = hn::LoadU (tag, common + l);

        for (std::size_t i = l; i < numBins * lanes; i += lanes)
        {
            const auto ratio = hn::ConvertTo (tag, hn::PromoteTo (ti, hn::LoadU (tagOfRatios, ratios + i)));
            hn::StoreU (hn::Add (shared, hn::Mul (factor, ratio)), tag, logits + i);
        }
    }
}

void Logarithms (float* HWY_RESTRICT logs, const float* HWY_RESTRICT powers, std::size_t n)
{
    const auto tiny = broadcast (1.0e-20f);

    for (std::size_t i = 0; i < n; i += vectorLanes)
        hn::StoreU (quickLog2 (hn::Add (hn::LoadU (tag, powers + i), tiny)), tag, logs + i);
}

/** The attenuation of the mask, -ln m. */
HWY_INLINE Floats attenuationOf (const std::uint16_t* mask)
{
    const hn::Rebind<std::uint16_t, FloatTag> tagOfMask;
    const auto codes = hn::ConvertTo (tag, hn::PromoteTo (IntTag(), hn::LoadU (tagOfMask, mask)));
    return hn::Mul (broadcast (logMaskLimit / 65535.0f), codes);
}

// What G counts, and mask and standard output beside it: in its logit they have their say already.
constexpr float evidenceExponent = 0.6f, maskExponent = 0.1f, outputExponent = 0.15f;

/** G^0.6 m^0.1 K^0.15 from the logit, -ln m and log2 K^2. */
HWY_INLINE Floats layerGain (Floats logit, Floats attenuation, Floats logOutputPower, float outputWeight)
{
    const auto clipped = hn::Max (logOutputPower, broadcast (-12.0f * log2OfE));
    const auto exponent =
        hn::Add (hn::Mul (broadcast (log2OfE), logit), hn::Mul (broadcast (0.5f * outputWeight), clipped));
    const auto odds = quickExp2 (hn::Neg (exponent)); // (1 - G) / G
    const auto kept = hn::Sub (hn::Mul (broadcast (0.5f * outputExponent), logOutputPower),
                               hn::Mul (broadcast (maskExponent * log2OfE), attenuation));
    const auto taken = hn::Mul (broadcast (evidenceExponent), quickLog2 (hn::Add (broadcast (1.0f), odds)));
    return quickExp2 (hn::Sub (kept, taken));
}

void LayerGains (float* HWY_RESTRICT gains,
                 float* HWY_RESTRICT history,
                 const float* HWY_RESTRICT spectrum,
                 const GainEvidence& evidence,
                 std::size_t numBins)
{
    const auto tiny = broadcast (1.0e-36f), zero = hn::Zero (tag);

    smooth (history,
            spectrum,
            numBins,
            [&] (std::size_t at, Floats layer)
            {
                const auto powerRatio =
                    hn::Sub (quickLog2 (hn::Max (layer, tiny)), hn::LoadU (tag, evidence.logTotals + at));
                hn::StoreU (layerGain (hn::LoadU (tag, evidence.logits + at),
                                       attenuationOf (evidence.mask + at),
                                       hn::Min (zero, powerRatio),
                                       evidence.outputWeight),
                            tag,
                            gains + at);
            });
}

void MaskLayerGains (float* HWY_RESTRICT gains, const GainEvidence& evidence, std::size_t numBins)
{
    for (std::size_t i = 0; i < numBins * lanes; i += vectorLanes)
    {
        const auto attenuation = attenuationOf (evidence.mask + i);
        hn::StoreU (layerGain (hn::LoadU (tag, evidence.logits + i),
                               attenuation,
                               hn::Mul (broadcast (-2.0f * log2OfE), attenuation),
                               evidence.outputWeight),
                    tag,
                    gains + i);
    }
}

void SubtractionSums (float* HWY_RESTRICT sums,
                      const float* HWY_RESTRICT track,
                      const float* HWY_RESTRICT subtracted,
                      const std::uint16_t* HWY_RESTRICT mask,
                      std::size_t numBins)
{
    const auto squared = [] (Floats re, Floats im) { return hn::Add (hn::Mul (re, re), hn::Mul (im, im)); };

    for (std::size_t l = 0; l < lanes; l += vectorLanes)
    {
        auto left = hn::Zero (tag), taken = left, masked = left, product = left, foreign = left;

        for (std::size_t bin = 0; bin < numBins; ++bin)
        {
            const auto at = bin * 2 * lanes + l;
            const auto re = hn::LoadU (tag, track + at), im = hn::LoadU (tag, track + at + lanes);
            const auto sRe = hn::LoadU (tag, subtracted + at), sIm = hn::LoadU (tag, subtracted + at + lanes);
            const auto share =
                hn::Sub (broadcast (1.0f), exponential (hn::Neg (attenuationOf (mask + bin * lanes + l))));
            left = hn::Add (left, squared (hn::Sub (re, sRe), hn::Sub (im, sIm)));
            taken = hn::Add (taken, squared (sRe, sIm));
            const auto part = hn::Mul (share, squared (re, im));
            masked = hn::Add (masked, hn::Mul (share, part));
            foreign = hn::Add (foreign, part);
            product = hn::Add (product, hn::Mul (share, hn::Add (hn::Mul (re, sRe), hn::Mul (im, sIm))));
        }

        hn::StoreU (left, tag, sums + l);
        hn::StoreU (taken, tag, sums + lanes + l);
        hn::StoreU (masked, tag, sums + 2 * lanes + l);
        hn::StoreU (product, tag, sums + 3 * lanes + l);
        hn::StoreU (foreign, tag, sums + 4 * lanes + l);
    }
}

void ForeignPowers (float* HWY_RESTRICT foreign,
                    const float* HWY_RESTRICT powers,
                    const std::uint16_t* HWY_RESTRICT mask,
                    std::size_t n)
{
    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto share = hn::Sub (broadcast (1.0f), exponential (hn::Neg (attenuationOf (mask + i))));
        hn::StoreU (hn::Mul (share, hn::LoadU (tag, powers + i)), tag, foreign + i);
    }
}

void KeptPowers (float* HWY_RESTRICT sums,
                 const float* HWY_RESTRICT foreign,
                 const float* HWY_RESTRICT powers,
                 const float* HWY_RESTRICT gains,
                 std::size_t numBins)
{
    for (std::size_t l = 0; l < lanes; l += vectorLanes)
    {
        auto keptForeign = hn::Zero (tag), keptOwn = keptForeign;

        for (auto i = l; i < numBins * lanes; i += lanes)
        {
            const auto gain = hn::LoadU (tag, gains + i), power = hn::LoadU (tag, powers + i);
            const auto squared = hn::Mul (gain, gain), leaking = hn::LoadU (tag, foreign + i);
            const auto own = hn::Sub (power, leaking), removed = hn::Sub (power, hn::Mul (power, squared));
            keptForeign = hn::Add (keptForeign, hn::Mul (hn::Min (leaking, removed), squared));
            keptOwn = hn::Add (keptOwn, hn::Mul (own, squared));
        }

        hn::StoreU (keptForeign, tag, sums + l);
        hn::StoreU (keptOwn, tag, sums + lanes + l);
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (smoothPowers, SmoothPowers);
TESSIVAR_KERNEL (delayFrames, DelayFrames);
TESSIVAR_KERNEL (sumRows, SumRows);
TESSIVAR_KERNEL (accumulate, Accumulate);
TESSIVAR_KERNEL (addLogRatios, AddLogRatios);
TESSIVAR_KERNEL (packLogRatios, PackLogRatios);
TESSIVAR_KERNEL (packMask, PackMask);
TESSIVAR_KERNEL (maskGains, MaskGains);
TESSIVAR_KERNEL (bandLogits, BandLogits);
TESSIVAR_KERNEL (logarithms, Logarithms);
TESSIVAR_KERNEL (layerGains, LayerGains);
TESSIVAR_KERNEL (maskLayerGains, MaskLayerGains);
TESSIVAR_KERNEL (subtractionSums, SubtractionSums);
TESSIVAR_KERNEL (foreignPowers, ForeignPowers);
TESSIVAR_KERNEL (keptPowers, KeptPowers);
} // namespace tessivar::kernels
#endif
