#pragma once

#include "engine/SuppressionRendering.h"
#include "playback/PlaybackEngine.h"
#include "terms/KnobValues.h"
#include "tests/support/MemorySamples.h"

#include <juce_core/juce_core.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <numbers>
#include <span>
#include <vector>

namespace tessivar::test
{

/** Samples that follow from their position, so that a track of any length takes no memory. */
class FormulaSamples : public TrackSamples
{
public:
    FormulaSamples (int numChannelsToHave, std::int64_t lengthToHave, std::uint32_t seedToUse)
        : channels (numChannelsToHave), length (lengthToHave), seed (seedToUse)
    {
    }

    /** Noise that a wrong position, channel or track can't hit by chance; -0.25..0.25. */
    [[nodiscard]] float sample (std::int64_t position, int channel) const
    {
        auto x = static_cast<std::uint32_t> (position) * 7u + static_cast<std::uint32_t> (channel)
                 + seed * 0x9e3779b9u;
        x ^= x >> 16;
        x *= 0x7feb352du;
        x ^= x >> 15;
        x *= 0x846ca68bu;
        x ^= x >> 16;
        return (static_cast<float> (x >> 8) / 16777216.0f - 0.5f) * 0.5f;
    }

    int numChannels() const override { return channels; }
    std::int64_t lengthInFrames() const override { return length; }
    juce::String lastError() const override { return "samples: no longer there"; }
    Location location() const override { return {}; }

    bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        if (onRead && ! onRead (dest.size() * sizeof (float)))
            return false;

        const auto count = static_cast<std::int64_t> (dest.size()) / channels;

        for (std::int64_t i = 0; i < count; ++i)
            for (int c = 0; c < channels; ++c)
                dest[static_cast<std::size_t> (i * channels + c)] = sample (start + i, c);

        return true;
    }

    /** Called with the number of bytes; false makes the read fail. */
    std::function<bool (std::size_t)> onRead;

private:
    const int channels;
    const std::int64_t length;
    const std::uint32_t seed;
};

/** What an export of the samples would hold. */
inline std::vector<float>
exported (TrackSamples& samples, const KnobValues& setting, std::int64_t start, std::int64_t count)
{
    const auto channels = static_cast<std::size_t> (samples.numChannels());
    std::vector<float> result (static_cast<std::size_t> (count)), frames (result.size() * channels);
    (void) samples.readFrames (start, frames);

    if (channels == 1)
        return frames;

    renderSuppression (result, frames, SuppressionRule::forSetting (setting));
    return result;
}

inline std::vector<float> sourceOf (TrackSamples& samples, std::int64_t start, std::int64_t count)
{
    const auto channels = static_cast<std::size_t> (samples.numChannels());
    std::vector<float> result (static_cast<std::size_t> (count)), frames (result.size() * channels);
    (void) samples.readFrames (start, frames);

    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = frames[(i + 1) * channels - 1];

    return result;
}

inline PlaybackTrack track (std::uint32_t id, std::shared_ptr<TrackSamples> samples, KnobValues setting = {})
{
    PlaybackTrack result;
    result.id = id;
    result.samples = std::move (samples);
    result.mix.settingA = setting;
    return result;
}

/** An engine whose read-ahead runs when the test says so, and whose output the test asks for. */
class EngineRig
{
public:
    explicit EngineRig (const ReadAheadSettings& settings = {}) : engine (thread, settings) {}

    /** One slice of the read-ahead thread; milliseconds until the next. */
    int slice() { return thread.getClient (0)->useTimeSlice(); }

    void readAll()
    {
        while (slice() == 0)
        {
        }
    }

    /** Renders without reading: what is not there stays away. */
    std::vector<float> renderOnly (int numSamples)
    {
        std::vector<float> left (static_cast<std::size_t> (numSamples), 99.0f), right (left);
        float* outputs[] = { left.data(), right.data() };
        engine.render (outputs, 2, numSamples);
        outputsDiffer = outputsDiffer || left != right;
        return left;
    }

    /** Renders block by block, with everything read ahead before each. */
    std::vector<float> render (std::int64_t numSamples, int blockSize = 512)
    {
        std::vector<float> result;

        while (static_cast<std::int64_t> (result.size()) < numSamples)
        {
            readAll();
            const auto count =
                std::min<std::int64_t> (blockSize, numSamples - static_cast<std::int64_t> (result.size()));
            const auto block = renderOnly (static_cast<int> (count));
            result.insert (result.end(), block.begin(), block.end());
        }

        return result;
    }

    void start (const std::vector<PlaybackTrack>& tracks, double sampleRate = 48000.0)
    {
        engine.setTracks (tracks, sampleRate);
        engine.selectTrack (tracks.front().id);
        engine.prepare();
        engine.play();
    }

    juce::TimeSliceThread thread{ "never started" };
    PlaybackEngine engine;
    bool outputsDiffer = false;
};

inline std::span<const float> part (const std::vector<float>& samples, std::int64_t start, std::int64_t count)
{
    return std::span<const float> (samples).subspan (static_cast<std::size_t> (start),
                                                     static_cast<std::size_t> (count));
}

inline bool isSilent (std::span<const float> samples)
{
    return std::all_of (samples.begin(), samples.end(), [] (float x) { return x == 0.0f; });
}

inline float largestStep (std::span<const float> samples)
{
    float result = 0.0f;

    for (std::size_t i = 1; i < samples.size(); ++i)
        result = std::max (result, std::abs (samples[i] - samples[i - 1]));

    return result;
}

/** Seven channels of which each is a slow sine of its own level, so that a step in the output is a fault
    of the mixing.
*/
inline std::shared_ptr<MemorySamples> slowSines (std::int64_t length)
{
    std::vector<float> frames;

    for (std::int64_t i = 0; i < length; ++i)
        for (int c = 0; c < 7; ++c)
            frames.push_back (0.1f
                              * static_cast<float> (std::sin (2.0 * std::numbers::pi * (20.0 + 3.0 * c)
                                                              * static_cast<double> (i) / 48000.0)));

    return std::make_shared<MemorySamples> (7, std::move (frames));
}

} // namespace tessivar::test
