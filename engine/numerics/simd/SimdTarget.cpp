#include "engine/numerics/simd/SimdTarget.h"

#include "engine/numerics/simd/Kernel.h"

#include <hwy/highway.h>

#include <cstdint>

namespace tessivar
{

namespace
{
std::int64_t compiledTargets()
{
    return HWY_TARGETS;
}

std::int64_t machineTargets()
{
    hwy::SetSupportedTargetsForTest (0); // lifts an earlier restriction, to ask the machine itself
    return hwy::SupportedTargets() & compiledTargets();
}

// Highway gives better targets lower bits.
std::int64_t bestOf (std::int64_t targets)
{
    return targets & -targets;
}

std::int64_t restriction = 0;

void apply()
{
    hwy::SetSupportedTargetsForTest (restriction);
    hwy::GetChosenTarget().Update (hwy::SupportedTargets());
}
} // namespace

std::size_t kernels::chosenTarget()
{
    // Without a choice the tables have a single entry.
    constexpr auto isOnlyTarget = (HWY_TARGETS & (HWY_TARGETS - 1)) == 0;
    return isOnlyTarget ? 0 : hwy::GetChosenTarget().GetIndex();
}

std::string simdTargetName()
{
    return hwy::TargetName (bestOf (restriction != 0 ? restriction : machineTargets()));
}

std::vector<std::string> availableSimdTargets()
{
    std::vector<std::string> names;

    for (auto remaining = machineTargets(); remaining != 0; remaining &= remaining - 1)
        names.emplace_back (hwy::TargetName (bestOf (remaining)));

    apply();
    return names;
}

bool useSimdTarget (const std::string& name)
{
    std::int64_t wanted = 0;

    if (! name.empty())
    {
        for (auto remaining = machineTargets(); remaining != 0; remaining &= remaining - 1)
            if (name == hwy::TargetName (bestOf (remaining)))
                wanted = bestOf (remaining);

        if (wanted == 0)
        {
            apply();
            return false;
        }
    }

    restriction = wanted;
    apply();
    return true;
}

} // namespace tessivar
