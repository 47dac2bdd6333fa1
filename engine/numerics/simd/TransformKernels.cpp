#include "engine/numerics/simd/TransformKernels.h"

#include <algorithm>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/TransformKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/Butterflies.h"
#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

// Vectors of fewer than 16 lanes take the frames in parts. Inverse transforms take one after the other: each
// part has its own prepared values, and a work array small enough for the caches. The first passes of forward
// transforms take them together, as they read lines of all sixteen frames.

template <std::size_t value>
using Constant = std::integral_constant<std::size_t, value>;

/** Calls function (m) with m as a constant for the lengths that work is done with: strides and twiddles then
    take no registers. */
template <typename Function>
HWY_INLINE void withLength (std::size_t m, const Function& function)
{
    switch (m)
    {
        case 512:
            return function (Constant<512>());
        case 1024:
            return function (Constant<1024>());
        case 2048:
            return function (Constant<2048>());
        case 4096:
            return function (Constant<4096>());
        default:
            return function (m);
    }
}

template <std::size_t radix>
HWY_INLINE void joinBlocksOfAnySpan (float* first, std::size_t span, const float* twiddles)
{
    switch (span)
    {
        case 8:
            return joinBlocks<radix> (first, Constant<8>(), twiddles);
        case 32:
            return joinBlocks<radix> (first, Constant<32>(), twiddles);
        case 64:
            return joinBlocks<radix> (first, Constant<64>(), twiddles);
        default:
            return joinBlocks<radix> (first, span, twiddles);
    }
}

//======================================================================================================
// The first pass

/** Real samples: the even ones are real, the odd ones imaginary parts. Exchanged, so that the inverse
    transform gives the forward one, exchanged as well. */
struct SampleSource
{
    static constexpr auto numLanes = lanes;

    const float* samples;

    template <std::size_t radix, typename Length>
    HWY_INLINE void
    load (Complex (&x)[radix], Length m, std::size_t, std::size_t bin, std::size_t part, float*) const
    {
#pragma GCC unroll 8
        for (std::size_t q = 0; q < radix; ++q)
        {
            const auto* p = samples + (bin + q * (m / radix)) * 2 * lanes + part;
            x[q] = { hn::Load (tag, p + lanes), hn::Load (tag, p) };
        }
    }
};

/** Bins of the complex transform from those of the real one, X, under weights w. With h = pi k / n,
    a = w[k] X[k] and b = conj (w[m - k] X[m - k]) bin k is (1 + i exp (2ih)) a + (1 - i exp (2ih)) b, and the
    conjugate of bin m - k has a and b exchanged. As 1 + i exp (2ih) = (1 + i) exp (ih) (cos h - sin h) and
    1 - i exp (2ih) = -i (1 + i) exp (ih) (cos h + sin h), it is enough to multiply with real factors what
    PrepareSpectrum has turned. */
template <typename Factors>
struct SpectrumSource
{
    static constexpr auto numLanes = L; // one part

    const float* prepared;
    Factors factors; // w[k] (cos h - sin h) and w[k] (cos h + sin h)

    HWY_INLINE SpectrumSource ofPart (std::size_t part, const TransformPlan& plan) const
    {
        return { prepared + part * plan.preparedFloatsPerFrame(), factors.ofPart (part) };
    }

    /** Leaves the mirrored bins, in the order of a butterfly of their own. */
    template <std::size_t radix, typename Length>
    HWY_INLINE void load (
        Complex (&x)[radix], Length m, std::size_t step, std::size_t bin, std::size_t, float* mirrored) const
    {
#pragma GCC unroll 8
        for (std::size_t q = 0; q < radix; ++q)
        {
            const auto k = bin + q * (m / radix);
            const auto* p = prepared + (step * radix + q) * 4 * L;
            const auto a = loadComplex (p), b = loadComplex (p + 2 * L);
            const auto f = factors (k), g = factors (m - k);
            x[q] = { hn::Add (hn::Mul (f.difference, a.re), hn::Mul (g.sum, b.im)),
                     hn::Sub (hn::Mul (f.difference, a.im), hn::Mul (g.sum, b.re)) };
            storeComplex ({ hn::Sub (hn::Mul (f.sum, a.im), hn::Mul (g.difference, b.re)),
                            hn::Add (hn::Mul (f.sum, a.re), hn::Mul (g.difference, b.im)) },
                          mirrored + (radix - 1 - q) * 2 * L);
        }
    }
};

