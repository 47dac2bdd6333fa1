// Vector arithmetic that rounds alike on every instruction set. No include guard, by design: every kernel
// file includes it once per target, from inside Highway's per-target namespace.

#if defined(TESSIVAR_EXACT_ARITHMETIC_TOGGLE) == defined(HWY_TARGET_TOGGLE)
    #ifdef TESSIVAR_EXACT_ARITHMETIC_TOGGLE
        #undef TESSIVAR_EXACT_ARITHMETIC_TOGGLE
    #else
        #define TESSIVAR_EXACT_ARITHMETIC_TOGGLE
    #endif

    #include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/** Up to 16 lanes: the logical width of all kernels. */
using FloatTag = hn::CappedTag<float, 16>;
using Floats = hn::Vec<FloatTag>;

constexpr std::size_t vectorLanes = hn::MaxLanes (FloatTag());
constexpr std::size_t vectorsPerPanel = 16 / vectorLanes;

HWY_INLINE Floats broadcast (float value)
{
    return hn::Set (FloatTag(), value);
}

/** a * b + c rounded once, even where the processor has no such instruction: there by exact products in
    double precision, and with care where rounding twice could make a difference. */
HWY_INLINE Floats fusedMultiplyAdd (Floats a, Floats b, Floats c)
{
    #if HWY_TARGET == HWY_SSE2 || HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE4
    const FloatTag df;
    const hn::Repartition<double, FloatTag> dd;
    const hn::Repartition<std::uint64_t, FloatTag> du;
    const hn::Rebind<float, decltype (dd)> dh;

    const auto productOf = [&] (auto x, auto y)
    { return hn::Mul (hn::PromoteTo (dd, x), hn::PromoteTo (dd, y)); };

    const auto lowProduct = productOf (hn::LowerHalf (dh, a), hn::LowerHalf (dh, b));
    const auto highProduct = productOf (hn::UpperHalf (dh, a), hn::UpperHalf (dh, b));
    const auto lowAddend = hn::PromoteTo (dd, hn::LowerHalf (dh, c));
    const auto highAddend = hn::PromoteTo (dd, hn::UpperHalf (dh, c));
    const auto low = hn::Add (lowProduct, lowAddend), high = hn::Add (highProduct, highAddend);

    // A double half-way between two floats may itself be rounded, and subnormal floats round at another bit.
    const auto isDoubtful = [&] (auto x)
    {
        const auto bits = hn::BitCast (du, x);
        const auto tail = hn::And (bits, hn::Set (du, 0x1fffffffu));
        const auto tie = hn::Eq (tail, hn::Set (du, 0x10000000u));
        const auto tiny = hn::And (hn::Lt (hn::Abs (x), hn::Set (dd, 0x1p-125)), hn::Ne (x, hn::Zero (dd)));
        return hn::Or (tie, hn::RebindMask (du, tiny));
    };

    if (HWY_LIKELY (hn::AllFalse (du, hn::Or (isDoubtful (low), isDoubtful (high)))))
        return hn::Combine (df, hn::DemoteTo (dh, high), hn::DemoteTo (dh, low));

    // Where the sum isn't exact, its odd neighbour: that one rounds to a float as the exact sum does. (Boldo
    // and Melquiond 2008)
    const auto oddSum = [&] (auto product, auto addend, auto sum)
    {
        const auto back = hn::Sub (sum, product);
        const auto error = hn::Add (hn::Sub (product, hn::Sub (sum, back)), hn::Sub (addend, back));
        const auto isInexact = hn::RebindMask (du, hn::Gt (hn::Abs (error), hn::Zero (dd)));
        const auto isTooFar = hn::ShiftRight<63> (hn::BitCast (du, hn::Xor (error, sum)));
        const auto bits = hn::Sub (hn::BitCast (du, sum), hn::IfThenElseZero (isInexact, isTooFar));
        return hn::BitCast (dd, hn::Or (bits, hn::IfThenElseZero (isInexact, hn::Set (du, 1))));
    };

    return hn::Combine (df,
                        hn::DemoteTo (dh, oddSum (highProduct, highAddend, high)),
                        hn::DemoteTo (dh, oddSum (lowProduct, lowAddend, low)));
    #else
    return hn::MulAdd (a, b, c);
    #endif
}

/** Sums each of four panels of 16 lanes, stored one after the other, by one fixed tree: lanes 8 apart, then
    2, 1 and 4 apart. dest: four floats on a 16-byte boundary. */
HWY_INLINE void sumFourPanels (const float* HWY_RESTRICT sums, float* HWY_RESTRICT dest)
{
    const hn::CappedTag<float, 4> d;
    const hn::Repartition<double, decltype (d)> dd;

    const auto quarter = [&] (std::size_t panel, std::size_t lane)
    {
        const auto* p = sums + panel * 16 + lane;
        return hn::Add (hn::Load (d, p), hn::Load (d, p + 8));
    };

    const auto fourSums = [&] (std::size_t lane)
    {
        const auto a = quarter (0, lane), b = quarter (1, lane), c = quarter (2, lane), e = quarter (3, lane);
        const auto ab = hn::Add (hn::InterleaveLower (d, a, b), hn::InterleaveUpper (d, a, b));
        const auto ce = hn::Add (hn::InterleaveLower (d, c, e), hn::InterleaveUpper (d, c, e));
        const auto x = hn::BitCast (dd, ab), y = hn::BitCast (dd, ce);
        return hn::Add (hn::BitCast (d, hn::InterleaveLower (dd, x, y)),
                        hn::BitCast (d, hn::InterleaveUpper (dd, x, y)));
    };

    hn::Store (hn::Add (fourSums (0), fourSums (4)), d, dest);
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
