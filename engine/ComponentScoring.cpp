#include "engine/ComponentScoring.h"

#include "engine/numerics/simd/SignalKernels.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <numeric>
#include <optional>

namespace tessivar
{

namespace
{
constexpr double liveEnergy = 1.0e-4; // relative to the strongest component; fainter ones are inaudible

/** The best live component, if all live ones would be pushed back. */
template <typename IsPushedBack>
std::optional<int> lastResort (const ComponentOrder& scoreOrder,
                               std::span<const double> energies,
                               const IsPushedBack& isPushedBack)
{
    if (energies.empty())
        return std::nullopt;

    const auto strongest = *std::max_element (energies.begin(), energies.end());
    std::optional<int> best;

    for (const auto component : scoreOrder)
    {
        const auto energy = energies[static_cast<std::size_t> (component)];

        if (! (energy > 0.0 && energy >= liveEnergy * strongest))
            continue;

        if (! isPushedBack (component))
            return std::nullopt;

        if (! best)
            best = component;
    }

    return best;
}
} // namespace

double correlation (double product, double energyA, double energyB)
{
    const auto norm = [] (double energy)
    {
        if (energy <= 0.0)
            energy = static_cast<double> (method::floorValue);

        const auto root = std::sqrt (energy);
        return root == 0.0 ? static_cast<double> (method::floorValue) : root;
    };

    return product / (norm (energyA) * norm (energyB));
}

double correlation (std::span<const float> a, std::span<const float> b)
{
    assert (a.size() == b.size());
    return correlation (kernels::dotProduct (a.data(), b.data(), a.size()),
                        kernels::sumOfSquares (a.data(), a.size()),
                        kernels::sumOfSquares (b.data(), b.size()));
}

LoudestFrames::LoudestFrames (std::int64_t first, int wanted)
    : firstFrame (first), numWanted (static_cast<std::size_t> (std::max (0, wanted)))
{
    frames.reserve (numWanted);
}

bool LoudestFrames::isLouder (const Frame& a, const Frame& b)
{
    return a.energy > b.energy || (a.energy == b.energy && a.index < b.index);
}

void LoudestFrames::add (std::int64_t first, std::span<const double> energies)
{
    const std::lock_guard guard (lock);

    for (std::size_t i = 0; i < energies.size(); ++i)
    {
        const Frame frame{ energies[i], first + static_cast<std::int64_t> (i) };

        if (frame.index < firstFrame || numWanted == 0)
            continue;

        if (frames.size() == numWanted)
        {
            if (! isLouder (frame, frames.front()))
                continue;

            std::pop_heap (frames.begin(), frames.end(), isLouder);
            frames.pop_back();
        }

        frames.push_back (frame);
        std::push_heap (frames.begin(), frames.end(), isLouder);
    }
}

std::vector<std::int64_t> LoudestFrames::inOrder()
{
    const std::lock_guard guard (lock);
    auto sorted = frames;
    std::sort (sorted.begin(), sorted.end(), isLouder);
    std::vector<std::int64_t> indices (sorted.size());
    std::transform (
        sorted.begin(), sorted.end(), indices.begin(), [] (const Frame& frame) { return frame.index; });
    return indices;
}

ComponentOrder orderByScore (const ComponentValues& scores)
{
    ComponentOrder order;
    std::iota (order.begin(), order.end(), 0);
    std::stable_sort (order.begin(),
                      order.end(),
                      [&] (int a, int b) {
                          return scores[static_cast<std::size_t> (a)] > scores[static_cast<std::size_t> (b)];
                      });
    return order;
}

float componentGain (double trackEnergy, double componentEnergy)
{
    return static_cast<float> (
        std::sqrt (trackEnergy / std::max (componentEnergy, static_cast<double> (method::floorValue))));
}

float rescalingFactor (float firstComponentPeak)
{
    return firstComponentPeak > 1.0f ? 1.0f / firstComponentPeak : 1.0f;
}

void SimilarityFilter::process (std::span<float> samples)
{
    // 0.035713, 0.24107, 0.44643, 0.24107, 0.035713 to the bit.
    static constexpr auto outer = std::bit_cast<float> (0x3d1247cbu);
    static constexpr auto inner = std::bit_cast<float> (0x3e76db0eu);
    static constexpr auto middle = std::bit_cast<float> (0x3ee49279u);
    std::array<float, memory + 1024> x; // history and a piece, so that the loop below is one for vectors

    for (std::size_t start = 0; start < samples.size();)
    {
        const auto piece = samples.subspan (start, std::min (x.size() - memory, samples.size() - start));
        std::copy (history.begin(), history.end(), x.begin());
        std::copy (piece.begin(), piece.end(), x.begin() + memory);

        for (std::size_t i = 0; i < piece.size(); ++i)
            piece[i] = std::abs (outer * x[i + 4] + inner * x[i + 3] + middle * x[i + 2] + inner * x[i + 1]
                                 + outer * x[i]);

        std::copy_n (x.begin() + static_cast<std::ptrdiff_t> (piece.size()), memory, history.begin());
        start += piece.size();
    }
}

ComponentValues normalisedSimilarities (const ComponentValues& similarities)
{
    auto result = similarities;
    const auto largest = *std::max_element (similarities.begin(), similarities.end());

    if (largest > 0.0)
        for (auto& value : result)
            value /= largest;

    return result;
}

ComponentOrder hiHatSlots (const ComponentOrder& scoreOrder,
                           std::span<const double> kickSimilarity,
                           std::span<const double> snareSimilarity,
                           double threshold,
                           std::span<const double> energies)
{
    const auto isSimilar = [&] (int component)
    {
        const auto k = static_cast<std::size_t> (component);
        return (! kickSimilarity.empty() && kickSimilarity[k] >= threshold)
               || (! snareSimilarity.empty() && snareSimilarity[k] >= threshold);
    };

    ComponentOrder slots{};
    std::size_t nextFromStart = 0, nextFromEnd = slots.size();
    const auto kept = lastResort (scoreOrder, energies, isSimilar);

    if (kept)
        slots[nextFromStart++] = *kept;

    for (int k = 0; k < channelLayout::numComponents; ++k)
        if (isSimilar (k) && kept != k)
            slots[--nextFromEnd] = k;

    for (const auto component : scoreOrder)
        if (! isSimilar (component))
            slots[nextFromStart++] = component;

    return slots;
}

} // namespace tessivar
