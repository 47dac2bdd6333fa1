#include "engine/refinement/SeparationEvidence.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/DrumEvents.h"
#include "engine/refinement/Statistics.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr double lowestBandHz = 60.0;
constexpr double holdSeconds = 0.030; // held evidence falls by one in this time
constexpr double evidenceLimit = 12.0;

/** What the eight pieces of evidence from the model count, but for the bin's own ratio. */
struct ModelWeights
{
    double intercept, bandRatio, broadRatio, balance, bandLevel, ownLevel, heldBalance, heldLevel;
};

constexpr ModelWeights maskWeights{ -2.203, 0.427, 0.228, -0.410, -0.421, -0.132, 0.433, 0.680 };
constexpr ModelWeights gainWeights{ 0.381, 0.269, 0.414, -0.294, -0.111, -0.258, 0.447, 0.140 };

// What onsets and decay count for the gain.
constexpr double shortHoldWeight = 0.382, longHoldWeight = 1.800, loudnessWeight = -1.012,
                 belowPeakWeight = 0.077;
constexpr std::array<double, DecayBound::numThresholds> decayWeights{ 0.311, 0.001, 0.547 };

double clipped (double x)
{
    return std::clamp (x, -evidenceLimit, evidenceLimit);
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
                              : 1 + static_cast<int> (std::floor (3.0 * math::log2 (hertz / lowestBandHz)));

        if (band != current)
            firstBins.push_back (bin);

        current = band;
    }

    firstBins.push_back (numBins);
}

SeparationEvidence::SeparationEvidence (const EvidenceBands& b,
                                        std::size_t room,
                                        std::size_t frames,
                                        double hop)
    : bands (b), numFrames (frames), rowStride (room), numSounding (frames), hopSeconds (hop),
      ownSums (bands.count() * rowStride), leakageSums (ownSums.size()), totalSums (ownSums.size())
{
}

std::size_t SeparationEvidence::roomOfRow() const
{
    return kernels::wholeVectors (numFrames);
}

void SeparationEvidence::addLogRatios (
    float* dest, const float* a, const float* b, double weight, double highest) const
{
    kernels::addLogRatios (dest,
                           a,
                           b,
                           static_cast<float> (weight),
                           static_cast<float> (-evidenceLimit),
                           static_cast<float> (highest),
                           roomOfRow());
}

bool SeparationEvidence::weigh (const WorkControl& control)
{
    const auto numBands = bands.count();
    const auto numLargest = std::max (std::size_t{ 4 }, numSounding / 50);
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

    leakageLevelDb = 10.0 * math::log10 (std::max (leakageTotal, 1.0e-30) / std::max (ownTotal, 1.0e-30));
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
            math::log (std::max (relativeOwn, 1.0e-30)) - math::log (std::max (relativeLeakage, 1.0e-30));
        ownLevel[t] = math::log (ownBroad[t] / ownReference + 1.0e-12);
    }

    const auto holdDecay = hopSeconds / holdSeconds;
    const auto heldBalance = held (balance, holdDecay), heldLevel = held (ownLevel, holdDecay);
    auto drum = onsetEvidence ([this] (std::size_t g) { return std::span<const float> (own (g), numFrames); },
                               reference,
                               numFrames,
                               hopSeconds);

    // By frame: what all bands share.
    AlignedBuffer forMask (roomOfRow()), forGain (roomOfRow());

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        const auto broadRatio =
            clipped (math::log (std::max (ownBroad[t], 1.0e-30) / std::max (leakageBroad[t], 1.0e-30)));
        const auto shared = [&] (const ModelWeights& w)
        {
            return w.intercept + w.broadRatio * broadRatio + w.balance * clipped (balance[t])
                   + w.ownLevel * clipped (ownLevel[t]) + w.heldBalance * clipped (heldBalance[t])
                   + w.heldLevel * clipped (heldLevel[t]);
        };
        forMask[t] = static_cast<float> (shared (maskWeights));
        forGain[t] =
            static_cast<float> (shared (gainWeights) + shortHoldWeight * drum.shortHold[t]
                                + longHoldWeight * drum.longHold[t] + loudnessWeight * drum.loudness[t]);
    }

    AlignedBuffer mask (roomOfRow()), gain (roomOfRow()), levels (roomOfRow()), ones (roomOfRow());
    std::fill_n (ones.data(), roomOfRow(), 1.0f);

    for (std::size_t g = 0; g < numBands; ++g)
    {
        if (control.stopRequested())
            return false;

        for (std::size_t t = 0; t < numFrames; ++t)
            levels[t] = static_cast<float> (static_cast<double> (total (g)[t]) / reference[g] + 1.0e-12);

        const auto add = [&] (AlignedBuffer& dest, const AlignedBuffer& shared, const ModelWeights& w)
        {
            std::copy_n (shared.data(), roomOfRow(), dest.data());
            addLogRatios (dest.data(), own (g), leakage (g), w.bandRatio, evidenceLimit);
            addLogRatios (dest.data(), levels.data(), ones.data(), w.bandLevel, evidenceLimit);
        };
        add (mask, forMask, maskWeights);
        add (gain, forGain, gainWeights);
        std::copy_n (mask.data(), numFrames, own (g));
        std::copy_n (gain.data(), numFrames, leakage (g));
    }

    onsets = std::move (drum.strength);
    onsetCount = countOnsets (onsets);
    return true;
}

void SeparationEvidence::beginRemainder()
{
    hasRemainder = true;
    totalSums.clear();
    ownSums.clear();
}

bool SeparationEvidence::weighRemainder (const WorkControl& control)
{
    std::vector<DecayBound::Likelihoods> likelihoods (numFrames);
    std::transform (onsets.begin(), onsets.end(), likelihoods.begin(), DecayBound::likelihoodsOf);

    AlignedBuffer power (roomOfRow()), peak (roomOfRow());
    std::array<AlignedBuffer, DecayBound::numThresholds> bounds;

    for (auto& row : bounds)
        row = AlignedBuffer (roomOfRow());

    for (std::size_t g = 0; g < bands.count(); ++g)
    {
        if (control.stopRequested())
            return false;

        const auto* sums = total (g);
        DecayBound bound (hopSeconds);
        const auto meanAt = [&] (std::size_t t)
        {
            const auto before = sums[t - std::min<std::size_t> (t, 1)],
                       after = sums[std::min (t + 1, numFrames - 1)];
            return (static_cast<double> (before) + static_cast<double> (sums[t])
                    + static_cast<double> (after))
                   / 3.0;
        };

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            const auto mean = hasRemainder ? meanAt (t) : static_cast<double> (sums[t]);
            const auto at = bound.next (mean, likelihoods[t]);
            power[t] = static_cast<float> (at.power);
            peak[t] = static_cast<float> (at.peak);

            for (std::size_t k = 0; k < bounds.size(); ++k)
                bounds[k][t] = static_cast<float> (at.own[k]);
        }

        auto* const logit = leakage (g);
        addLogRatios (logit, power.data(), peak.data(), belowPeakWeight, 0.0);

        for (std::size_t k = 0; k < bounds.size(); ++k)
            addLogRatios (logit, bounds[k].data(), power.data(), decayWeights[k], 0.0);
    }

    onsets = {};
    totalSums = {};
    return true;
}

} // namespace tessivar
