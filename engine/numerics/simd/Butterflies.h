// Butterflies of complex vectors, decimated in time: the arithmetic of the inverse transform. No include
// guard, by design: every kernel file includes it once per target, from inside Highway's per-target
// namespace.

#if defined(TESSIVAR_BUTTERFLIES_TOGGLE) == defined(HWY_TARGET_TOGGLE)
    #ifdef TESSIVAR_BUTTERFLIES_TOGGLE
        #undef TESSIVAR_BUTTERFLIES_TOGGLE
    #else
        #define TESSIVAR_BUTTERFLIES_TOGGLE
    #endif

    #include "engine/numerics/simd/ExactArithmetic.h"

    #include <cstddef>
    #include <hwy/highway.h>
    #include <numbers>

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;
constexpr std::size_t L = vectorLanes;

/** A value of L frames; in memory the real parts stand before the imaginary ones. */
struct Complex
{
    Floats re, im;
};

HWY_INLINE Complex operator+ (Complex a, Complex b)
{
    return { hn::Add (a.re, b.re), hn::Add (a.im, b.im) };
}

HWY_INLINE Complex operator- (Complex a, Complex b)
{
    return { hn::Sub (a.re, b.re), hn::Sub (a.im, b.im) };
}

/** a + i b, and a - i b. */
HWY_INLINE Complex plusI (Complex a, Complex b)
{
    return { hn::Sub (a.re, b.im), hn::Add (a.im, b.re) };
}

HWY_INLINE Complex minusI (Complex a, Complex b)
{
    return { hn::Add (a.re, b.im), hn::Sub (a.im, b.re) };
}

HWY_INLINE Complex twiddle (Complex a, const float* w)
{
    const auto re = broadcast (w[0]), im = broadcast (w[1]);
    return { hn::Sub (hn::Mul (a.re, re), hn::Mul (a.im, im)),
             hn::Add (hn::Mul (a.re, im), hn::Mul (a.im, re)) };
}

HWY_INLINE Complex loadComplex (const float* p)
{
    return { hn::Load (tag, p), hn::Load (tag, p + L) };
}

HWY_INLINE void storeComplex (Complex x, float* p)
{
    hn::Store (x.re, tag, p);
    hn::Store (x.im, tag, p + L);
}

HWY_INLINE void fourPoints (Complex& a, Complex& b, Complex& c, Complex& d)
{
    const auto s = a + c, t = a - c, u = b + d, v = b - d;
    a = s + u;
    b = plusI (t, v);
    c = s - u;
    d = minusI (t, v);
}

/** The inverse transform of four or eight values, in natural order. */
template <std::size_t radix>
HWY_INLINE void butterfly (Complex (&x)[radix])
{
    if constexpr (radix == 4)
    {
        fourPoints (x[0], x[1], x[2], x[3]);
    }
    else
    {
        fourPoints (x[0], x[2], x[4], x[6]);
        fourPoints (x[1], x[3], x[5], x[7]);
        const auto even0 = x[0], even1 = x[2], even2 = x[4], even3 = x[6];
        const auto odd0 = x[1], odd2 = x[5];
        // Times exp (i pi / 4), and exp (3 i pi / 4) but for the sign of the real part.
        const auto h = broadcast (std::numbers::sqrt2_v<float> / 2.0f);
        const Complex odd1{ hn::Mul (h, hn::Sub (x[3].re, x[3].im)),
                            hn::Mul (h, hn::Add (x[3].re, x[3].im)) };
        const Complex odd3{ hn::Mul (h, hn::Add (x[7].re, x[7].im)),
                            hn::Mul (h, hn::Sub (x[7].re, x[7].im)) };
        x[0] = even0 + odd0;
        x[1] = even1 + odd1;
        x[2] = plusI (even2, odd2);
        x[3] = { hn::Sub (even3.re, odd3.re), hn::Add (even3.im, odd3.im) };
        x[4] = even0 - odd0;
        x[5] = even1 - odd1;
        x[6] = minusI (even2, odd2);
        x[7] = { hn::Add (even3.re, odd3.re), hn::Sub (even3.im, odd3.im) };
    }
}

/** Joins the values at the same place of radix neighbouring blocks, span values apart; head is the first. */
template <std::size_t radix>
HWY_INLINE void
join (Complex (&x)[radix], Complex head, const float* first, std::size_t span, const float* twiddles)
{
    x[0] = head;

    #pragma GCC unroll 8
    for (std::size_t q = 1; q < radix; ++q)
        x[q] = twiddle (loadComplex (first + q * span * 2 * L), twiddles + (q - 1) * 2);

    butterfly (x);
}

/** Joins radix neighbouring blocks of span values into one. */
template <std::size_t radix, typename Span>
HWY_NOINLINE void joinBlocks (float* first, Span span, const float* twiddles)
{
    Complex x[radix];

    const auto store = [&]
    {
    #pragma GCC unroll 8
        for (std::size_t q = 0; q < radix; ++q)
            storeComplex (x[q], first + q * span * 2 * L);
    };

    // The first twiddles are all one.
    #pragma GCC unroll 8
    for (std::size_t q = 0; q < radix; ++q)
        x[q] = loadComplex (first + q * span * 2 * L);

    butterfly (x);
    store();

    for (std::size_t j = 1; j < span; ++j)
    {
        first += 2 * L;
        twiddles += 2 * (radix - 1);
        join (x, loadComplex (first), first, span, twiddles);
        store();
    }
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
