#include "jobs/ExportSignals.h"

#include "engine/SuppressionRendering.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
/** Sums a value of every index in eight sums side by side, which run in vectors. */
template <typename Value>
double sumOf (std::size_t count, const Value& value)
{
    constexpr std::size_t numSums = 8;
    std::array<double, numSums> sums{};
    std::size_t i = 0;

    for (; i + numSums <= count; i += numSums)
        for (std::size_t lane = 0; lane < numSums; ++lane)
            sums[lane] += value (i + lane);

    for (; i < count; ++i)
        sums[0] += value (i);

    return std::accumulate (sums.begin(), sums.end(), 0.0);
}

double energyOf (std::span<const float> samples)
{
    return kernels::sumOfSquares (samples.data(), samples.size());
}

juce::Result lostAudio (const TrackState& track, const std::shared_ptr<TrackSamples>& samples)
{
    const auto path = track.sourceInfo.file.getFullPathName();
    return juce::Result::fail (
        "the audio of " + (path.isNotEmpty() ? path : track.name) + " can't be read: "
        + (samples != nullptr ? samples->lastError() : juce::String ("it was never kept")));
}

/** Samples of one channel as they are, from firstSample on. */
class PlainSignal final : public ExportSignal
{
public:
    PlainSignal (const TrackState& trackToWrite,
                 std::shared_ptr<TrackSamples> channel,
                 std::int64_t firstSample)
        : track (trackToWrite), samples (std::move (channel)), first (firstSample)
    {
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        if (samples == nullptr || ! samples->readFrames (first + start, dest))
            return lostAudio (track, samples);

        levels.output += energyOf (dest);
        levels.source = levels.output;
        return juce::Result::ok();
    }

private:
    const TrackState& track;
    std::shared_ptr<TrackSamples> samples;
    std::int64_t first;
};

/** Seven channels, weighted by the track's sounding knobs. */
class RenderedSignal final : public ExportSignal
{
public:
    explicit RenderedSignal (const TrackState& trackToWrite)
        : track (trackToWrite), rule (SuppressionRule::forSetting (trackToWrite.soundingKnobs()))
    {
        const auto keepsAll = std::all_of (rule.channelWeight.begin(),
                                           rule.channelWeight.end(),
                                           [] (float weight) { return weight == 1.0f; });

        // Rounding keeps the sum of the channels from being exactly the source.
        isSource = keepsAll || rule.back == 1.0f;
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        const auto n = dest.size();
        room.resize (channelLayout::numRendered * n);
        ChannelPlanes channels{};

        // What has no weight is not read.
        for (std::size_t c = 0; c < channels.size(); ++c)
            if (c == channelLayout::source || (! isSource && rule.channelWeight[c] != 0.0f))
                channels[c] = room.data() + c * n;

        if (track.rendered == nullptr || ! track.rendered->readPlanes (start, n, channels))
            return lostAudio (track, track.rendered);

        const std::span<const float> source (channels[channelLayout::source], n);

        if (isSource)
            std::copy (source.begin(), source.end(), dest.begin());
        else
            renderSuppression (dest, channels, rule);

        levels.source += energyOf (source);
        levels.removed += sumOf (n,
                                 [&] (std::size_t i)
                                 {
                                     const auto removed =
                                         static_cast<double> (source[i]) - static_cast<double> (dest[i]);
                                     return removed * removed;
                                 });
        levels.output += energyOf (dest);

        // Summed in another order, the same samples would look as if something had been removed.
        if (isSource)
            levels.source = levels.output;

        return juce::Result::ok();
    }

private:
    const TrackState& track;
    const SuppressionRule rule;
    std::vector<float> room; // of the channels
    bool isSource = false;
};
} // namespace

std::unique_ptr<ExportSignal> signalOf (const TrackState& track)
{
    if (track.hasProcessedOutput())
        return std::make_unique<RenderedSignal> (track);

    return plainSignal (track, track.source, 0);
}

std::unique_ptr<ExportSignal>
plainSignal (const TrackState& track, std::shared_ptr<TrackSamples> channel, std::int64_t firstSample)
{
    return std::make_unique<PlainSignal> (track, std::move (channel), firstSample);
}

} // namespace tessivar
