#pragma once

#include "terms/ChannelFolding.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tessivar
{

/** Audio of a track that lies on disk: frames of interleaved 32-bit floats, full scale 1.0.

    Reads may come from several threads at once.
*/
class TrackSamples
{
public:
    virtual ~TrackSamples() = default;

    [[nodiscard]] virtual int numChannels() const = 0;
    [[nodiscard]] virtual std::int64_t lengthInFrames() const = 0;

    /** Fills dest, whose size is a multiple of numChannels(), with the frames from start on; the range lies
        inside. Returns false when they can't be read; lastError() then says why.
    */
    [[nodiscard]] virtual bool readFrames (std::int64_t start, std::span<float> dest) = 0;

    /** n frames of a rendered track from start on, channel by channel; null pointers are left out. */
    [[nodiscard]] virtual bool readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest);

    /** File and reason of the last failed read; empty when none failed. */
    [[nodiscard]] virtual juce::String lastError() const = 0;

    /** Where the samples lie, for a note of it that outlives the process. */
    struct Location
    {
        juce::File file;
        std::uint64_t offset = 0; // of the first frame, in bytes
    };

    [[nodiscard]] virtual Location location() const = 0;

protected:
    /** readFrames() of a rendered track that has readPlanes(). */
    [[nodiscard]] bool framesFromPlanes (std::int64_t start, std::span<float> dest);
};

/** One channel of other samples. */
class ChannelOfSamples final : public TrackSamples
{
public:
    ChannelOfSamples (std::shared_ptr<TrackSamples> samples, int channelToShow);

    [[nodiscard]] int numChannels() const override { return 1; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return samples->lengthInFrames(); }
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const override { return samples->lastError(); }
    [[nodiscard]] Location location() const override { return samples->location(); }

private:
    const std::shared_ptr<TrackSamples> samples;
    const int channel;
};

} // namespace tessivar
