#include "engine/DataFileGenerator.h"

#include "engine/AnalysisData.h"
#include "engine/numerics/RandomStream.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <set>

namespace tessivar
{

namespace dataFiles
{
namespace
{
constexpr auto pi = std::numbers::pi_v<long double>;

long double melOf (long double hertz)
{
    return 2595.0L * std::log10 (1.0L + hertz / 700.0L);
}

long double hertzOf (long double mel)
{
    return 700.0L * (std::pow (10.0L, mel / 2595.0L) - 1.0L);
}
} // namespace

std::vector<float> sineBellWindow (int frameLength)
{
    std::vector<float> window (static_cast<std::size_t> (frameLength));

    for (std::size_t n = 0; n < window.size(); ++n)
        window[n] = static_cast<float> (0.5 * math::sinOfTurn (2 * n + 1, 4 * window.size()));

    return window;
}

std::vector<float> melFilterBank (const RateParameters& rate)
{
    constexpr int numBands = method::numMelBands;
    const auto binWidth = static_cast<long double> (rate.sampleRate) / rate.frameLength;
    const auto nyquistMel = melOf (0.5L * rate.sampleRate);
    std::vector<long double> centres (numBands); // in bins

    for (std::size_t m = 0; m < numBands; ++m)
        centres[m] = hertzOf (nyquistMel * static_cast<long double> (m) / (numBands - 1)) / binWidth;

    const auto numBins = static_cast<std::size_t> (rate.numBins());

    // Exactly the last bin, where the band before it ends: depending on the processor's rounding, that band
    // would get a weight of 1e-19 there, or none.
    centres.back() = static_cast<long double> (numBins - 1);
    std::vector<float> bank (numBands * numBins);

    for (std::size_t m = 0; m < numBands; ++m)
    {
        const auto left = m > 0 ? std::max (1.0L, centres[m] - centres[m - 1]) : 1.0L;
        const auto right = m + 1 < numBands ? std::max (1.0L, centres[m + 1] - centres[m]) : 1.0L;
        std::vector<long double> weights (numBins);
        long double sum = 0.0L;

        for (std::size_t f = 0; f < numBins; ++f)
        {
            const auto distance = static_cast<long double> (f) - centres[m];
            weights[f] = std::max (0.0L, distance < 0.0L ? 1.0L + distance / left : 1.0L - distance / right);
            sum += weights[f];
        }

        for (std::size_t f = 0; f < numBins; ++f)
            bank[m + numBands * f] = static_cast<float> (weights[f] / sum);
    }

    return bank;
}

std::vector<float> interpolationVector (const RateParameters& rate)
{
    constexpr int top = method::numMelBands - 1;
    const auto nyquistMel = melOf (0.5L * rate.sampleRate);
    std::vector<float> positions (static_cast<std::size_t> (rate.numBins()));

    for (std::size_t f = 0; f < positions.size(); ++f)
        positions[f] = static_cast<float> (
            top * melOf (static_cast<long double> (f) * rate.sampleRate / rate.frameLength) / nyquistMel);

    // Band floor (p) + 1 must exist for every bin.
    positions.back() = std::nextafter (static_cast<float> (top), 0.0f);
    return positions;
}

std::vector<float> tomTemplate (const RateParameters& rate, double pitchHz)
{
    constexpr auto pitchRise = 0.4L;          // at the stroke, relative to the pitch
    constexpr auto pitchFallSeconds = 0.025L; // time constants
    constexpr auto decaySeconds = 0.08L;
    constexpr auto attackSeconds = 0.004L;
    constexpr auto toneLevel = 0.6L, attackLevel = 0.2L;

    std::vector<float> samples (static_cast<std::size_t> (rate.templateLength));
    RandomStream noise (1);
    const auto fadeStart = samples.size() - samples.size() / 10;

    for (std::size_t n = 0; n < samples.size(); ++n)
    {
        const auto t = static_cast<long double> (n) / rate.sampleRate;
        // The phase is the integral of pitch * (1 + rise * exp (-t / fall)).
        const auto cycles =
            pitchHz * (t + pitchRise * pitchFallSeconds * (1.0L - std::exp (-t / pitchFallSeconds)));
        const auto tone = toneLevel * std::exp (-t / decaySeconds) * std::sin (2.0L * pi * cycles);
        const auto burst = attackLevel * std::exp (-t / attackSeconds)
                           * (2.0L * static_cast<long double> (noise.next()) - 1.0L);
        const auto fade = n < fadeStart ? 1.0L
                                        : static_cast<long double> (samples.size() - 1 - n)
                                              / static_cast<long double> (samples.size() - fadeStart);
        samples[n] = static_cast<float> ((tone + burst) * fade);
    }

    return samples;
}
} // namespace dataFiles

std::string writeAllDataFiles (const std::string& resourceFolder)
{
    std::set<std::string> written;

    for (const auto& rate : supportedRates)
    {
        const std::vector<float> arrays[]{
            dataFiles::tomTemplate (rate, 180.0),  dataFiles::tomTemplate (rate, 125.0),
            dataFiles::tomTemplate (rate, 82.0),   dataFiles::sineBellWindow (rate.frameLength),
            dataFiles::interpolationVector (rate), dataFiles::melFilterBank (rate)
        };
        const auto files = dataFilesFor (rate);

        for (std::size_t i = 0; i < files.size(); ++i)
        {
            if (! written.insert (files[i].name).second)
                continue;

            const auto path = pathOf (resourceFolder) / files[i].name;
            std::error_code error;
            std::filesystem::create_directories (path.parent_path(), error);

            std::ofstream file (path, std::ios::binary | std::ios::trunc);
            file.write (reinterpret_cast<const char*> (arrays[i].data()),
                        static_cast<std::streamsize> (arrays[i].size() * sizeof (float)));
            file.close();

            if (! file)
                return path.string() + ": can't be written";
        }
    }

    return {};
}

} // namespace tessivar
