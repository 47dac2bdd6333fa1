#pragma once

#include "engine/refinement/SilentFrames.h"
#include "engine/refinement/TwinMicrophones.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** Frames are compared with the third before them, so that means of three frames don't overlap. */
constexpr std::size_t riseFrames = 3;

/** How much the power rises up to frame t; negative where it falls, 0 in the first frames. */
[[nodiscard]] inline float riseAt (const float* power, std::size_t t)
{
    return t < riseFrames ? 0.0f : power[t] - power[t - riseFrames];
}

/** How far another microphone's power at frame t exceeds steadyFactor times what it was before, as a fraction
    of the drum's own rise, which is positive. */
[[nodiscard]] inline float riseRatio (const float* own, const float* other, std::size_t t, float steadyFactor)
{
    return std::max (0.0f, other[t] - steadyFactor * other[t - riseFrames])
           / std::max (riseAt (own, t), 1.0e-20f);
}

/** When a drum's hit counts as heard in another microphone: it rises there too. In each bin a quantile of the
    other microphone's rises at the drum's onsets, as fractions of the drum's own, bounds its gain there. */
struct RiseRule
{
    float steadyFactor = 1.5f; // what sounds already may waver by this much without counting
    float tolerance = 2.0f;    // the gain may be this much larger than the rises
    double quantile = 0.5;     // of the rises, 0..1
};

/** A rule for every pair of M microphones: entry i * M + j is for what drum j leaves in microphone i.

    The less a microphone hears of the others on the whole, the more a rise has to prove: where next to
    nothing leaks, a drum's own ring under other hits must not be taken for leakage. Where microphones hear
    each other well, a bin in which hits drown in what rings on proves nothing, and a low quantile would leave
    their leakage in.

    @param totals  for each microphone the power of whole frames, means of three
    @param silent  frames that say nothing about a microphone
*/
[[nodiscard]] std::vector<RiseRule> riseRules (std::span<const std::vector<float>> totals,
                                               const TwinMicrophones& twins,
                                               const SilentFrames& silent);

} // namespace tessivar