struct BinFactors
{
    Floats difference, sum;
};

struct WeightFactors
{
    const float *differences, *sums; // already under weights

    HWY_INLINE WeightFactors ofPart (std::size_t) const { return *this; }

    HWY_INLINE BinFactors operator() (std::size_t k) const
    {
        return { broadcast (differences[k]), broadcast (sums[k]) };
    }
};

struct GainFactors
{
    const float *differences, *sums, *gains;

    HWY_INLINE GainFactors ofPart (std::size_t part) const { return { differences, sums, gains + part }; }

    HWY_INLINE BinFactors operator() (std::size_t k) const
    {
        const auto gain = hn::Load (tag, gains + k * lanes);
        return { hn::Mul (gain, broadcast (differences[k])), hn::Mul (gain, broadcast (sums[k])) };
    }
};

template <std::size_t radix>
HWY_INLINE void storeButterfly (Complex (&x)[radix], float* dest)
{
    butterfly (x);

#pragma GCC unroll 8
    for (std::size_t q = 0; q < radix; ++q)
        storeComplex (x[q], dest + q * 2 * L);
}

/** All passes but the last one. Blocks are joined as soon as they are there, while the caches hold them. The
    parts of a source that stand side by side go together, step by step, as they share its lines. */
template <std::size_t radix, typename Source, typename Length>
HWY_NOINLINE void joinUpToEight (
    float* work, const Source source, const TransformPlan::Order& order, Length m, const TransformPlan& plan)
{
    const auto* join = order.joins.data();
    const auto* const steps = order.steps.data();
    const auto numSteps = order.steps.size();

    for (std::size_t i = 0; i < numSteps; ++i)
    {
        const auto& step = steps[i];
        const auto* const end = join + step.numJoins;

        for (std::size_t part = 0; part < Source::numLanes; part += L)
        {
            auto* const values = work + part * plan.valueFloatsPerFrame();
            auto* const dest = values + step.position * 2 * L;
            auto* const mirrored = values + step.mirroredPosition * 2 * L;
            Complex x[radix];
            source.load (x, m, i, step.bin, part, mirrored);
            storeButterfly (x, dest);

            if (mirrored != dest)
            {
#pragma GCC unroll 8
                for (std::size_t q = 0; q < radix; ++q)
                    x[q] = loadComplex (mirrored + q * 2 * L);

                storeButterfly (x, mirrored);
            }

            for (const auto* j = join; j < end; ++j)
            {
                const auto& pass = plan.middlePasses[j->pass];
                auto* const block = values + j->position * 2 * L;

                if (pass.radix == 8)
                    joinBlocksOfAnySpan<8> (block, pass.span, pass.twiddles.data());
                else
                    joinBlocksOfAnySpan<4> (block, pass.span, pass.twiddles.data());
            }
        }

        join = end;
    }
}

template <typename Source, typename Length>
HWY_INLINE void allButLastPass (
    float* work, const Source& source, const TransformPlan::Order& order, Length m, const TransformPlan& plan)
{
    if constexpr (std::is_same_v<Length, std::size_t>)
        if (plan.firstRadix == 4)
            return joinUpToEight<4> (work, source, order, m, plan);

    joinUpToEight<8> (work, source, order, m, plan);
}

/** The factors of a set of weights, in what is left of the work array. */
HWY_INLINE WeightFactors weightFactors (float* work, const float* weights, const TransformPlan& plan)
{
    const auto m = plan.length;
    auto* const differences = work + lanes * plan.valueFloatsPerFrame();
    auto* const sums = differences + m + lanes;

    for (std::size_t k = 0; k < m; k += L)
    {
        const auto w = hn::LoadU (tag, weights + k);
        hn::Store (hn::Mul (w, hn::LoadU (tag, plan.differences.data() + k)), tag, differences + k);
        hn::Store (hn::Mul (w, hn::LoadU (tag, plan.sums.data() + k)), tag, sums + k);
    }

    differences[m] = weights[m] * plan.differences[m];
    sums[m] = weights[m] * plan.sums[m];
    return { differences, sums };
}

