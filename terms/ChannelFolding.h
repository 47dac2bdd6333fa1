#pragma once

#include "terms/ChannelLayout.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <span>

namespace tessivar
{

/** What the components of a rendered track are multiplied with: first its gain, then, where the first one would
    peak above 1.0, the rescaling. */
struct ComponentLevel
{
    [[nodiscard]] float applyTo (float sample) const
    {
        // Deliberately two roundings.
        return rescaling == 1.0f ? sample * gain : sample * gain * rescaling;
    }

    float gain = 1.0f, rescaling = 1.0f;
};

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
