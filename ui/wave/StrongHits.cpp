#include "ui/wave/StrongHits.h"

#include "terms/HitFinding.h"

#include <algorithm>

namespace tessivar
{

namespace
{

std::vector<float> blockPeaks (const EnvelopePyramid& source,
                               const ChannelEnergyPyramid* processed,
                               const ChannelWeights& weights)
{
    const auto length = source.readySamples();
    const auto count =
        static_cast<std::size_t> ((length + EnvelopePyramid::baseBlock - 1) / EnvelopePyramid::baseBlock);
    const auto end = static_cast<double> (count) * EnvelopePyramid::baseBlock;
    std::vector<EnvelopeColumn> columns (count);
    if (count == 0)
        return {};
    if (processed == nullptr)
        source.query (0.0, end, columns);
    else
        processed->estimate (source, weights, 0.0, end, columns);

    std::vector<float> peaks (count);
    std::transform (
        columns.begin(), columns.end(), peaks.begin(), [] (const auto& column) { return column.peak(); });
    return peaks;
}

/** Two times closer than this are one: a playhead on a hit stands on a whole sample. */
constexpr double sameTime = 0.001; // s

} // namespace

std::vector<double> findStrongHits (const EnvelopePyramid& source,
                                    const ChannelEnergyPyramid* processed,
                                    const ChannelWeights& weights,
                                    double sampleRate)
{
    std::vector<double> hits;

    for (const auto block :
         findHitBlocks (blockPeaks (source, processed, weights), sampleRate / EnvelopePyramid::baseBlock))
        hits.push_back (static_cast<double> (block * EnvelopePyramid::baseBlock) / sampleRate);

    return hits;
}

WaveRange rangeBetweenHits (std::span<const double> hits, double seconds, double lengthSeconds)
{
    const auto next = std::upper_bound (hits.begin(), hits.end(), seconds);
    return { next == hits.begin() ? 0.0 : *std::prev (next), next == hits.end() ? lengthSeconds : *next };
}

std::optional<double> hitBeside (std::span<const double> hits, double seconds, int step)
{
    if (step > 0)
    {
        const auto next = std::upper_bound (hits.begin(), hits.end(), seconds + sameTime);
        return next != hits.end() ? std::make_optional (*next) : std::nullopt;
    }

    const auto next = std::lower_bound (hits.begin(), hits.end(), seconds - sameTime);
    return next != hits.begin() ? std::make_optional (*std::prev (next)) : std::nullopt;
}

WaveRange extendedToHit (std::span<const double> hits,
                         std::optional<WaveRange> selection,
                         double seconds,
                         int step,
                         double lengthSeconds)
{
    const auto isInside =
        selection.has_value() && seconds > selection->start - sameTime && seconds < selection->end - sameTime;
    if (! isInside)
        return rangeBetweenHits (hits, step > 0 ? seconds + sameTime : seconds - sameTime, lengthSeconds);
    if (step > 0)
        return { selection->start, hitBeside (hits, selection->end, step).value_or (lengthSeconds) };
    return { hitBeside (hits, selection->start, step).value_or (0.0), selection->end };
}

} // namespace tessivar
