#include "engine/refinement/RiseRules.h"

#include "engine/refinement/Statistics.h"
#include "terms/Mathematics.h"

#include <cstdint>

namespace tessivar
{

namespace
{
constexpr RiseRule wary{ 1.5f, 2.0f, 0.5 }, usual{ 1.25f, 2.0f, 0.65 }, trusting{ 1.1f, 1.5f, 0.8 };

// Median rise of whole frames in one microphone over that in the other, in dB.
constexpr double heardPairDb = -45.0;                  // of a drum in a microphone: heard
constexpr double wellHeardDb = -22.0, heardDb = -34.0; // the loudest of the other drums in a microphone
constexpr double unheardDb = -90.0;

/** Onsets: of a track's loudest frames the half that rises most; numSounding frames hold something. */
std::vector<std::uint32_t> onsetsOf (std::span<const float> own, std::size_t numSounding)
{
    const auto rise = [own] (std::uint32_t t) { return riseAt (own.data(), t); };
    std::vector<std::uint32_t> frames (own.size());

    for (std::size_t t = 0; t < frames.size(); ++t)
        frames[t] = static_cast<std::uint32_t> (t);

    const auto keepLargest = [&frames] (std::size_t count, const auto& value)
    {
        moveLargestToFront (frames, count, value);
        frames.resize (count);
    };

    if (frames.empty())
        return frames;

    keepLargest (std::min (frames.size(), std::max (std::size_t{ 20 }, numSounding / 20)),
                 [own] (std::uint32_t t) { return own[t]; });
    keepLargest ((frames.size() + 1) / 2, rise);
    std::erase_if (frames, [&] (std::uint32_t t) { return rise (t) <= 0.0f; });
    return frames;
}

double
medianRiseDb (std::span<const float> own, std::span<const float> other, std::span<const std::uint32_t> onsets)
{
    if (onsets.empty())
        return unheardDb;

    std::vector<float> ratios (onsets.size());
    std::transform (onsets.begin(),
                    onsets.end(),
                    ratios.begin(),
                    [&] (std::uint32_t t)
                    { return riseRatio (own.data(), other.data(), t, wary.steadyFactor); });
    const auto median = static_cast<double> (quantile (ratios, 0.5));
    return std::clamp (10.0 * math::log10 (median + 1.0e-30), unheardDb, 0.0);
}
} // namespace

std::vector<RiseRule> riseRules (std::span<const std::vector<float>> totals,
                                 const TwinMicrophones& twins,
                                 const SilentFrames& silent)
{
    const auto numTracks = totals.size();
    std::vector<double> heard (numTracks * numTracks, unheardDb);

    for (std::size_t j = 0; j < numTracks; ++j)
    {
        const auto onsets = onsetsOf (totals[j], silent.numSounding (j, totals[j].size()));

        for (std::size_t i = 0; i < numTracks; ++i)
            if (i != j)
            {
                auto common = onsets;
                std::erase_if (common, [&] (std::uint32_t t) { return silent.isNear (i, t); });
                heard[i * numTracks + j] = medianRiseDb (totals[j], totals[i], common);
            }
    }

    std::vector<RiseRule> rules (numTracks * numTracks, wary);

    for (std::size_t i = 0; i < numTracks; ++i)
    {
        auto loudest = unheardDb;

        for (std::size_t j = 0; j < numTracks; ++j)
            if (i != j && ! twins.areTwins (i, j))
                loudest = std::max (loudest, heard[i * numTracks + j]);

        for (std::size_t j = 0; j < numTracks; ++j)
        {
            auto& rule = rules[i * numTracks + j];

            if (loudest >= wellHeardDb || heard[i * numTracks + j] >= heardPairDb)
                rule = trusting;
            else if (loudest >= heardDb)
                rule = usual;
        }
    }

    return rules;
}

} // namespace tessivar