//======================================================================================================
// Transposing

#if HWY_TARGET == HWY_AVX3
/** Blocks of 128 bits: those of a, then those of b. */
HWY_INLINE Floats evenBlocks (Floats a, Floats b)
{
    return Floats{ _mm512_shuffle_f32x4 (a.raw, b.raw, _MM_SHUFFLE (2, 0, 2, 0)) };
}

HWY_INLINE Floats oddBlocks (Floats a, Floats b)
{
    return Floats{ _mm512_shuffle_f32x4 (a.raw, b.raw, _MM_SHUFFLE (3, 1, 3, 1)) };
}
#endif

/** rows[i] lane j becomes rows[j] lane i. */
HWY_INLINE void transpose (Floats (&rows)[L])
{
    const hn::Repartition<double, FloatTag> dd;
    Floats columns[L]; // [c * L/4 + g]: block b holds rows 4g .. 4g + 3 of column 4b + c

#pragma GCC unroll 4
    for (std::size_t g = 0; g < L / 4; ++g)
    {
        const auto* r = rows + 4 * g;
        const auto a = hn::BitCast (dd, hn::InterleaveLower (tag, r[0], r[1]));
        const auto b = hn::BitCast (dd, hn::InterleaveUpper (tag, r[0], r[1]));
        const auto c = hn::BitCast (dd, hn::InterleaveLower (tag, r[2], r[3]));
        const auto e = hn::BitCast (dd, hn::InterleaveUpper (tag, r[2], r[3]));
        columns[g] = hn::BitCast (tag, hn::InterleaveLower (dd, a, c));
        columns[L / 4 + g] = hn::BitCast (tag, hn::InterleaveUpper (dd, a, c));
        columns[2 * L / 4 + g] = hn::BitCast (tag, hn::InterleaveLower (dd, b, e));
        columns[3 * L / 4 + g] = hn::BitCast (tag, hn::InterleaveUpper (dd, b, e));
    }

#pragma GCC unroll 4
    for (std::size_t c = 0; c < 4; ++c)
    {
        const auto* x = columns + c * L / 4;
#if HWY_TARGET == HWY_AVX3
        const auto even01 = evenBlocks (x[0], x[1]), even23 = evenBlocks (x[2], x[3]);
        const auto odd01 = oddBlocks (x[0], x[1]), odd23 = oddBlocks (x[2], x[3]);
        rows[c] = evenBlocks (even01, even23);
        rows[4 + c] = evenBlocks (odd01, odd23);
        rows[8 + c] = oddBlocks (even01, even23);
        rows[12 + c] = oddBlocks (odd01, odd23);
#elif HWY_TARGET == HWY_AVX2
        rows[c] = hn::ConcatLowerLower (tag, x[1], x[0]);
        rows[4 + c] = hn::ConcatUpperUpper (tag, x[1], x[0]);
#else
        rows[c] = x[0];
#endif
    }
}

std::uint32_t WindowFrames (float* dest, const float* const* frames, const float* window, std::size_t n)
{
    Floats bits[vectorsPerPanel]; // of all samples of a lane

#pragma GCC unroll 4
    for (auto& b : bits)
        b = hn::Zero (tag);

    for (std::size_t i = 0; i < n; i += L)
#pragma GCC unroll 4
        for (std::size_t p = 0; p < vectorsPerPanel; ++p)
        {
            Floats x[L];

#pragma GCC unroll 16
            for (std::size_t l = 0; l < L; ++l)
                x[l] = hn::LoadU (tag, frames[p * L + l] + i);

            transpose (x);

#pragma GCC unroll 16
            for (std::size_t l = 0; l < L; l += 2)
                bits[p] = hn::Or3 (bits[p], x[l], x[l + 1]);

#pragma GCC unroll 16
            for (std::size_t l = 0; l < L; ++l)
                hn::Store (hn::Mul (x[l], broadcast (window[i + l])), tag, dest + (i + l) * lanes + p * L);
        }

    HWY_ALIGN float magnitudes[lanes];
    std::uint32_t sounding = 0;

#pragma GCC unroll 4
    for (std::size_t p = 0; p < vectorsPerPanel; ++p)
        hn::Store (hn::Abs (bits[p]), tag, magnitudes + p * L);

    for (std::size_t l = 0; l < lanes; ++l)
        sounding |= (magnitudes[l] != 0.0f ? 1u : 0u) << l;

    return sounding;
}

