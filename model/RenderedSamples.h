#pragma once

#include "model/TemporaryStore.h"
#include "terms/ChannelFolding.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace tessivar
{

/** The five best components of a rendered track in a temporary file: 20 bytes a sample, where the seven
    channels that they make with the source would take 28.

    Blocks of 16384 samples, the last one shorter; in each the five components one after the other, as floats.
    Behind them gain, rescaling and a number that tells a whole file. Several threads may use different ranges
    at once.
*/
class ComponentFile
{
public:
    template <typename Float>
    using Signals = std::array<Float*, channelLayout::numBestComponents>;

    /** Of a track with so many samples. */
    [[nodiscard]] static std::uint64_t sizeFor (std::int64_t lengthInSamples);

    /** The file has the size for its length. */
    explicit ComponentFile (std::shared_ptr<StoreFile> file);

    [[nodiscard]] std::int64_t lengthInSamples() const { return length; }
    [[nodiscard]] const std::shared_ptr<StoreFile>& file() const { return storeFile; }

    /** Samples start .. start + n - 1, before their gain; false when the file refuses. Null pointers are left
        out, and what was never written reads as zeros. */
    [[nodiscard]] bool write (std::int64_t start, std::size_t n, const Signals<const float>& components);

    /** Null pointers are left out. */
    [[nodiscard]] bool read (std::int64_t start, std::size_t n, const Signals<float>& components);

    [[nodiscard]] bool writeLevel (ComponentLevel level);

    /** Nothing when it was not written or can't be read. */
    [[nodiscard]] std::optional<ComponentLevel> readLevel();

private:
    const std::shared_ptr<StoreFile> storeFile;
    const std::int64_t length;
};

/** The seven channels of a rendered track, folded from its components and its source as they are read. */
class RenderedSamples final : public TrackSamples
{
public:
    /** source: one channel, as long as the components. */
    RenderedSamples (std::shared_ptr<StoreFile> components,
                     ComponentLevel level,
                     std::shared_ptr<TrackSamples> source);

    [[nodiscard]] int numChannels() const override { return channelLayout::numRendered; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return components.lengthInSamples(); }
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        return framesFromPlanes (start, dest);
    }
    [[nodiscard]] bool readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest) override;
    [[nodiscard]] juce::String lastError() const override;
    [[nodiscard]] Location location() const override { return { components.file()->path(), 0 }; }

private:
    [[nodiscard]] bool readSource (std::int64_t start, std::span<float> dest);

    ComponentFile components;
    const ComponentLevel level;
    const std::shared_ptr<TrackSamples> source;
};

} // namespace tessivar
