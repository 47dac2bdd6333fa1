#include "model/TrackSamples.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tessivar
{

bool TrackSamples::readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest)
{
    jassert (numChannels() == channelLayout::numRendered);
    std::vector<float> frames (n * channelLayout::numRendered);

    if (! readFrames (start, frames))
        return false;

    for (std::size_t c = 0; c < dest.size(); ++c)
        if (dest[c] != nullptr)
            for (std::size_t i = 0; i < n; ++i)
                dest[c][i] = frames[i * channelLayout::numRendered + c];

    return true;
}

bool TrackSamples::framesFromPlanes (std::int64_t start, std::span<float> dest)
{
    constexpr std::size_t stride = channelLayout::numRendered,
                          atATime = 4096; // frames, which the cache holds
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
    const auto stride = static_cast<std::size_t> (samples->numChannels());
    std::vector<float> frames (std::min (maxFrames, dest.size()) * stride);

    while (! dest.empty())
    {
        const auto count = std::min (maxFrames, dest.size());
        const std::span<float> piece (frames.data(), count * stride);

        if (! samples->readFrames (start, piece))
            return false;

        for (std::size_t i = 0; i < count; ++i)
            dest[i] = piece[i * stride + static_cast<std::size_t> (channel)];

        dest = dest.subspan (count);
        start += static_cast<std::int64_t> (count);
    }

    return true;
}

} // namespace tessivar
