#include "jobs/KnobRendering.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
[[nodiscard]] bool readFinite (TrackSource& source, std::int64_t start, std::span<float> dest)
{
    if (! source.read (start, dest))
        return false;

    replaceNonFinite (dest);
    return true;
}

/** A mix, or the source in its place. */
class MixedSamples final : public TrackSamples
{
public:
    MixedSamples (std::shared_ptr<StoreFile> mixFile, std::shared_ptr<TrackSamples> trackSource)
        : file (std::move (mixFile)), samples (std::move (trackSource)), source (samples)
    {
    }

    [[nodiscard]] int numChannels() const override { return channelLayout::numRendered; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return samples->lengthInFrames(); }

    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        return framesFromPlanes (start, dest);
    }

    [[nodiscard]] bool readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest) override
    {
        for (std::size_t c = 1; c < channelLayout::numParts; ++c)
            if (dest[c] != nullptr)
                std::fill_n (dest[c], n, 0.0f);

        auto* const own = dest[channelLayout::source];
        auto* const mix = dest[0];

        if (own != nullptr && ! readFinite (source, start, { own, n }))
            return false;

        if (mix == nullptr)
            return true;

        return file != nullptr ? readSamples (*file, start, { mix, n })
                               : readFinite (source, start, { mix, n });
    }

    [[nodiscard]] juce::String lastError() const override
    {
        const auto error = file != nullptr ? file->lastError() : juce::String();
        return error.isNotEmpty() ? error : source.lastError();
    }

    [[nodiscard]] Location location() const override
    {
        return file != nullptr ? Location{ file->path(), 0 } : samples->location();
    }

private:
    const std::shared_ptr<StoreFile> file;
    const std::shared_ptr<TrackSamples> samples;
    TrackSource source;
};
} // namespace

std::size_t SoundingPart::numComponents() const
{
    std::size_t count = channelLayout::numBestComponents;

    if (! hasResidual())
        while (count > 1 && weights[count - 1] == 0.0f)
            --count;

    return count;
}

bool SoundingPart::isWhole() const
{
    return std::all_of (weights.begin(), weights.end(), [] (float weight) { return weight == 1.0f; });
}

void SoundingPart::mix (std::span<float> dest, const ComponentSink::Signals& components) const
{
    std::fill (dest.begin(), dest.end(), 0.0f);

    for (std::size_t c = 0; c < numComponents(); ++c)
        if (components[c] != nullptr)
            for (std::size_t i = 0; i < dest.size(); ++i)
                dest[i] += weights[c] * components[c][i];
}

FactoredSamples::FactoredSamples (std::shared_ptr<const Factorization> factors,
                                  const ComponentReader::Track& track,
                                  ComponentLevel levelOfComponents,
                                  SoundingPart soundingPart,
                                  std::shared_ptr<TrackSamples> trackSource)
    : samples (std::move (trackSource)), source (samples), reader (std::move (factors), track, source),
      level (levelOfComponents), part (soundingPart)
{
}

bool FactoredSamples::readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest)
{
    auto planes = dest;

    // What nobody hears is silence.
    const auto silence = [n] (float*& plane)
    {
        if (plane != nullptr)
            std::fill_n (std::exchange (plane, nullptr), n, 0.0f);
    };

    for (auto c = part.numComponents(); c < channelLayout::numBestComponents; ++c)
        silence (planes[c]);

    if (! part.hasResidual())
        silence (planes[channelLayout::residual]);

    const auto room = completeForResidual (planes, n);
    ComponentSource::Signals components{};
    std::copy_n (planes.begin(), components.size(), components.begin());

    if (auto* const plane = planes[channelLayout::source];
        plane != nullptr && ! readFinite (source, start, { plane, n }))
        return false;

    if (! reader.read (start, n, components))
        return false;

    foldPlanes (planes, level, n);
    return true;
}

std::uint64_t MixSink::bytesFor (SoundingPart part, std::int64_t lengthInSamples)
{
    return part.isWhole() ? 0 : static_cast<std::uint64_t> (lengthInSamples) * sizeof (float);
}

MixSink::MixSink (std::shared_ptr<StoreFile> mixFile,
                  SoundingPart soundingPart,
                  std::shared_ptr<TrackSamples> trackSource)
    : file (std::move (mixFile)), part (soundingPart), samples (std::move (trackSource)), source (samples)
{
    jassert ((file == nullptr ? 0 : file->sizeInBytes()) == bytesFor (part, samples->lengthInFrames()));
}

bool MixSink::write (std::int64_t start, std::size_t n, const Signals& components)
{
    if (file == nullptr)
        return true;

    std::vector<float> mixed (n);
    part.mix (mixed, components);

    if (part.hasResidual())
    {
        std::vector<float> sum (n), whole (n);

        if (! readFinite (source, start, whole))
            return false;

        for (const auto* component : components)
            for (std::size_t i = 0; i < n && component != nullptr; ++i)
                sum[i] += component[i];

        for (std::size_t i = 0; i < n; ++i)
            mixed[i] += part.residualWeight() * (whole[i] - sum[i]);
    }

    return writeSamples (*file, start, mixed);
}

juce::String MixSink::lastError() const
{
    return file != nullptr ? file->lastError() : juce::String();
}

std::shared_ptr<TrackSamples> MixSink::channels() const
{
    return std::make_shared<MixedSamples> (file, samples);
}

} // namespace tessivar
