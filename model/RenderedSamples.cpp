#include "model/RenderedSamples.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384; // samples
constexpr std::int64_t bytesOfSample = channelLayout::numBestComponents * sizeof (float);

/** What stands behind the components. */
struct Trailer
{
    static constexpr std::uint32_t wholeFile = 0x54435331;

    float gain = 0.0f, rescaling = 0.0f;
    std::uint32_t mark = 0, reserved = 0;
};

/** Calls transfer (offset in bytes, component, first sample from start, samples) for every run that lies
    together. False as soon as one fails.
*/
template <typename Transfer>
bool forEachRun (std::int64_t length, std::int64_t start, std::size_t n, const Transfer& transfer)
{
    const auto end = start + static_cast<std::int64_t> (n);

    for (auto position = start; position < end;)
    {
        const auto block = position / blockLength * blockLength;
        const auto blockEnd = std::min (block + blockLength, length);
        const auto count = std::min (blockEnd, end) - position;

        for (std::size_t c = 0; c < channelLayout::numBestComponents; ++c)
        {
            const auto sample = static_cast<std::int64_t> (c) * (blockEnd - block) + position - block;
            const auto offset = block * bytesOfSample + sample * static_cast<std::int64_t> (sizeof (float));

            if (! transfer (static_cast<std::uint64_t> (offset),
                            c,
                            static_cast<std::size_t> (position - start),
                            static_cast<std::size_t> (count)))
                return false;
        }

        position += count;
    }

    return true;
}
} // namespace

std::uint64_t ComponentFile::sizeFor (std::int64_t lengthInSamples)
{
    return static_cast<std::uint64_t> (lengthInSamples) * bytesOfSample + sizeof (Trailer);
}

ComponentFile::ComponentFile (std::shared_ptr<StoreFile> file)
    : storeFile (std::move (file)),
      length (static_cast<std::int64_t> (storeFile->sizeInBytes() - sizeof (Trailer)) / bytesOfSample)
{
    jassert (storeFile->sizeInBytes() == sizeFor (length));
}

bool ComponentFile::write (std::int64_t start, std::size_t n, const Signals<const float>& components)
{
    return forEachRun (length,
                       start,
                       n,
                       [&] (std::uint64_t offset, std::size_t c, std::size_t first, std::size_t count)
                       {
                           return components[c] == nullptr
                                  || storeFile->write (offset, components[c] + first, count * sizeof (float));
                       });
}

bool ComponentFile::read (std::int64_t start, std::size_t n, const Signals<float>& components)
{
    return forEachRun (length,
                       start,
                       n,
                       [&] (std::uint64_t offset, std::size_t c, std::size_t first, std::size_t count)
                       {
                           return components[c] == nullptr
                                  || storeFile->read (offset, components[c] + first, count * sizeof (float));
                       });
}

bool ComponentFile::writeLevel (ComponentLevel level)
{
    const Trailer trailer{ level.gain, level.rescaling, Trailer::wholeFile };
    return storeFile->write (static_cast<std::uint64_t> (length * bytesOfSample), &trailer, sizeof (trailer));
}

std::optional<ComponentLevel> ComponentFile::readLevel()
{
    Trailer trailer;

    if (! storeFile->read (static_cast<std::uint64_t> (length * bytesOfSample), &trailer, sizeof (trailer))
        || trailer.mark != Trailer::wholeFile)
        return std::nullopt;

    return ComponentLevel{ trailer.gain, trailer.rescaling };
}

RenderedSamples::RenderedSamples (std::shared_ptr<StoreFile> file,
                                  ComponentLevel levelOfComponents,
                                  std::shared_ptr<TrackSamples> trackSource)
    : components (std::move (file)), level (levelOfComponents), source (std::move (trackSource))
{
    jassert (source->numChannels() == channelLayout::numUnrendered
             && source->lengthInFrames() == components.lengthInSamples());
}

bool RenderedSamples::readPlanes (std::int64_t start, std::size_t n, const ChannelPlanes& dest)
{
    constexpr std::size_t sourceChannel = channelLayout::source;
    auto planes = dest;
    const auto room = completeForResidual (planes, n);
    ComponentFile::Signals<float> signals{};
    std::copy_n (planes.begin(), signals.size(), signals.begin());

    if ((planes[sourceChannel] != nullptr && ! readSource (start, { planes[sourceChannel], n }))
        || ! components.read (start, n, signals))
        return false;

    foldPlanes (planes, level, n);
    return true;
}

bool RenderedSamples::readSource (std::int64_t start, std::span<float> dest)
{
    if (! source->readFrames (start, dest))
        return false;

    // As the analysis took them.
    std::replace_if (
        dest.begin(), dest.end(), [] (float x) { return ! std::isfinite (x); }, 0.0f);
    return true;
}

juce::String RenderedSamples::lastError() const
{
    const auto error = components.file()->lastError();
    return error.isNotEmpty() ? error : source->lastError();
}

} // namespace tessivar
