#pragma once

#include "engine/SampleStorage.h"
#include "model/TemporaryStore.h"
#include "model/TrackSamples.h"

#include <cstdint>
#include <memory>
#include <span>

namespace tessivar
{

/** Float samples in a StoreFile, addressed by sample instead of by byte. */
[[nodiscard]] bool writeSamples (StoreFile& file, std::int64_t firstSample, std::span<const float> samples);
[[nodiscard]] bool readSamples (StoreFile& file, std::int64_t firstSample, std::span<float> dest);

/** A track's source as the engine reads it: silence before its start and past its end. */
class TrackSource final : public SampleSource
{
public:
    explicit TrackSource (std::shared_ptr<TrackSamples> signal) : samples (std::move (signal)) {}

    [[nodiscard]] std::int64_t lengthInSamples() const override { return samples->lengthInFrames(); }
    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const { return samples->lastError(); }

private:
    std::shared_ptr<TrackSamples> samples; // one channel
};

/** A StoreFile cut into planes of equal length, one after the other. */
class StorePlanes final : public ScratchPlanes
{
public:
    StorePlanes (std::shared_ptr<StoreFile> planes, std::int64_t planeLength)
        : file (std::move (planes)), length (planeLength)
    {
    }

    [[nodiscard]] bool write (int plane, std::int64_t start, std::span<const float> samples) override;
    [[nodiscard]] bool read (int plane, std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const { return file->lastError(); }

private:
    std::shared_ptr<StoreFile> file;
    std::int64_t length;
};

/** A StoreFile of seven interleaved channels, to write and to read back. */
class StoreSink final : public RenderedTrackSink, public RenderedTrackSource
{
public:
    explicit StoreSink (std::shared_ptr<StoreFile> frames) : file (std::move (frames)) {}

    [[nodiscard]] bool writeFrames (std::int64_t start, std::span<const float> frames) override;
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> frames) override;
    [[nodiscard]] juce::String lastError() const { return file->lastError(); }

private:
    std::shared_ptr<StoreFile> file;
};

} // namespace tessivar
