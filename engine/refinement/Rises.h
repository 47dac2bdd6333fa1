#pragma once

#include <algorithm>
#include <cstddef>

namespace tessivar
{

/** A hit that is heard in another microphone is a rise there too. Frames are compared with the third before them, so that means of
    three frames don't overlap.
*/
constexpr std::size_t riseFrames = 3;

/** How much the power rises up to frame t: 0 where there is nothing to compare with, negative where it falls. */
[[nodiscard]] inline float riseAt (const float* power, std::size_t t)
{
    return t < riseFrames ? 0.0f : power[t] - power[t - riseFrames];
}

/** What another microphone's power rises by at frame t, beyond steadyFactor times what was there before, in parts of the drum's own
    rise, which is positive.
*/
[[nodiscard]] inline float riseRatio (const float* own, const float* other, std::size_t t, float steadyFactor)
{
    return std::max (0.0f, other[t] - steadyFactor * other[t - riseFrames])
           / std::max (riseAt (own, t), 1.0e-20f);
}

} // namespace tessivar
