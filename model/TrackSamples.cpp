#include "model/TrackSamples.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::size_t stride = channelLayout::numRendered;
constexpr std::size_t atATime = 4096; // frames of a rendered track, which the second-level cache holds
} // namespace

bool TrackSamples::readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest)
{
    jassert (numChannels() == channelLayout::numRendered);
    const auto frames = std::make_unique_for_overwrite<float[]> (stride * std::min (n, atATime));

    for (std::size_t first = 0; first < n; first += atATime)
    {
        const auto count = std::min (atATime, n - first);

        if (! readFrames (start + static_cast<std::int64_t> (first), { frames.get(), stride * count }))
            return false;

        for (std::size_t c = 0; c < stride; ++c)
            if (auto* const plane = dest[c]; plane != nullptr)
                for (std::size_t i = 0; i < count; ++i)
                    plane[first + i] = frames[i * stride + c];
    }

    return true;
}

bool TrackSamples::framesFromPlanes (std::int64_t start, std::span<float> dest)
{
    const auto numFrames = dest.size() / stride;
    std::vector<float> signals (stride * std::min (numFrames, atATime));

    for (std::size_t first = 0; first < numFrames; first += atATime)
    {
        const auto n = std::min (atATime, numFrames - first);
        ChannelPlanes planes{};

        for (std::size_t c = 0; c < stride; ++c)
            planes[c] = signals.data() + c * n;

        if (! readPlanes (start + static_cast<std::int64_t> (first), n, planes))
            return false;

        auto* frame = dest.data() + first * stride;

        for (std::size_t i = 0; i < n; ++i, frame += stride)
            for (std::size_t c = 0; c < stride; ++c)
                frame[c] = planes[c][i];
    }

    return true;
}

ChannelOfSamples::ChannelOfSamples (std::shared_ptr<TrackSamples> samplesToUse, int channelToShow)
    : samples (std::move (samplesToUse)), channel (channelToShow)
{
    jassert (channel >= 0 && channel < samples->numChannels());
}

bool ChannelOfSamples::readFrames (std::int64_t start, std::span<float> dest)
{
    constexpr std::size_t maxFrames = 16384;
    const auto numChannels = static_cast<std::size_t> (samples->numChannels());
    std::vector<float> frames (std::min (maxFrames, dest.size()) * numChannels);

    while (! dest.empty())
    {
        const auto count = std::min (maxFrames, dest.size());
        const std::span<float> piece (frames.data(), count * numChannels);

        if (! samples->readFrames (start, piece))
            return false;

        for (std::size_t i = 0; i < count; ++i)
            dest[i] = piece[i * numChannels + static_cast<std::size_t> (channel)];

        dest = dest.subspan (count);
        start += static_cast<std::int64_t> (count);
    }

    return true;
}

} // namespace tessivar
