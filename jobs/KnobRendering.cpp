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
        return framesFromPlanes (start, dest);
    }

    [[nodiscard]] bool readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest) override
    {
        auto planes = dest;
        const auto room = completeForResidual (planes, n);

        if (auto* const own = planes[channelLayout::source]; own != nullptr)
        {
            if (! source.read (start, { own, n }))
                return false;

            replaceNonFinite ({ own, n });
        }

        for (std::size_t c = 1; c < channelLayout::numBestComponents; ++c)
            if (planes[c] != nullptr)
                std::fill_n (planes[c], n, 0.0f);

        if (planes[0] != nullptr && ! readSamples (*file, start, { planes[0], n }))
            return false;

        if (auto* const residual = planes[channelLayout::residual]; residual != nullptr)
        {
            std::fill_n (residual, n, 0.0f);

            if (isSumThere && ! readSamples (*file, length + start, { residual, n }))
                return false;

            for (std::size_t i = 0; i < n; ++i)
                residual[i] = planes[channelLayout::source][i] - residual[i];
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

    if (auto* const plane = planes[channelLayout::source]; plane != nullptr)
    {
        if (! source.read (start, { plane, n }))
            return false;

        replaceNonFinite ({ plane, n });
    }

    if (! reader.read (start, n, components))
        return false;

    foldPlanes (planes, level, n);
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
        for (std::size_t i = 0; i < n && component != nullptr; ++i)
            samples[i] += component[i];

    return writeSamples (*file, length + start, samples);
}

std::shared_ptr<TrackSamples> MixSink::withSource (std::shared_ptr<TrackSamples> source) const
{
    return std::make_shared<MixedSamples> (file, part.hasResidual(), length, std::move (source));
}

} // namespace tessivar
