#pragma once

#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** How much quieter a processed signal is than its source, step by step over a take: told in dB, 0 where
    nothing is removed. Where the source itself is silent there is nothing to tell, and nothing counts into a
    mean or a maximum.
*/
class ReductionCurve
{
public:
    static constexpr double usualStep = 0.05;     // s, over which the suppression meter measures too
    static constexpr float deepestDb = 60.0f;     // the most that is told
    static constexpr float silentPower = 1.0e-7f; // of a source at -70 dB; below, it is silent
    static constexpr float nothingToTell = -1.0f; // dB, of such a step

    /** Mean squares of both signals over one step. */
    struct Powers
    {
        float source = 0.0f, processed = 0.0f;
    };

    /** What is told of several steps. */
    struct Stretch
    {
        float meanDb = 0.0f, maximumDb = 0.0f;
        std::size_t numSteps = 0; // that are not silent: without any, both levels are 0
    };

    /** dB, or nothingToTell. Powers that aren't finite are silence; a gain is no reduction. */
    [[nodiscard]] static float reductionDb (Powers powers)
    {
        if (! (powers.source >= silentPower) || ! std::isfinite (powers.source)
            || ! std::isfinite (powers.processed))
            return nothingToTell;

        const auto least = powers.source * 1.0e-6f; // = deepestDb below it
        const auto ratio = static_cast<double> (powers.source / std::max (powers.processed, least));
        return std::clamp (static_cast<float> (10.0 * math::log10 (ratio)), 0.0f, deepestDb);
    }

    ReductionCurve() = default;

    explicit ReductionCurve (std::span<const Powers> powers) : levels (powers.size())
    {
        std::transform (powers.begin(), powers.end(), levels.begin(), reductionDb);
    }

    [[nodiscard]] std::size_t numSteps() const { return levels.size(); }
    [[nodiscard]] float at (std::size_t step) const { return levels[step]; } // dB, or nothingToTell

    /** Of steps [first, end), as far as there are any. */
    [[nodiscard]] Stretch over (std::size_t first, std::size_t end) const
    {
        Stretch result;
        auto sum = 0.0;

        for (auto i = first; i < std::min (end, levels.size()); ++i)
            if (levels[i] != nothingToTell)
            {
                sum += static_cast<double> (levels[i]);
                result.maximumDb = std::max (result.maximumDb, levels[i]);
                ++result.numSteps;
            }

        if (result.numSteps > 0)
            result.meanDb = static_cast<float> (sum / static_cast<double> (result.numSteps));

        return result;
    }

    [[nodiscard]] Stretch whole() const { return over (0, levels.size()); }

private:
    std::vector<float> levels;
};

} // namespace tessivar
