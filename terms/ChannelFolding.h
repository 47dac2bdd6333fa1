#pragma once

#include "terms/ChannelLayout.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <span>
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

/** The rule of foldChannels for planes, in place: planes 0..4 hold components before their gain and the last
    one the source, n samples each. What is null stays away; the residual needs all others.
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

/** Folds the five best components, before their gain, and the source into interleaved seven-channel frames:
    channel 5 becomes the source minus the sum of the five (taken in ascending order), so that channels 0..5
    rebuild the source. frames holds 7 * source.size() floats. */
inline void foldChannels (std::span<float> frames,
                          const std::array<const float*, channelLayout::numBestComponents>& best,
                          ComponentLevel level,
                          std::span<const float> source)
{
    assert (frames.size() == channelLayout::numRendered * source.size());
    auto* frame = frames.data();

    for (std::size_t i = 0; i < source.size(); ++i)
    {
        float sum = 0.0f;

        for (std::size_t c = 0; c < best.size(); ++c)
        {
            frame[c] = level.applyTo (best[c][i]);
            sum += frame[c];
        }

        frame[channelLayout::residual] = source[i] - sum;
        frame[channelLayout::source] = source[i];
        frame += channelLayout::numRendered;
    }
}

} // namespace tessivar
