#include "engine/refinement/InterferenceModel.h"

#include "engine/AnalysisSettings.h"
#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/refinement/Statistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tessivar
{

namespace
{
constexpr std::size_t frameBlock = 256; // u and w of eight tracks fit the first-level cache
constexpr int numUpdates = 5;

/** Two microphones on the same kind of drum hear the same drum: neither is leakage of the other. */
bool hearTheSameDrum (std::uint32_t a, std::uint32_t b)
{
    return a == b && (a == drumCode::kick || a == drumCode::snare);
}
} // namespace

InterferenceModel::InterferenceModel (std::span<const std::uint32_t> drumTypes, std::size_t frames)
    : numTracks (drumTypes.size()), numFrames (frames), types (drumTypes.begin(), drumTypes.end()),
      gain (numTracks * numTracks), bound (gain.size()), floors (numTracks), numerators (gain.size()),
      denominators (gain.size()), reciprocals (numTracks * frameBlock), quotients (numTracks * frameBlock),
      loudest (frames)
{
}

void InterferenceModel::boundGains (const float* power, std::size_t rowStride)
{
    const auto numLoud = std::min (
        numFrames,
        std::max (std::size_t{ 8 }, static_cast<std::size_t> (0.02 * static_cast<double> (numFrames))));
    ratios.resize (numLoud);

    for (std::size_t j = 0; j < numTracks; ++j)
    {
        const auto* own = power + j * rowStride;
        std::iota (loudest.begin(), loudest.end(), 0u);
        std::nth_element (loudest.begin(),
                          loudest.begin() + static_cast<std::ptrdiff_t> (numLoud - 1),
                          loudest.end(),
                          [own] (std::uint32_t a, std::uint32_t b)
                          { return own[a] > own[b] || (own[a] == own[b] && a < b); });

        for (std::size_t i = 0; i < numTracks; ++i)
        {
            auto& limit = bound[i * numTracks + j];

            if (i == j || hearTheSameDrum (types[i], types[j]))
            {
                limit = 0.0f;
                continue;
            }

            const auto* other = power + i * rowStride;

            for (std::size_t n = 0; n < numLoud; ++n)
                ratios[n] = other[loudest[n]] / std::max (own[loudest[n]], 1.0e-20f);

            limit = std::min (0.5f, quantile (ratios, 0.2));
        }
    }
}

bool InterferenceModel::fit (float* power,
                             float* source,
                             std::size_t rowStride,
                             const AnalysisControl& control)
{
    boundGains (power, rowStride);

    for (std::size_t i = 0; i < numTracks; ++i)
    {
        auto* v = power + i * rowStride;
        auto* p = source + i * rowStride;
        double sum = 0.0;

        for (std::size_t t = 0; t < numFrames; ++t)
            sum += static_cast<double> (v[t]);

        const auto lift = static_cast<float> (1.0e-7 * sum / static_cast<double> (numFrames) + 1.0e-20);
        floors[i] = 0.001f * lift;

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            v[t] += lift;
            p[t] = std::max (p[t], floors[i]);
        }

        for (std::size_t j = 0; j < numTracks; ++j)
            gain[i * numTracks + j] = i == j ? 1.0f : hearTheSameDrum (types[i], types[j]) ? 0.0f : 0.05f;
    }

    for (int update = 0; update < numUpdates; ++update)
    {
        if (control.stopRequested())
            return false;

        std::fill (numerators.begin(), numerators.end(), 0.0);
        std::fill (denominators.begin(), denominators.end(), 0.0);

        for (std::size_t start = 0; start < numFrames; start += frameBlock)
        {
            const auto n = computeModel (power, source, rowStride, start);
            kernels::interferenceSums (numerators.data(),
                                       denominators.data(),
                                       reciprocals.data(),
                                       quotients.data(),
                                       frameBlock,
                                       source + start,
                                       rowStride,
                                       numTracks,
                                       n);
        }

        for (std::size_t i = 0; i < numTracks; ++i)
            for (std::size_t j = 0; j < numTracks; ++j)
                if (const auto ij = i * numTracks + j; i != j)
                    gain[ij] = std::min (bound[ij],
                                         gain[ij]
                                             * static_cast<float> (std::sqrt (
                                                 numerators[ij] / std::max (denominators[ij], 1.0e-30))));

        for (std::size_t start = 0; start < numFrames; start += frameBlock)
        {
            const auto n = computeModel (power, source, rowStride, start);
            kernels::interferenceUpdate (source + start,
                                         rowStride,
                                         reciprocals.data(),
                                         quotients.data(),
                                         frameBlock,
                                         gain.data(),
                                         floors.data(),
                                         numTracks,
                                         n);
        }
    }

    // The leakage takes the place of the power, which every caller can compute again.
    for (std::size_t i = 0; i < numTracks; ++i)
        kernels::leakageOf (
            power + i * rowStride, source, rowStride, gain.data(), i, numTracks, (numFrames + 15) / 16 * 16);

    return true;
}

std::size_t
InterferenceModel::computeModel (float* power, float* source, std::size_t rowStride, std::size_t start)
{
    const auto numValid = std::min (frameBlock, numFrames - start);
    const auto n = (numValid + 15) / 16 * 16;

    // Frames that only fill the last vector: finite here, and of no weight in any sum below.
    for (std::size_t i = 0; i < numTracks; ++i)
        for (std::size_t t = numValid; t < n; ++t)
        {
            power[i * rowStride + start + t] = 0.0f;
            source[i * rowStride + start + t] = 1.0f;
        }

    kernels::interferenceModel (reciprocals.data(),
                                quotients.data(),
                                frameBlock,
                                power + start,
                                source + start,
                                rowStride,
                                gain.data(),
                                numTracks,
                                n);

    for (std::size_t i = 0; i < numTracks; ++i)
        for (std::size_t t = numValid; t < n; ++t)
            reciprocals[i * frameBlock + t] = quotients[i * frameBlock + t] = 0.0f;

    return n;
}

} // namespace tessivar
