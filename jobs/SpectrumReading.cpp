#include "jobs/SpectrumReading.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr std::int64_t mostWindows = 8; // of a column
constexpr auto numBands = SpectrumGrid::numBands;

void silenceWhatIsNotFinite (std::span<float> samples)
{
    std::replace_if (
        samples.begin(), samples.end(), [] (float x) { return ! std::isfinite (x); }, 0.0f);
}
} // namespace

SpectrumReading::SpectrumReading (double sampleRate)
    : grid (sampleRate), columns (sampleRate), levels (windowsAtOnce * numBands)
{
}

bool SpectrumReading::read (TrackSamples& samples,
                            const std::optional<ChannelWeights>& weights,
                            SpectrumTile& tile,
                            const std::function<bool()>& shouldStop)
{
    const auto isRendered = samples.numChannels() == channelLayout::numRendered;
    const auto keptWeights = isRendered ? weights : std::nullopt;
    const auto needsSource = tile.source.empty();
    const auto length = static_cast<std::int64_t> (columns.windowLength());
    const auto hop = grid.hop (tile.place.level);
    const auto windowsPerColumn = std::clamp<std::int64_t> (2 * hop / length, 1, mostWindows);
    const auto spacing = hop / windowsPerColumn;
    const auto numWindows = SpectrumGrid::columnsPerTile * windowsPerColumn;
    const auto first = tile.place.index * SpectrumGrid::columnsPerTile * hop + (spacing - length) / 2;

    if (needsSource)
        tile.source.assign (SpectrumTile::size, 0);

    tile.kept.assign (keptWeights ? SpectrumTile::size : 0, 0);
    tile.weights = keptWeights.value_or (ChannelWeights{});

    const auto isTogether = spacing <= length; // windows that overlap are read as one stretch
    const auto room = isTogether ? static_cast<std::size_t> ((windowsAtOnce - 1) * spacing + length)
                                 : windowsAtOnce * static_cast<std::size_t> (length);
    source.resize (room);
    kept.resize (keptWeights ? room : 0);

    const auto store =
        [&] (const std::vector<float>& signal, std::int64_t firstWindow, std::vector<std::uint8_t>& bytes)
    {
        std::array<const float*, windowsAtOnce> windows{};

        for (std::size_t w = 0; w < windowsAtOnce; ++w)
            windows[w] = signal.data() + w * static_cast<std::size_t> (isTogether ? spacing : length);

        columns.compute (windows, levels);

        for (std::size_t w = 0; w < windowsAtOnce; w += static_cast<std::size_t> (windowsPerColumn))
        {
            const auto* const own = levels.data() + w * numBands;
            auto* const column =
                bytes.data()
                + static_cast<std::size_t> ((firstWindow + static_cast<std::int64_t> (w)) / windowsPerColumn)
                      * numBands;

            for (std::size_t band = 0; band < numBands; ++band)
            {
                auto level = own[band];

                if (windowsPerColumn > 1)
                {
                    auto sum = 0.0;

                    for (std::size_t k = 0; k < static_cast<std::size_t> (windowsPerColumn); ++k)
                        sum += math::power (10.0, static_cast<double> (own[k * numBands + band]) / 10.0);

                    level = static_cast<float> (10.0
                                                * math::log10 (sum / static_cast<double> (windowsPerColumn)));
                }

                column[band] = SpectrumTile::byteOf (level);
            }
        }
    };

    for (std::int64_t window = 0; window < numWindows; window += windowsAtOnce)
    {
        if (shouldStop())
            return false;

        const auto start = first + window * spacing;

        // The rest of the tile is silent.
        if (start >= samples.lengthInFrames())
            break;

        if (isTogether)
            readSignals (samples, keptWeights, start, room, 0);
        else
            for (std::size_t w = 0; w < windowsAtOnce; ++w)
                readSignals (samples,
                             keptWeights,
                             start + static_cast<std::int64_t> (w) * spacing,
                             static_cast<std::size_t> (length),
                             w * static_cast<std::size_t> (length));

        if (needsSource)
            store (source, window, tile.source);

        if (keptWeights)
            store (kept, window, tile.kept);
    }

    return true;
}

void SpectrumReading::readSignals (TrackSamples& samples,
                                   const std::optional<ChannelWeights>& weights,
                                   std::int64_t start,
                                   std::size_t count,
                                   std::size_t at)
{
    const std::span<float> own (source.data() + at, count);
    const std::span<float> ownKept (weights ? kept.data() + at : nullptr, weights ? count : 0);
    std::fill (own.begin(), own.end(), 0.0f);
    std::fill (ownKept.begin(), ownKept.end(), 0.0f);

    const auto from = std::clamp<std::int64_t> (start, 0, samples.lengthInFrames());
    const auto end =
        std::clamp<std::int64_t> (start + static_cast<std::int64_t> (count), from, samples.lengthInFrames());
    const auto n = static_cast<std::size_t> (end - from);
    const auto offset = static_cast<std::size_t> (from - start);

    if (n == 0)
        return;

    const auto signal = own.subspan (offset, n);

    if (samples.numChannels() != channelLayout::numRendered)
    {
        if (! samples.readFrames (from, signal))
            std::fill (signal.begin(), signal.end(), 0.0f);

        return silenceWhatIsNotFinite (signal);
    }

    // Only the channels that are heard are read.
    constexpr std::size_t numChannels = channelLayout::numRendered;
    planes.resize (numChannels * n);
    ChannelPlanes wanted{};
    wanted[channelLayout::source] = signal.data();

    if (weights)
        for (std::size_t c = 0; c < channelLayout::numParts; ++c)
            if ((*weights)[c] != 0.0f)
                wanted[c] = planes.data() + c * n;

    if (! samples.readPlanes (from, n, wanted))
        return std::fill (signal.begin(), signal.end(), 0.0f);

    silenceWhatIsNotFinite (signal);

    if (! weights)
        return;

    const auto result = ownKept.subspan (offset, n);

    for (std::size_t c = 0; c < numChannels; ++c)
        if ((*weights)[c] != 0.0f)
            for (std::size_t i = 0; i < n; ++i)
                result[i] += (*weights)[c] * wanted[c][i];

    silenceWhatIsNotFinite (result);
}

} // namespace tessivar
