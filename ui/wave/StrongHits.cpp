#include "ui/wave/StrongHits.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

struct Stroke
{
    std::size_t onset = 0; // base block in which the rise begins
    float peak = 0.0f;
};

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

std::vector<Stroke> findStrokes (const std::vector<float>& peaks, double sampleRate)
{
    const auto blocksIn = [sampleRate] (double seconds)
    {
        return std::max<std::size_t> (
            1, static_cast<std::size_t> (std::lround (seconds * sampleRate / EnvelopePyramid::baseBlock)));
    };
    const auto before = blocksIn (0.015);
    const auto around = blocksIn (0.05);

    std::vector<Stroke> strokes;
    for (std::size_t i = 0; i < peaks.size(); ++i)
    {
        const auto height = peaks[i];
        // -60 dB: below that is hiss, whose blocks easily double.
        if (height < 0.001f)
            continue;

        const auto at = [&] (std::size_t index)
        { return peaks.begin() + static_cast<std::ptrdiff_t> (index); };
        const auto from = i > around ? i - around : 0;
        const auto to = std::min (peaks.size(), i + around + 1);
        if (std::any_of (at (from), at (i), [height] (float p) { return p >= height; })
            || std::any_of (at (i + 1), at (to), [height] (float p) { return p > height; }))
            continue;

        auto onset = i;
        while (onset > from && peaks[onset - 1] > height * 0.5f)
            --onset;
        const auto quiet = onset > before ? onset - before : 0;
        if (onset > 0 && (onset == from || *std::min_element (at (quiet), at (onset)) > height * 0.5f))
            continue;
        strokes.push_back ({ onset, height });
    }
    return strokes;
}

float strongThreshold (const std::vector<Stroke>& strokes)
{
    std::vector<float> heights;
    for (const auto& stroke : strokes)
        heights.push_back (stroke.peak);
    const auto used = std::min<std::size_t> (heights.size(), 8);
    std::partial_sort (heights.begin(),
                       heights.begin() + static_cast<std::ptrdiff_t> (used),
                       heights.end(),
                       std::greater<>());
    return used == 0 ? 0.0f : heights[used / 2] / 3.0f;
}

/** Two times closer than this are one: a playhead on a hit stands on a whole sample. */
constexpr double sameTime = 0.001; // s

} // namespace

std::vector<double> findStrongHits (const EnvelopePyramid& source,
                                    const ChannelEnergyPyramid* processed,
                                    const ChannelWeights& weights,
                                    double sampleRate)
{
    const auto strokes = findStrokes (blockPeaks (source, processed, weights), sampleRate);
    const auto threshold = strongThreshold (strokes);
    std::vector<double> hits;
    for (const auto& stroke : strokes)
        if (stroke.peak >= threshold)
            hits.push_back (static_cast<double> (stroke.onset * EnvelopePyramid::baseBlock) / sampleRate);
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
