#include "engine/refinement/DrumEvents.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

namespace tessivar
{

namespace
{
constexpr std::size_t riseFrames = 3;
constexpr double steadyFactor = 1.5;      // a band that wavers by this much doesn't rise
constexpr std::size_t numStrongest = 8;   // onsets that the others are compared with
constexpr double weakestReference = -4.0; // where even these are weak, nothing is an onset of the drum
constexpr std::size_t framesAfter = 3, framesBefore = 2; // that belong to an onset
constexpr double shortHoldSeconds = 0.1, longHoldSeconds = 0.4, loudnessHoldSeconds = 0.2;
constexpr double thresholds[DecayBound::numThresholds]{ -1.8, -3.0, -4.5 };
constexpr double decaySeconds = 0.6, peakSeconds = 0.15;
constexpr double tiny = 1.0e-20;

/** Relative to the mean of the strongest, at most 0; then the largest of the frames around. */
std::vector<double> relativeToStrongest (std::vector<double> values)
{
    auto sorted = values;
    const auto count = std::min (numStrongest, sorted.size());

    if (count == 0)
        return values;

    std::partial_sort (
        sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t> (count), sorted.end(), std::greater<>());
    const auto mean =
        std::accumulate (sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t> (count), 0.0)
        / static_cast<double> (count);
    const auto reference = std::max (weakestReference, mean);

    for (auto& value : values)
        value = std::min (0.0, value - reference);

    auto around = values;

    for (std::size_t t = 0; t < values.size(); ++t)
        around[t] = *std::max_element (
            values.begin() + static_cast<std::ptrdiff_t> (t - std::min (t, framesAfter)),
            values.begin() + static_cast<std::ptrdiff_t> (std::min (t + framesBefore + 1, values.size())));

    return around;
}

double clipped (double value)
{
    return std::clamp (value, OnsetEvidence::floor, 0.0);
}
} // namespace

OnsetEvidence onsetEvidence (const BandRows& own,
                             std::span<const double> reference,
                             std::size_t numFrames,
                             double hopSeconds)
{
    std::vector<double> roots (numFrames), rises (numFrames);

    for (std::size_t g = 0; g < reference.size(); ++g)
    {
        const auto p = own (g);

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            const auto before = t < riseFrames ? 0.0 : static_cast<double> (p[t - riseFrames]);
            const auto rise =
                std::clamp ((static_cast<double> (p[t]) - steadyFactor * before) / reference[g], 0.0, 1.0);
            roots[t] += std::sqrt (rise);
            rises[t] += rise;
        }
    }

    const auto numBands = static_cast<double> (std::max<std::size_t> (1, reference.size()));

    for (auto& value : roots)
        value = 2.0 * math::log (value / numBands + 1.0e-5);

    for (auto& value : rises)
        value = math::log (value / numBands + 1.0e-9);

    OnsetEvidence evidence;
    evidence.strength = relativeToStrongest (std::move (roots));
    const auto loudness = relativeToStrongest (std::move (rises));

    const auto holdFor = [&] (const std::vector<double>& values, double seconds)
    {
        auto result = held (values, hopSeconds / seconds);
        std::transform (result.begin(), result.end(), result.begin(), clipped);
        return result;
    };

    evidence.shortHold = holdFor (evidence.strength, shortHoldSeconds);
    evidence.longHold = holdFor (evidence.strength, longHoldSeconds);
    evidence.loudness = holdFor (loudness, loudnessHoldSeconds);
    return evidence;
}

std::size_t countOnsets (std::span<const double> strength)
{
    std::size_t count = 0;

    for (std::size_t t = 0; t < strength.size(); ++t)
        if (strength[t] > thresholds[0] && (t == 0 || strength[t - 1] <= thresholds[0]))
            ++count;

    return count;
}

std::vector<double> held (std::span<const double> values, double decay)
{
    std::vector<double> result (values.size());

    for (std::size_t t = 0; t < values.size(); ++t)
    {
        const auto ahead = std::max (values[t], values[std::min (t + 1, values.size() - 1)]);
        result[t] = t == 0 ? ahead : std::max (ahead, result[t - 1] - decay);
    }

    return result;
}

DecayBound::DecayBound (double hopSeconds)
    : decay (math::exp (-hopSeconds / decaySeconds)), peakDecay (math::exp (-hopSeconds / peakSeconds))
{
}

DecayBound::Likelihoods DecayBound::likelihoodsOf (double strength)
{
    Likelihoods likelihoods{};

    for (std::size_t k = 0; k < numThresholds; ++k)
        likelihoods[k] = 1.0 / (1.0 + math::exp (-2.0 * (strength - thresholds[k])));

    return likelihoods;
}

DecayBound::Bounds DecayBound::next (double power, const Likelihoods& likelihoods)
{
    peak = std::max (peak * peakDecay, power);
    Bounds result;
    result.power = power + tiny;
    result.peak = peak + tiny;

    for (std::size_t k = 0; k < numThresholds; ++k)
    {
        bounds[k] = std::max (likelihoods[k] * power, std::min (bounds[k] * decay, power));
        result.own[k] = bounds[k] + tiny;
    }

    return result;
}

} // namespace tessivar