//======================================================================================================
// Forward

/** Bins k and m - k of the real transform, from bins a and b of the complex one, which are exchanged and
    halved. */
HWY_INLINE void
splitBins (float* spectrum, Complex a, Complex b, std::size_t k, std::size_t m, const TransformPlan& plan)
{
    const auto* w = plan.splitTwiddles.data() + 2 * k;
    const auto c = broadcast (w[0]), s = broadcast (w[1]);
    // The transform of the even samples, and i times that of the odd ones but for the sign of the real part.
    const Complex even{ hn::Add (a.im, b.im), hn::Sub (a.re, b.re) };
    const Complex odd{ hn::Sub (b.im, a.im), hn::Add (a.re, b.re) };
    const Complex turned{ hn::Add (hn::Mul (c, odd.im), hn::Mul (s, odd.re)),
                          hn::Sub (hn::Mul (c, odd.re), hn::Mul (s, odd.im)) };
    auto* low = spectrum + k * 2 * lanes;
    auto* high = spectrum + (m - k) * 2 * lanes;
    hn::Store (hn::Add (even.re, turned.re), tag, low);
    hn::Store (hn::Add (even.im, turned.im), tag, low + lanes);
    hn::Store (hn::Sub (even.re, turned.re), tag, high);
    hn::Store (hn::Sub (turned.im, even.im), tag, high + lanes);
}

/** The last pass and the split, which needs bins k and m - k: those of butterflies j and m/8 - j. */
template <typename Length>
HWY_NOINLINE void splitLastPass (float* spectrum, const float* work, Length m, const TransformPlan& plan)
{
    const std::size_t span = m / 8;
    Complex x[8], y[8];
    const auto joinAt = [&] (Complex (&z)[8], std::size_t j)
    {
        const auto* const first = work + j * 2 * L;
        const auto head = loadComplex (first);
        const auto half = broadcast (0.5f);
        join (z,
              { hn::Mul (half, head.re), hn::Mul (half, head.im) },
              first,
              TransformPlan::lastStride (m),
              plan.halvedLastTwiddles.data() + j * 14);
    };
    const auto split = [&] (Complex a, Complex b, std::size_t k) { splitBins (spectrum, a, b, k, m, plan); };

    joinAt (x, 0);
    split (x[0], x[0], 0);

#pragma GCC unroll 4
    for (std::size_t q = 1; q <= 4; ++q)
        split (x[q], x[8 - q], q * span);

    for (std::size_t j = 1; j < span / 2; ++j)
    {
        joinAt (x, j);
        joinAt (y, span - j);

#pragma GCC unroll 8
        for (std::size_t q = 0; q < 8; ++q)
            split (x[q], y[7 - q], j + q * span);
    }

    joinAt (x, span / 2);

#pragma GCC unroll 4
    for (std::size_t q = 0; q < 4; ++q)
        split (x[q], x[7 - q], span / 2 + q * span);
}

void TransformForward (float* spectrum, const float* samples, float* work, const TransformPlan& plan)
{
    withLength (plan.length,
                [&] (auto m)
                {
                    allButLastPass (work, SampleSource{ samples }, plan.oneByOne, m, plan);

                    for (std::size_t part = 0; part < lanes; part += L)
                        splitLastPass (spectrum + part, work + part * plan.valueFloatsPerFrame(), m, plan);
                });
}

//======================================================================================================
// Inverse

