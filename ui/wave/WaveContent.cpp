#include "ui/wave/WaveContent.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

WaveSampleRange waveColumnSamples (std::int64_t column, double samplesPerColumn) noexcept
{
    const auto from =
        static_cast<std::int64_t> (std::floor (static_cast<double> (column) * samplesPerColumn));
    const auto to =
        static_cast<std::int64_t> (std::ceil (static_cast<double> (column + 1) * samplesPerColumn));
    return { from, std::max (to, from + 1) };
}

WaveColumnBuilder::WaveColumnBuilder (std::int64_t first, double spacing, int numColumns)
    : firstColumn (first), samplesPerColumn (spacing), result (static_cast<std::size_t> (numColumns)),
      touched (static_cast<std::size_t> (numColumns))
{
}

void WaveColumnBuilder::add (std::int64_t first, std::span<const float> samples)
{
    const auto end = first + static_cast<std::int64_t> (samples.size());
    // Start one column before the quotient: neighbours may share a sample.
    const auto column =
        static_cast<std::int64_t> (static_cast<double> (first) / samplesPerColumn) - 1 - firstColumn;
    for (auto i = static_cast<std::size_t> (std::max<std::int64_t> (column, 0)); i < result.size(); ++i)
    {
        const auto wanted = waveColumnSamples (firstColumn + static_cast<std::int64_t> (i), samplesPerColumn);
        if (wanted.from >= end)
            return;
        for (auto at = std::max (wanted.from, first); at < std::min (wanted.to, end); ++at)
        {
            const auto raw = samples[static_cast<std::size_t> (at - first)];
            const auto value = std::isfinite (raw) ? raw : 0.0f;
            result[i].low = touched[i] ? std::min (result[i].low, value) : value;
            result[i].high = touched[i] ? std::max (result[i].high, value) : value;
            touched[i] = true;
        }
    }
}

void WaveContent::Layer::moveTo (std::int64_t offset, std::size_t size)
{
    Layer moved;
    moved.isAskedFor = true;
    moved.columns.resize (size);
    moved.isExact.resize (size);
    for (std::size_t i = 0; i < size; ++i)
    {
        const auto from = offset + static_cast<std::int64_t> (i);
        if (from >= 0 && from < static_cast<std::int64_t> (columns.size()))
        {
            moved.columns[i] = columns[static_cast<std::size_t> (from)];
            moved.isExact[i] = isExact[static_cast<std::size_t> (from)];
        }
    }
    *this = std::move (moved);
}

void WaveContent::Layer::clear()
{
    *this = {};
}

bool WaveContent::Layer::isWhole() const
{
    return std::find (isExact.begin(), isExact.end(), false) == isExact.end();
}

bool WaveContent::Layer::take (std::int64_t offset, const std::vector<EnvelopeColumn>& answer)
{
    const auto end = offset + static_cast<std::int64_t> (answer.size());
    if (offset < 0 || end > static_cast<std::int64_t> (columns.size()))
        return false;
    std::copy (answer.begin(), answer.end(), columns.begin() + offset);
    std::fill (isExact.begin() + offset, isExact.begin() + end, true);
    return true;
}

void WaveContent::Layer::copyTo (std::int64_t offset, std::span<EnvelopeColumn> destination) const
{
    for (std::size_t i = 0; i < destination.size(); ++i)
    {
        const auto at = offset + static_cast<std::int64_t> (i);
        if (at >= 0 && at < static_cast<std::int64_t> (columns.size())
            && isExact[static_cast<std::size_t> (at)])
            destination[i] = columns[static_cast<std::size_t> (at)];
    }
}

void WaveContent::setTrack (WaveTrack newTrack)
{
    // Another name, type or level of the same signals leaves their columns valid.
    const auto isSameSignal = newTrack.source == shown.source && newTrack.energies == shown.energies
                              && newTrack.lengthInSamples == shown.lengthInSamples;
    shown = std::move (newTrack);
    if (isSameSignal && shown.source != nullptr)
        return;
    processed = nullptr;
    exactSource.clear();
    exactProcessed.clear();
    request = { request.serial + 1 };
}

void WaveContent::setWeights (const ChannelWeights& newWeights)
{
    if (channelWeights == newWeights)
        return;
    channelWeights = newWeights;
    processed = nullptr;
    exactProcessed.clear();
}

