#include "engine/SpectrumColumns.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

namespace
{
std::vector<float> hannWindow (std::size_t length)
{
    std::vector<float> window (length);

    for (std::size_t i = 0; i < window.size(); ++i)
        window[i] = static_cast<float> (0.5 - 0.5 * math::cosOfTurn (i, window.size()));

    return window;
}
} // namespace

SpectrumColumns::SpectrumColumns (double sampleRate)
    : grid (sampleRate), window (hannWindow (grid.windowLength())), fft (window),
      spectrum (fft.spectrumFloats())
{
    const auto binWidth = sampleRate / static_cast<double> (fft.length());
    auto energy = 0.0;

    for (const auto weight : window)
        energy += static_cast<double> (weight) * static_cast<double> (weight);

    // By Parseval's theorem the bins of a sine at full scale add up to this.
    const auto fullScale = static_cast<double> (fft.length()) * energy / 4.0;

    for (std::size_t band = 0; band < numBands; ++band)
    {
        // Triangles from neighbour to neighbour; where those are closer than bins, between the bins at both
        // sides.
        const auto at = static_cast<double> (band);
        const auto centre = frequencyOf (at) / binWidth;
        const auto reachDown = std::max (1.0, centre - frequencyOf (at - 1.0) / binWidth);
        const auto reachUp = std::max (1.0, frequencyOf (at + 1.0) / binWidth - centre);
        const auto first = static_cast<std::size_t> (std::max (0.0, std::floor (centre - reachDown) + 1.0));
        const auto last =
            std::min (fft.numBins() - 1, static_cast<std::size_t> (std::ceil (centre + reachUp) - 1.0));

        firstBin.push_back (first);
        auto& bandWeights = weights.emplace_back();

        for (auto bin = first; bin <= last; ++bin)
        {
            const auto distance = static_cast<double> (bin) - centre;
            const auto weight = 1.0 - (distance < 0.0 ? -distance / reachDown : distance / reachUp);
            bandWeights.push_back (static_cast<float> (weight / fullScale));
        }
    }
}

void SpectrumColumns::compute (std::span<const float* const> windows, std::span<float> levels)
{
    constexpr auto lanes = BlockFft::numFrames;

    for (std::size_t first = 0; first < windows.size(); first += lanes)
    {
        const auto count = std::min (lanes, windows.size() - first);
        std::array<const float*, lanes> frames{};
        std::copy_n (windows.begin() + static_cast<std::ptrdiff_t> (first), count, frames.begin());

        fft.load (frames);
        fft.forward (spectrum.data());

        for (std::size_t band = 0; band < numBands; ++band)
        {
            std::array<float, lanes> power{};

            for (std::size_t k = 0; k < weights[band].size(); ++k)
            {
                const auto* const bin = spectrum.data() + (firstBin[band] + k) * 2 * lanes;

                for (std::size_t l = 0; l < lanes; ++l)
                    power[l] += weights[band][k] * (bin[l] * bin[l] + bin[lanes + l] * bin[lanes + l]);
            }

            for (std::size_t l = 0; l < count; ++l)
                levels[(first + l) * numBands + band] = std::max (
                    floorDb,
                    static_cast<float> (10.0 * math::log10 (static_cast<double> (power[l] + 1e-30f))));
        }
    }
}

} // namespace tessivar