void PrepareSpectrum (float* prepared, const float* spectrum, const TransformPlan& plan)
{
    const auto distance = plan.length / plan.firstRadix, floatsOfPart = L * plan.preparedFloatsPerFrame();

    for (const auto& step : plan.inPairs.steps)
        for (std::size_t q = 0; q < plan.firstRadix; ++q, prepared += 4 * L)
        {
            const auto k = step.bin + q * distance;
            const auto* low = spectrum + k * 2 * lanes;
            const auto* high = spectrum + (plan.length - k) * 2 * lanes;
            const auto re = broadcast (plan.differences[k]), im = broadcast (plan.sums[k]);

            for (std::size_t p = 0; p < vectorsPerPanel; ++p, low += L, high += L)
            {
                // (1 + i) exp (ih) times X[k] and the conjugate of X[m - k].
                const Complex a{ hn::Load (tag, low), hn::Load (tag, low + lanes) };
                const Complex b{ hn::Load (tag, high), hn::Load (tag, high + lanes) };
                auto* dest = prepared + p * floatsOfPart;
                storeComplex ({ hn::Sub (hn::Mul (re, a.re), hn::Mul (im, a.im)),
                                hn::Add (hn::Mul (re, a.im), hn::Mul (im, a.re)) },
                              dest);
                storeComplex ({ hn::Add (hn::Mul (re, b.re), hn::Mul (im, b.im)),
                                hn::Sub (hn::Mul (im, b.re), hn::Mul (re, b.im)) },
                              dest + 2 * L);
            }
        }
}

template <typename Length>
HWY_NOINLINE void storeLastPass (float* samples, const float* work, Length m, const TransformPlan& plan)
{
    const std::size_t span = m / 8;
    const auto* twiddles = plan.lastTwiddles.data();

    for (std::size_t j = 0; j < span; ++j, work += 2 * L, samples += 2 * lanes, twiddles += 14)
    {
        Complex x[8];
        join (x, loadComplex (work), work, TransformPlan::lastStride (m), twiddles);

#pragma GCC unroll 8
        for (std::size_t q = 0; q < 8; ++q)
        {
            hn::Store (x[q].re, tag, samples + q * span * 2 * lanes);
            hn::Store (x[q].im, tag, samples + q * span * 2 * lanes + lanes);
        }
    }
}

void TransformInverse (
    float* samples, const float* prepared, const float* weights, float* work, const TransformPlan& plan)
{
    const SpectrumSource<WeightFactors> source{ prepared, weightFactors (work, weights, plan) };

    withLength (plan.length,
                [&] (auto m)
                {
                    for (std::size_t part = 0; part < lanes; part += L)
                    {
                        allButLastPass (work, source.ofPart (part, plan), plan.inPairs, m, plan);
                        storeLastPass (samples + part, work, m, plan);
                    }
                });
}

/** Moves the lanes up by one; the lowest takes the carry. */
HWY_INLINE Floats shift (Floats x, const float* carry)
{
    const auto lowest = broadcast (*carry);
#if HWY_TARGET == HWY_AVX3
    return Floats{ _mm512_castsi512_ps (
        _mm512_alignr_epi32 (_mm512_castps_si512 (x.raw), _mm512_castps_si512 (lowest.raw), 15)) };
#elif HWY_TARGET == HWY_AVX2
    return hn::CombineShiftRightBytes<12> (tag, x, hn::ConcatLowerLower (tag, x, lowest));
#else
    return hn::CombineShiftRightBytes<12> (tag, x, lowest);
#endif
}

HWY_INLINE void storeHighestLane (Floats x, float* carry)
{
#if HWY_TARGET == HWY_AVX3
    hn::BlendedStore (x, hn::Not (hn::FirstN (tag, L - 1)), tag, carry - (L - 1));
#elif HWY_TARGET == HWY_AVX2
    // Masked stores of this instruction set take some twenty cycles on many processors.
    *carry = hn::ExtractLane (hn::UpperHalf (hn::Half<FloatTag>(), x), L / 2 - 1);
#else
    *carry = hn::ExtractLane (x, L - 1);
#endif
}

/** One sample of the hop, from the same one of the frames' four quarters. The carries lie in the order of
    their use, so that no load meets a vector on its way to memory. */
HWY_INLINE void
overlap (float* dest, Floats a, Floats b, Floats c, Floats d, Floats gains, const float* window, float* carry)
{
    const auto windowed = [&] (Floats x, std::size_t quarter)
    { return hn::Mul (gains, hn::Mul (x, broadcast (window[quarter]))); };

    const auto one = windowed (d, 3);
    const auto two = hn::Add (shift (one, carry), windowed (c, 2));
    const auto three = hn::Add (shift (two, carry + 1), windowed (b, 1));
    const auto four = hn::Add (shift (three, carry + 2), windowed (a, 0));
    hn::Store (four, tag, dest);
    storeHighestLane (one, carry);
    storeHighestLane (two, carry + 1);
    storeHighestLane (three, carry + 2);
}

