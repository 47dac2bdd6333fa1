#pragma once

#include "engine/SampleStorage.h"
#include "model/RenderedSamples.h"
#include "model/TemporaryStore.h"
#include "model/TrackSamples.h"
#include "platform/Memory.h"

#include <algorithm>
#include <cstddef>
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

/** The components of a rendered track in a file of the store. */
class StoreComponents final : public ComponentSink, public ComponentSource
{
public:
    explicit StoreComponents (std::shared_ptr<StoreFile> components) : file (std::move (components)) {}

    [[nodiscard]] bool
    write (std::int64_t start, std::size_t n, const ComponentSink::Signals& components) override
    {
        return file.write (start, n, components);
    }

    [[nodiscard]] bool
    read (std::int64_t start, std::size_t n, const ComponentSource::Signals& components) override
    {
        return file.read (start, n, components);
    }

    [[nodiscard]] std::int64_t lengthInSamples() const override { return file.lengthInSamples(); }

    [[nodiscard]] bool finish (ComponentLevel finalLevel) override
    {
        level = finalLevel;
        return file.writeLevel (level);
    }

    /** The seven channels that they make with the source. */
    [[nodiscard]] std::shared_ptr<TrackSamples> withSource (std::shared_ptr<TrackSamples> source) const
    {
        return std::make_shared<RenderedSamples> (file.file(), level, std::move (source));
    }

    [[nodiscard]] const std::shared_ptr<StoreFile>& storeFile() const { return file.file(); }

private:
    ComponentFile file;
    ComponentLevel level;
};

} // namespace tessivar