void WaveContent::read (std::int64_t firstColumn,
                        double samplesPerColumn,
                        std::span<EnvelopeColumn> sourceColumns,
                        std::span<EnvelopeColumn> processedColumns) const
{
    if (shown.source == nullptr)
    {
        std::fill (sourceColumns.begin(), sourceColumns.end(), EnvelopeColumn{});
        std::fill (processedColumns.begin(), processedColumns.end(), EnvelopeColumn{});
        return;
    }

    const auto start = static_cast<double> (firstColumn) * samplesPerColumn;
    const auto end = static_cast<double> (firstColumn + static_cast<std::int64_t> (sourceColumns.size()))
                     * samplesPerColumn;
    const auto isSameGrid = request.samplesPerColumn == samplesPerColumn;
    const auto offset = firstColumn - request.firstColumn;
    const auto isNarrow = samplesPerColumn < coarsestExactSource;

    shown.source->query (start, end, sourceColumns);
    if (isSameGrid)
        exactSource.copyTo (offset, sourceColumns);
    if (! isAnalysed())
        return;

    if (processed != nullptr && ! isNarrow)
        processed->query (start, end, processedColumns);
    else if (! isNarrow)
        shown.energies->estimate (*shown.source, channelWeights, start, end, processedColumns);
    else
        // Where a block is wider than a column, the drawn source gives the shape, exact or not.
        for (std::size_t i = 0; i < processedColumns.size(); ++i)
        {
            const auto middle = start + (static_cast<double> (i) + 0.5) * samplesPerColumn;
            const auto gain = shown.energies->keptGain (middle, channelWeights);
            processedColumns[i] = { sourceColumns[i].low * gain, sourceColumns[i].high * gain };
        }
    if (isSameGrid)
        exactProcessed.copyTo (offset, processedColumns);
}

bool WaveContent::covers (
    std::int64_t firstColumn, double samplesPerColumn, int numColumns, bool source, bool needsProcessed) const
{
    return request.samplesPerColumn == samplesPerColumn && firstColumn >= request.firstColumn
           && firstColumn + numColumns <= request.firstColumn + request.numColumns
           && (! source || exactSource.isAskedFor) && (! needsProcessed || exactProcessed.isAskedFor);
}

std::optional<WaveEnvelopeRequest>
WaveContent::requestFor (std::int64_t firstColumn, double samplesPerColumn, int numColumns)
{
    const auto isNarrow = samplesPerColumn < coarsestExactSource;
    const auto wantsProcessed = isAnalysed() && (isNarrow || processed == nullptr);
    const auto columnsOfTrack = static_cast<std::int64_t> (
        std::ceil (static_cast<double> (shown.lengthInSamples) / samplesPerColumn));
    const auto first = std::max<std::int64_t> (firstColumn, 0);
    const auto visible =
        static_cast<int> (std::min<std::int64_t> (firstColumn + numColumns, columnsOfTrack) - first);
    if (shown.source == nullptr || visible <= 0 || ! (isNarrow || wantsProcessed)
        || covers (first, samplesPerColumn, visible, isNarrow, wantsProcessed))
        return std::nullopt;

    const auto margin = visible / 2;
    const auto from = std::max<std::int64_t> (first - margin, 0);
    const auto to = std::min<std::int64_t> (first + visible + margin, columnsOfTrack);
    const auto size = static_cast<std::size_t> (to - from);
    const auto lay = [&] (Layer& layer, bool isWanted)
    {
        if (! isWanted || request.samplesPerColumn != samplesPerColumn)
            layer.clear();
        if (isWanted)
            layer.moveTo (from - request.firstColumn, size);
        return isWanted && ! layer.isWhole();
    };
    const auto asksForSource = lay (exactSource, isNarrow);
    const auto asksForProcessed = lay (exactProcessed, wantsProcessed);
    request = { request.serial + 1,      from,          samplesPerColumn,
                static_cast<int> (size), asksForSource, asksForProcessed };
    if (! asksForSource && ! asksForProcessed)
        return std::nullopt;
    return request;
}

bool WaveContent::takeExact (const WaveExactEnvelope& answer)
{
    if (answer.serial != request.serial)
        return false;
    const auto offset = answer.firstColumn - request.firstColumn;
    const auto hasSource = ! answer.source.empty() && exactSource.take (offset, answer.source);
    const auto hasProcessed = ! answer.processed.empty() && exactProcessed.take (offset, answer.processed);
    return hasSource || hasProcessed;
}

} // namespace tessivar
