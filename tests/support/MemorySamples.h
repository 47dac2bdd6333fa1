#pragma once

#include "model/TrackSamples.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tessivar::test
{

/** Frames in memory, interleaved. */
class MemorySamples final : public TrackSamples
{
public:
    MemorySamples (int numChannels, std::vector<float> samples)
        : frames (std::move (samples)), channels (numChannels)
    {
    }

    [[nodiscard]] int numChannels() const override { return channels; }
    [[nodiscard]] std::int64_t lengthInFrames() const override
    {
        return static_cast<std::int64_t> (frames.size()) / channels;
    }
    [[nodiscard]] juce::String lastError() const override { return fails ? "samples: no longer there" : ""; }
    [[nodiscard]] Location location() const override { return {}; }

    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        const auto from = static_cast<std::size_t> (start * channels);

        if (fails || from > frames.size() || dest.size() > frames.size() - from)
            return false;

        std::copy_n (frames.begin() + static_cast<std::ptrdiff_t> (from), dest.size(), dest.begin());
        return true;
    }

    bool fails = false;

private:
    const std::vector<float> frames;
    const int channels;
};

} // namespace tessivar::test
