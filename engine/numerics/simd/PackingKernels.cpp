#include "engine/numerics/simd/PackingKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/PackingKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;
constexpr int droppedBits = 14; // of a float's mantissa
/** The code of 2^-74, subtracted from all codes. */
constexpr std::int32_t lowestCode = (127 - 74) << (23 - droppedBits);

void PackPowers (std::uint16_t* codes, const float* powers, std::size_t n)
{
    const hn::RebindToSigned<FloatTag> ti;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfCodes;
    const auto half = hn::Set (ti, 1 << (droppedBits - 1)), lowest = hn::Set (ti, lowestCode);
    // Half is added below; this keeps the sum from reaching the sign.
    const auto largest = hn::Set (ti, 0x7f800000);

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto bits = hn::Min (hn::BitCast (ti, hn::LoadU (tag, powers + i)), largest);
        const auto code = hn::Sub (hn::ShiftRight<droppedBits> (hn::Add (bits, half)), lowest);
        hn::StoreU (hn::DemoteTo (tagOfCodes, code), tagOfCodes, codes + i); // saturates at both ends
    }
}

void UnpackPowers (float* powers, const std::uint16_t* codes, std::size_t n)
{
    const hn::RebindToSigned<FloatTag> ti;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfCodes;
    const auto lowest = hn::Set (ti, lowestCode), zero = hn::Zero (ti);

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto code = hn::PromoteTo (ti, hn::LoadU (tagOfCodes, codes + i));
        const auto bits = hn::ShiftLeft<droppedBits> (hn::Add (code, lowest));
        hn::StoreU (hn::BitCast (tag, hn::IfThenElseZero (hn::Gt (code, zero), bits)), tag, powers + i);
    }
}

void SplitFloats (std::uint16_t* HWY_RESTRICT upper,
                  std::uint16_t* HWY_RESTRICT lower,
                  const float* HWY_RESTRICT values,
                  std::size_t n)
{
    const hn::RebindToUnsigned<FloatTag> du;
    const hn::RebindToSigned<FloatTag> ti;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfCodes;
    const auto lowest = hn::Set (du, 0xffffu);

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto bits = hn::BitCast (du, hn::LoadU (tag, values + i));
        hn::StoreU (
            hn::DemoteTo (tagOfCodes, hn::BitCast (ti, hn::ShiftRight<16> (bits))), tagOfCodes, upper + i);
        hn::StoreU (
            hn::DemoteTo (tagOfCodes, hn::BitCast (ti, hn::And (bits, lowest))), tagOfCodes, lower + i);
    }
}

void JoinFloats (float* HWY_RESTRICT values,
                 const std::uint16_t* HWY_RESTRICT upper,
                 const std::uint16_t* HWY_RESTRICT lower,
                 std::size_t n)
{
    const hn::RebindToUnsigned<FloatTag> du;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfCodes;

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto high = hn::PromoteTo (du, hn::LoadU (tagOfCodes, upper + i));
        const auto low = hn::PromoteTo (du, hn::LoadU (tagOfCodes, lower + i));
        hn::StoreU (hn::BitCast (tag, hn::Or (hn::ShiftLeft<16> (high), low)), tag, values + i);
    }
}

/** Eight rows of eight codes. */
HWY_INLINE void transposeEight (std::uint16_t* HWY_RESTRICT dest,
                                std::size_t destStride,
                                const std::uint16_t* HWY_RESTRICT source,
                                std::size_t sourceStride)
{
    const hn::CappedTag<std::uint16_t, 8> d;
    const hn::Repartition<std::uint32_t, decltype (d)> d32;
    const hn::Repartition<std::uint64_t, decltype (d)> d64;
    using Row = hn::Vec<decltype (d)>;
    Row rows[8], pairs[8], fours[8];

    const auto lower = [] (auto t, Row a, Row b)
    { return hn::BitCast (decltype (d)(), hn::InterleaveLower (t, hn::BitCast (t, a), hn::BitCast (t, b))); };
    const auto upper = [] (auto t, Row a, Row b)
    { return hn::BitCast (decltype (d)(), hn::InterleaveUpper (t, hn::BitCast (t, a), hn::BitCast (t, b))); };

#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i)
        rows[i] = hn::LoadU (d, source + i * sourceStride);

#pragma GCC unroll 4
    for (std::size_t i = 0; i < 4; ++i)
    {
        pairs[2 * i] = lower (d, rows[2 * i], rows[2 * i + 1]);
        pairs[2 * i + 1] = upper (d, rows[2 * i], rows[2 * i + 1]);
    }

#pragma GCC unroll 2
    for (std::size_t i = 0; i < 2; ++i)
#pragma GCC unroll 2
        for (std::size_t j = 0; j < 2; ++j)
        {
            fours[4 * i + 2 * j] = lower (d32, pairs[4 * i + j], pairs[4 * i + 2 + j]);
            fours[4 * i + 2 * j + 1] = upper (d32, pairs[4 * i + j], pairs[4 * i + 2 + j]);
        }

#pragma GCC unroll 4
    for (std::size_t i = 0; i < 4; ++i)
    {
        hn::StoreU (lower (d64, fours[i], fours[4 + i]), d, dest + 2 * i * destStride);
        hn::StoreU (upper (d64, fours[i], fours[4 + i]), d, dest + (2 * i + 1) * destStride);
    }
}

void TransposeCodes (std::uint16_t* dest,
                     std::size_t destStride,
                     const std::uint16_t* source,
                     std::size_t sourceStride,
                     std::size_t rows,
                     std::size_t columns)
{
    constexpr std::size_t line = 32; // codes in a cache line

    for (std::size_t c0 = 0; c0 < columns; c0 += line)
        for (std::size_t r = 0; r < rows; r += 8)
            for (auto c = c0; c < std::min (c0 + line, columns); c += 8)
                transposeEight (
                    dest + c * destStride + r, destStride, source + r * sourceStride + c, sourceStride);
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (packPowers, PackPowers);
TESSIVAR_KERNEL (unpackPowers, UnpackPowers);
TESSIVAR_KERNEL (splitFloats, SplitFloats);
TESSIVAR_KERNEL (joinFloats, JoinFloats);
TESSIVAR_KERNEL (transposeCodes, TransposeCodes);
} // namespace tessivar::kernels
#endif
