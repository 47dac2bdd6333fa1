#include "engine/numerics/simd/PackingKernels.h"

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

void PackPowers (std::uint16_t* HWY_RESTRICT codes,
                 const float* HWY_RESTRICT powers,
                 const float* HWY_RESTRICT others,
                 float share,
                 std::size_t n)
{
    const hn::RebindToSigned<FloatTag> ti;
    const hn::Rebind<std::uint16_t, FloatTag> tagOfCodes;
    const auto half = hn::Set (ti, 1 << (droppedBits - 1)), lowest = hn::Set (ti, lowestCode);
    // Half is added below; this keeps the sum from reaching the sign.
    const auto largest = hn::Set (ti, 0x7f800000);
    const auto factor = broadcast (share);

    for (std::size_t i = 0; i < n; i += vectorLanes)
    {
        const auto sum = hn::Add (hn::LoadU (tag, powers + i), hn::Mul (factor, hn::LoadU (tag, others + i)));
        // Without its sign, which a NaN may carry.
        const auto bits = hn::Min (hn::BitCast (ti, hn::Abs (sum)), largest);
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

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (packPowers, PackPowers);
TESSIVAR_KERNEL (unpackPowers, UnpackPowers);
TESSIVAR_KERNEL (splitFloats, SplitFloats);
TESSIVAR_KERNEL (joinFloats, JoinFloats);
} // namespace tessivar::kernels
#endif
