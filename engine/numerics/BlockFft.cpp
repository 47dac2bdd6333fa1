#include "engine/numerics/BlockFft.h"

#include "engine/numerics/simd/TransformKernels.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <mutex>
#include <vector>

namespace tessivar
{

namespace
{
/** Plans stay for the life of the process; a few lengths are in use. Never destroyed, so that the order of
    destruction at exit doesn't matter. */
const TransformPlan& planForLength (std::size_t n)
{
    static std::mutex lock; // guards the table of plans
    static auto& plans = *new std::map<std::size_t, TransformPlan>();
    const std::lock_guard guard (lock);
    return plans.try_emplace (n, n).first->second;
}
} // namespace

BlockFft::BlockFft (std::span<const float> w)
    : window (w), n (w.size()), plan (planForLength (n)), windowInOverlapOrder (windowForOverlap (w)),
      samplesInLanes (n * numFrames), prepared (plan.preparedFloatsPerFrame() * numFrames),
      work (plan.workFloats())
{
    assert (n >= 64 && (n & (n - 1)) == 0);
}

void BlockFft::load (const float* samples, std::size_t numGiven)
{
    std::array<const float*, numFrames> frames{};

    for (std::size_t l = 0; l < numGiven; ++l)
        frames[l] = samples + l * hop();

    load (frames);
}

void BlockFft::load (const std::array<const float*, numFrames>& frames)
{
    auto given = frames;
    std::replace (given.begin(), given.end(), static_cast<const float*> (nullptr), plan.silence.data());
    const auto sounding = kernels::windowFrames (samplesInLanes.data(), given.data(), window.data(), n);

    for (std::size_t l = 0; l < numFrames; ++l)
        silence[l] = (sounding >> l & 1) == 0;
}

void BlockFft::forward (float* spectrum)
{
    kernels::transformForward (spectrum, samplesInLanes.data(), work.data(), plan);
}

void BlockFft::prepare (const float* spectrum)
{
    kernels::prepareSpectrum (prepared.data(), spectrum, plan);
}

void BlockFft::inverseWeighted (float* samples, const float* weights)
{
    kernels::transformInverse (samples, prepared.data(), weights, work.data(), plan);
}

void BlockFft::overlapWeighted (float* signal,
                                OverlapCarry& carry,
                                const float* weights,
                                const float* frameGains)
{
    kernels::overlapWeighted ({ signal, carry.data(), windowInOverlapOrder.data(), frameGains },
                              prepared.data(),
                              weights,
                              work.data(),
                              plan);
}

void BlockFft::overlapGained (float* signal, OverlapCarry& carry, const float* gains, const float* frameGains)
{
    kernels::overlapGained ({ signal, carry.data(), windowInOverlapOrder.data(), frameGains },
                            prepared.data(),
                            gains,
                            work.data(),
                            plan);
}

} // namespace tessivar
