#pragma once

#include "model/TemporaryStore.h"
#include "model/TrackSamples.h"

#include <memory>

namespace tessivar
{

/** A track's samples in a file of the temporary store, from its first byte to its last. */
class StoreSamples final : public TrackSamples
{
public:
    StoreSamples (std::shared_ptr<StoreFile> file, int numChannels);

    [[nodiscard]] int numChannels() const override { return channels; }
    [[nodiscard]] std::int64_t lengthInFrames() const override;
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const override { return file->lastError(); }
    [[nodiscard]] Location location() const override;

private:
    [[nodiscard]] std::uint64_t bytesPerFrame() const
    {
        return static_cast<std::uint64_t> (channels) * sizeof (float);
    }

    const std::shared_ptr<StoreFile> file;
    const int channels;
};

} // namespace tessivar
