#pragma once

#include "engine/ComponentReader.h"
#include "engine/SampleStorage.h"
#include "engine/SuppressionRendering.h"
#include "jobs/StoreSignals.h"
#include "model/TrackSamples.h"
#include "terms/ChannelFolding.h"
#include "terms/KnobValues.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** The part of a rendered track that one setting of the knobs sounds. Who knows the setting needs no more of
    it: the channels below give, bit by bit, what all seven would give under the setting's rule, and something
    else under any other.
*/
class SoundingPart
{
public:
    explicit SoundingPart (KnobValues knobs) : weights (SuppressionRule::forSetting (knobs).channelWeight) {}

    /** Best components that sound, from the first on: 1..5. */
    [[nodiscard]] std::size_t numComponents() const;

    /** Whether the residual sounds, for which all five are needed. */
    [[nodiscard]] bool hasResidual() const { return residualWeight() != 0.0f; }

    /** Whether everything sounds: the source as it is. */
    [[nodiscard]] bool isWhole() const;

    [[nodiscard]] float residualWeight() const { return weights[channelLayout::residual]; }

    /** dest = the sounding components under their weights, summed in ascending order. */
    void mix (std::span<float> dest, const ComponentSink::Signals& components) const;

private:
    std::array<float, channelLayout::numParts> weights;
};

/** Channels of a track whose components are rendered as they are read: takes no room. */
class FactoredSamples final : public TrackSamples
{
public:
    FactoredSamples (std::shared_ptr<const Factorization> factors,
                     const ComponentReader::Track& track,
                     ComponentLevel level,
                     SoundingPart part,
                     std::shared_ptr<TrackSamples> source);

    [[nodiscard]] int numChannels() const override { return channelLayout::numRendered; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return reader.lengthInSamples(); }
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        return framesFromPlanes (start, dest);
    }
    [[nodiscard]] bool readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest) override;
    [[nodiscard]] juce::String lastError() const override { return source.lastError(); }
    [[nodiscard]] Location location() const override { return samples->location(); }

private:
    const std::shared_ptr<TrackSamples> samples;
    TrackSource source;
    ComponentReader reader;
    const ComponentLevel level;
    const SoundingPart part;
};

/** Takes a track's components and keeps only what sounds of them and the residual: 4 bytes a sample, and none
    where the track stays as it is.
*/
class MixSink final : public ComponentSink
{
public:
    [[nodiscard]] static std::uint64_t bytesFor (SoundingPart part, std::int64_t lengthInSamples);

    /** file: of that size, null where that is 0. Components come at their true level. */
    MixSink (std::shared_ptr<StoreFile> file, SoundingPart part, std::shared_ptr<TrackSamples> source);

    [[nodiscard]] std::size_t numWanted() const override { return part.numComponents(); }
    [[nodiscard]] bool write (std::int64_t start, std::size_t n, const Signals& components) override;
    [[nodiscard]] bool finish (ComponentLevel) override { return true; }

    [[nodiscard]] juce::String lastError() const;

    /** Channels that hold the mix in place of the first component; the others are silent. */
    [[nodiscard]] std::shared_ptr<TrackSamples> channels() const;

private:
    const std::shared_ptr<StoreFile> file;
    const SoundingPart part;
    const std::shared_ptr<TrackSamples> samples;
    TrackSource source;
};

} // namespace tessivar
