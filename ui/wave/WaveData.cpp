#include "ui/wave/WaveData.h"

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

} // namespace tessivar
