#include "engine/refinement/SeparationEvidence.h"

#include "engine/refinement/Statistics.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr double lowestBandHz = 60.0;
constexpr double holdSeconds = 0.030; // held evidence falls by one in this time
constexpr double evidenceLimit = 12.0;
constexpr std::size_t framesPerStopCheck = 4096;

// Intercept, then the weights of: the bin's own ratio, the band's ratio, the broad ratio, the balance of
// relative levels, the band's relative level, the own drum's relative level, and the last but two and the
// last one held.
constexpr double weights[]{ -2.203, 0.396, 0.427, 0.228, -0.410, -0.421, -0.132, 0.433, 0.680 };

double clipped (double x)
{
    return std::clamp (x, -evidenceLimit, evidenceLimit);
}

/** A peak hold that starts a frame early and falls linearly. */
std::vector<double> held (const std::vector<double>& values, double decay)
{
    std::vector<double> result (values.size());

    for (std::size_t t = 0; t < values.size(); ++t)
    {
        const auto ahead = std::max (values[t], values[std::min (t + 1, values.size() - 1)]);
        result[t] = t == 0 ? ahead : std::max (ahead, result[t - 1] - decay);
    }

    return result;
}
} // namespace

EvidenceBands::EvidenceBands (std::size_t numBins, double binWidthHz)
{
    int current = -1;

    for (std::size_t bin = 0; bin < numBins; ++bin)
    {
        const auto hertz = static_cast<double> (bin) * binWidthHz;
        const auto band = hertz < lowestBandHz
                              ? 0
                              : 1 + static_cast<int> (std::floor (3.0 * std::log2 (hertz / lowestBandHz)));

        if (band != current)
            firstBins.push_back (bin);

        current = band;
    }

    firstBins.push_back (numBins);
}

SeparationEvidence::SeparationEvidence (const EvidenceBands& b,
                                        std::size_t room,
                                        std::size_t frames,
                                        double hopSeconds)
    : bands (b), numFrames (frames), rowStride (room), holdDecay (hopSeconds / holdSeconds),
      ownSums (bands.count() * rowStride), leakageSums (ownSums.size()), totalSums (ownSums.size())
{
}

bool SeparationEvidence::weigh (const WorkControl& control)
{
    const auto numBands = bands.count();
    const auto numLargest = std::max (std::size_t{ 4 }, numFrames / 50);
    std::vector<float> sorted (numFrames);
    std::vector<double> reference (numBands);

    for (std::size_t g = 0; g < numBands; ++g)
    {
        if (control.stopRequested())
            return false;

        std::copy_n (total (g), numFrames, sorted.begin());
        reference[g] = std::max (meanOfLargest (sorted, numLargest), 1.0e-30);
    }

    std::vector<double> ownBroad (numFrames), leakageBroad (numFrames);
    double ownTotal = 0.0, leakageTotal = 0.0;

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        for (std::size_t g = 0; g < numBands; ++g)
        {
            ownBroad[t] += static_cast<double> (own (g)[t]);
            leakageBroad[t] += static_cast<double> (leakage (g)[t]);
        }

        ownTotal += ownBroad[t];
        leakageTotal += leakageBroad[t];
    }

    leakageLevelDb = 10.0 * std::log10 (std::max (leakageTotal, 1.0e-30) / std::max (ownTotal, 1.0e-30));
    std::transform (
        ownBroad.begin(), ownBroad.end(), sorted.begin(), [] (double x) { return static_cast<float> (x); });
    const auto ownReference = std::max (meanOfLargest (sorted, numLargest), 1.0e-30);

    std::vector<double> balance (numFrames), ownLevel (numFrames);

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        double relativeOwn = 0.0, relativeLeakage = 0.0;

        for (std::size_t g = 0; g < numBands; ++g)
        {
            relativeOwn += static_cast<double> (own (g)[t]) / reference[g];
            relativeLeakage += static_cast<double> (leakage (g)[t]) / reference[g];
        }

        balance[t] =
            std::log (std::max (relativeOwn, 1.0e-30)) - std::log (std::max (relativeLeakage, 1.0e-30));
        ownLevel[t] = std::log (ownBroad[t] / ownReference + 1.0e-12);
    }

    const auto heldBalance = held (balance, holdDecay), heldLevel = held (ownLevel, holdDecay);

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        if (t % framesPerStopCheck == 0 && control.stopRequested())
            return false;

        const auto broadRatio =
            std::log (std::max (ownBroad[t], 1.0e-30) / std::max (leakageBroad[t], 1.0e-30));
        const auto shared = weights[0] + weights[3] * clipped (broadRatio) + weights[4] * clipped (balance[t])
                            + weights[6] * clipped (ownLevel[t]) + weights[7] * clipped (heldBalance[t])
                            + weights[8] * clipped (heldLevel[t]);

        for (std::size_t g = 0; g < numBands; ++g)
        {
            const auto p = std::max (static_cast<double> (own (g)[t]), 1.0e-30);
            const auto q = std::max (static_cast<double> (leakage (g)[t]), 1.0e-30);
            const auto level = std::log (static_cast<double> (total (g)[t]) / reference[g] + 1.0e-12);
            own (g)[t] = static_cast<float> (shared + weights[2] * clipped (std::log (p / q))
                                             + weights[5] * clipped (level));
        }
    }

    leakageSums = {};
    totalSums = {};
    return true;
}

} // namespace tessivar
