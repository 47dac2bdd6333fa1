#include "engine/refinement/SeededStart.h"

#include "engine/refinement/Statistics.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace tessivar
{

void seedActivations (MatrixView<const float> v,
                      std::span<const DrumType> drumTypes,
                      std::span<const std::size_t> numSilent,
                      MatrixView<float> h)
{
    assert (v.rows == drumTypes.size() * method::numMelBands && h.columns == v.columns);
    assert (numSilent.size() == drumTypes.size());
    const auto numFrames = v.columns;
    std::vector<float> sums (numFrames), energy (numFrames), sorted;
    std::size_t numRows = 0;

    // A track's relative energy first, in the row that its share will take.
    for (std::size_t i = 0; i < drumTypes.size(); ++i)
    {
        for (std::size_t t = 0; t < numFrames; ++t)
        {
            const auto* rows = v.column (t) + i * method::numMelBands;
            double sum = 0.0;

            for (std::size_t m = 0; m < method::numMelBands; ++m)
                sum += static_cast<double> (rows[m]);

            energy[t] = static_cast<float> (sum);
        }

        sorted = energy;
        const auto sounding = sorted.begin() + static_cast<std::ptrdiff_t> (numSilent[i]);
        std::nth_element (sorted.begin(), sounding, sorted.end());
        const auto reference = quantile ({ sounding, sorted.end() }, 0.98);

        if (reference <= 0.0f)
            continue;

        const auto hasRow = isRenderedType (drumTypes[i]) && numRows < h.rows;

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            const auto relative = energy[t] / reference;
            sums[t] += relative;

            if (hasRow)
                h (numRows, t) = relative;
        }

        numRows += hasRow ? 1 : 0;
    }

    for (std::size_t t = 0; t < numFrames; ++t)
        for (std::size_t row = 0; row < numRows; ++row)
        {
            const auto e = h (row, t);
            const auto share = sums[t] > 0.0f ? std::min (1.0f, e) * e / sums[t] : 0.0f;
            h (row, t) = std::clamp (share, 0.001f, 1.0f);
        }
}

} // namespace tessivar
