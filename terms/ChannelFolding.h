#pragma once

#include "terms/ChannelLayout.h"

#include <array>
#include <cstddef>
#include <vector>

namespace tessivar
{

/** What the components of a rendered track are multiplied with: first its gain, then, where the first one
    would peak above 1.0, the rescaling.
*/
struct ComponentLevel
{
    [[nodiscard]] float applyTo (float sample) const
    {
        // Deliberately two roundings.
        return rescaling == 1.0f ? sample * gain : sample * gain * rescaling;
    }

    float gain = 1.0f, rescaling = 1.0f;
};

/** Channels of a rendered track one by one; null: not there. */
using ChannelPlanes = std::array<float*, channelLayout::numRendered>;

/** Gives planes to all channels when the residual is wanted, which needs them, and returns their room. */
[[nodiscard]] inline std::vector<float> completeForResidual (ChannelPlanes& planes, std::size_t n)
{
    std::vector<float> room (planes[channelLayout::residual] != nullptr ? planes.size() * n : 0);

    if (! room.empty())
        for (std::size_t c = 0; c < planes.size(); ++c)
            if (planes[c] == nullptr)
                planes[c] = room.data() + c * n;

    return room;
}

/** Makes channels of components, in place: planes 0..4 hold the five best before their gain, and the last one
    the source, n samples each. The residual becomes the source minus the sum of the five (taken in ascending
    order), so that channels 0..5 rebuild the source; it needs all others. What is null stays away.
*/
inline void foldPlanes (const ChannelPlanes& planes, ComponentLevel level, std::size_t n)
{
    for (std::size_t c = 0; c < channelLayout::numBestComponents; ++c)
        if (auto* const plane = planes[c]; plane != nullptr)
            for (std::size_t i = 0; i < n; ++i)
                plane[i] = level.applyTo (plane[i]);

    auto* const residual = planes[channelLayout::residual];

    if (residual == nullptr)
        return;

    for (std::size_t i = 0; i < n; ++i)
        residual[i] = 0.0f;

    for (std::size_t c = 0; c < channelLayout::numBestComponents; ++c)
        for (std::size_t i = 0; i < n; ++i)
            residual[i] += planes[c][i];

    for (std::size_t i = 0; i < n; ++i)
        residual[i] = planes[channelLayout::source][i] - residual[i];
}

} // namespace tessivar