/** The last pass with overlap-add. It runs over the hop from its start and from its middle at once; rows of L
    lanes gather in blocks that are transposed into the signal. */
template <typename Length>
HWY_NOINLINE void
overlapLastPass (const OverlapTarget& target, const float* work, Length m, const TransformPlan& plan)
{
    const std::size_t span = m / 8, hop = m / 2;
    const auto gains = hn::LoadU (tag, target.frameGains);
    const auto atOnce = std::min<std::size_t> (span, 8);
    const auto* twiddles = plan.lastTwiddles.data();
    const auto* window = target.window;
    auto* carry = target.carry;
    auto* signal = target.signal;
    HWY_ALIGN float rows[32 * L];

    for (std::size_t start = 0; start < span; start += atOnce)
    {
        auto* row = rows;

        for (std::size_t j = 0; j < atOnce; ++j)
        {
            Complex x[8];
            join (x, loadComplex (work), work, TransformPlan::lastStride (m), twiddles);
            auto* upper = row + atOnce * 2 * L;
            overlap (row, x[0].re, x[2].re, x[4].re, x[6].re, gains, window, carry);
            overlap (row + L, x[0].im, x[2].im, x[4].im, x[6].im, gains, window + 4, carry + 3);
            overlap (upper, x[1].re, x[3].re, x[5].re, x[7].re, gains, window + 8, carry + 6);
            overlap (upper + L, x[1].im, x[3].im, x[5].im, x[7].im, gains, window + 12, carry + 9);
            work += 2 * L;
            twiddles += 14;
            window += 16;
            carry += 12;
            row += 2 * L;
        }

        for (std::size_t i = 0; i < 4 * atOnce; i += L)
        {
            Floats x[L];

#pragma GCC unroll 16
            for (std::size_t l = 0; l < L; ++l)
                x[l] = hn::Load (tag, rows + (i + l) * L);

            transpose (x);
            auto* dest = signal + (i < 2 * atOnce ? 2 * start + i : 2 * (span + start - atOnce) + i);

#pragma GCC unroll 16
            for (std::size_t l = 0; l < L; ++l)
                hn::StoreU (x[l], tag, dest + l * hop);
        }
    }
}

template <typename Source>
HWY_INLINE void
overlapInverse (const OverlapTarget& target, const Source& source, float* work, const TransformPlan& plan)
{
    withLength (plan.length,
                [&] (auto m)
                {
                    auto targetOfPart = target;

                    for (std::size_t part = 0; part < lanes; part += L)
                    {
                        allButLastPass (work, source.ofPart (part, plan), plan.inPairs, m, plan);
                        overlapLastPass (targetOfPart, work, m, plan);
                        targetOfPart.signal += L * (m / 2);
                        targetOfPart.frameGains += L;
                    }
                });
}

void OverlapWeighted (const OverlapTarget& target,
                      const float* prepared,
                      const float* weights,
                      float* work,
                      const TransformPlan& plan)
{
    const auto factors = weightFactors (work, weights, plan);
    overlapInverse (target, SpectrumSource<WeightFactors>{ prepared, factors }, work, plan);
}

void OverlapGained (const OverlapTarget& target,
                    const float* prepared,
                    const float* gains,
                    float* work,
                    const TransformPlan& plan)
{
    const GainFactors factors{ plan.differences.data(), plan.sums.data(), gains };
    overlapInverse (target, SpectrumSource<GainFactors>{ prepared, factors }, work, plan);
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{

TESSIVAR_KERNEL (windowFrames, WindowFrames);
TESSIVAR_KERNEL (transformForward, TransformForward);
TESSIVAR_KERNEL (prepareSpectrum, PrepareSpectrum);
TESSIVAR_KERNEL (transformInverse, TransformInverse);
TESSIVAR_KERNEL (overlapWeighted, OverlapWeighted);
TESSIVAR_KERNEL (overlapGained, OverlapGained);

} // namespace tessivar::kernels
#endif
