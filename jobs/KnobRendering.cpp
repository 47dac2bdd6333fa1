#include "jobs/KnobRendering.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
/** A mix and, where the residual sounds, the sum of the components. */
class MixedSamples final : public TrackSamples
{
public:
    MixedSamples (std::shared_ptr<StoreFile> mixFile,
                  bool hasSum,
                  std::int64_t lengthInSamples,
                  std::shared_ptr<TrackSamples> trackSource)
        : file (std::move (mixFile)), isSumThere (hasSum), length (lengthInSamples),
          source (std::move (trackSource))
    {
    }

    [[nodiscard]] int numChannels() const override { return channelLayout::numRendered; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return length; }

    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        const auto n = dest.size() / channelLayout::numRendered;
        std::vector<float> own (n), mix (n), sum (n);

        if (! source.read (start, own) || ! readSamples (*file, start, mix)
            || (isSumThere && ! readSamples (*file, length + start, sum)))
            return false;

        replaceNonFinite (own);
        std::fill (dest.begin(), dest.end(), 0.0f);
        auto* frame = dest.data();

        for (std::size_t i = 0; i < n; ++i, frame += channelLayout::numRendered)
        {
            frame[0] = mix[i];
            frame[channelLayout::residual] = own[i] - sum[i];
            frame[channelLayout::source] = own[i];
        }

        return true;
    }

    [[nodiscard]] juce::String lastError() const override
    {
        const auto error = file->lastError();
        return error.isNotEmpty() ? error : source.lastError();
    }

    [[nodiscard]] Location location() const override { return { file->path(), 0 }; }

private:
    const std::shared_ptr<StoreFile> file;
    const bool isSumThere;
    const std::int64_t length;
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

void SoundingPart::mix (std::span<float> dest, const ComponentSink::Signals& components) const
{
    std::fill (dest.begin(), dest.end(), 0.0f);

    for (std::size_t c = 0; c < numComponents(); ++c)
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

bool FactoredSamples::readFrames (std::int64_t start, std::span<float> dest)
{
    const auto n = dest.size() / channelLayout::numRendered;
    std::vector<float> own (n), signals (n * channelLayout::numBestComponents);
    ComponentSource::Signals wanted{};
    ComponentSink::Signals components{};

    // What doesn't sound stays silent.
    for (std::size_t c = 0; c < components.size(); ++c)
        components[c] = signals.data() + c * n;

    for (std::size_t c = 0; c < part.numComponents(); ++c)
        wanted[c] = signals.data() + c * n;

    if (! source.read (start, own) || ! reader.read (start, n, wanted))
        return false;

    replaceNonFinite (own);
    foldChannels (dest, components, level, own);
    return true;
}

std::uint64_t MixSink::bytesFor (SoundingPart part, std::int64_t lengthInSamples)
{
    return static_cast<std::uint64_t> (lengthInSamples) * sizeof (float) * (part.hasResidual() ? 2 : 1);
}

MixSink::MixSink (std::shared_ptr<StoreFile> mixFile, SoundingPart soundingPart, std::int64_t lengthInSamples)
    : file (std::move (mixFile)), part (soundingPart), length (lengthInSamples)
{
    jassert (file->sizeInBytes() == bytesFor (part, length));
}

bool MixSink::write (std::int64_t start, std::size_t n, const Signals& components)
{
    std::vector<float> samples (n);
    part.mix (samples, components);

    if (! writeSamples (*file, start, samples))
        return false;

    if (! part.hasResidual())
        return true;

    std::fill (samples.begin(), samples.end(), 0.0f);

    for (const auto* component : components)
        for (std::size_t i = 0; i < n; ++i)
            samples[i] += component[i];

    return writeSamples (*file, length + start, samples);
}

std::shared_ptr<TrackSamples> MixSink::withSource (std::shared_ptr<TrackSamples> source) const
{
    return std::make_shared<MixedSamples> (file, part.hasResidual(), length, std::move (source));
}

} // namespace tessivar
