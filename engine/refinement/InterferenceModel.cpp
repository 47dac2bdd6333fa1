#include "engine/refinement/InterferenceModel.h"

#include "engine/AnalysisSettings.h"
#include "engine/refinement/Statistics.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace tessivar
{

namespace
{
constexpr std::size_t frameBlock = 256; // u and w of eight tracks fit the first-level cache
constexpr int numUpdates = 5;
constexpr std::size_t framesPerPeak = 16;
constexpr float leastWeight = 1.0e-30f; // of a muted microphone's power

/** How many of this many frames count as loud: two in a hundred. */
std::size_t loudFramesOf (std::size_t numFrames)
{
    return std::min (numFrames, std::max (std::size_t{ 8 }, numFrames / 50));
}
} // namespace

InterferenceModel::InterferenceModel (const TwinMicrophones& twinsToUse,
                                      std::size_t frames,
                                      std::span<const RiseRule> rulesToUse,
                                      const SilentFrames& silent)
    : numTracks (twinsToUse.size()), numFrames (frames), twins (twinsToUse), gain (numTracks * numTracks),
      bound (gain.size()), floors (numTracks), numerators (gain.size()), denominators (gain.size()),
      reciprocals (numTracks * frameBlock), quotients (numTracks * frameBlock),
      peaks (kernels::wholeVectors (std::max (frames / framesPerPeak, std::size_t{ 1 }))), loudest (frames),
      ratios (loudFramesOf (frames)), ownLevels (ratios.size())
{
    rules.assign (rulesToUse.begin(), rulesToUse.end());
    rules.resize (gain.size());

    for (std::size_t i = 0; i < numTracks; ++i)
    {
        numSounding.push_back (silent.numSounding (i, frames));

        if (! silent.isEverSilent (i))
        {
            unmuted.push_back (i);
            continue;
        }

        MutedMicrophone microphone{ i, AlignedBuffer (frames), AlignedBuffer (frames), {} };
        microphone.numWithDrums.resize (numTracks);

        for (std::size_t t = 0; t < frames; ++t)
        {
            microphone.sounding[t] = silent.isSilent (i, t) ? 0.0f : 1.0f;

            if (silent.isNear (i, t))
                continue;

            microphone.distant[t] = 1.0f;

            for (std::size_t j = 0; j < numTracks; ++j)
                microphone.numWithDrums[j] += silent.isSilent (j, t) ? 0 : 1;
        }

        muted.push_back (std::move (microphone));
    }

    if (! muted.empty())
        distantPower = AlignedBuffer (frames);
}

void InterferenceModel::findLoudest (const float* power, std::size_t numLoud)
{
    // The loudest frames of numLoud different groups are numLoud frames, so none of the numLoud loudest lies
    // below the quietest of them. That leaves few candidates, found without sorting all frames.
    auto threshold = -1.0f;

    if (peaks.size() >= numLoud && peaks.size() <= numFrames)
    {
        kernels::groupPeaks (peaks.data(), peaks.size(), power, numFrames);
        const auto peak = peaks.span();
        std::nth_element (peak.begin(),
                          peak.begin() + static_cast<std::ptrdiff_t> (numLoud - 1),
                          peak.end(),
                          std::greater<>());
        threshold = peaks[numLoud - 1];
    }

    const auto numCandidates = kernels::findAtLeast (loudest.data(), power, numFrames, threshold);
    moveLargestToFront (
        std::span (loudest).first (numCandidates), numLoud, [power] (std::uint32_t t) { return power[t]; });
}

bool InterferenceModel::boundGains (const WorkControl& control)
{
    for (std::size_t j = 0; j < numTracks; ++j)
    {
        if (control.stopRequested())
            return false;

        const auto* own = powerOf (j);
        const auto numLoud = loudFramesOf (numSounding[j]);

        if (numLoud > 0)
        {
            findLoudest (own, numLoud);
            boundGains (j, numLoud, unmuted);
        }

        // Where the drum is loudest while a microphone that is muted at times hears it.
        for (const auto& microphone : muted)
        {
            const auto numCommon = loudFramesOf (microphone.numWithDrums[j]);

            if (numCommon > 0)
            {
                for (std::size_t t = 0; t < numFrames; ++t)
                    distantPower[t] = own[t] * microphone.distant[t];

                findLoudest (distantPower.data(), numCommon);
            }

            boundGains (j, numCommon, { &microphone.track, 1 });
        }
    }

    return true;
}

void InterferenceModel::boundGains (std::size_t drum,
                                    std::size_t numLoud,
                                    std::span<const std::size_t> microphones)
{
    const auto* const own = powerOf (drum);
    const auto* const frame = loudest.data();
    const auto ratio = std::span (ratios).first (numLoud);
    auto* const level = ownLevels.data();

    for (std::size_t n = 0; n < numLoud; ++n)
        level[n] = std::max (own[frame[n]], 1.0e-20f);

    for (const auto i : microphones)
    {
        auto& limit = bound[i * numTracks + drum];

        if (i == drum || twins.areTwins (i, drum))
        {
            limit = 0.0f;
            continue;
        }

        const auto* other = powerOf (i);

        for (std::size_t n = 0; n < numLoud; ++n)
            ratio[n] = other[frame[n]];

        for (std::size_t n = 0; n < numLoud; ++n)
            ratio[n] /= level[n];

        limit = std::min (0.5f, quantile (ratio, 0.2));
    }

    if (numLoud > 0)
        boundByRises (drum, numLoud, microphones);
}

void InterferenceModel::boundByRises (std::size_t drum,
                                      std::size_t numLoud,
                                      std::span<const std::size_t> microphones)
{
    const auto* own = powerOf (drum);
    const auto rise = [own] (std::uint32_t t) { return riseAt (own, t); };
    const auto steepest = std::span (loudest).first ((numLoud + 1) / 2);
    moveLargestToFront (std::span (loudest).first (numLoud), steepest.size(), rise);
    const auto onsets = std::span (
        steepest.begin(),
        std::partition (steepest.begin(), steepest.end(), [&] (std::uint32_t t) { return rise (t) > 0.0f; }));

    if (onsets.empty())
        return; // nothing that sounds ever begins: nothing to learn

    for (const auto i : microphones)
    {
        auto& limit = bound[i * numTracks + drum];

        if (limit <= 0.0f)
            continue;

        const auto* other = powerOf (i);
        const auto& rule = rules[i * numTracks + drum];

        for (std::size_t n = 0; n < onsets.size(); ++n)
            ratios[n] = riseRatio (own, other, onsets[n], rule.steadyFactor);

        limit = std::min (
            limit, rule.tolerance * quantile (std::span (ratios).first (onsets.size()), rule.quantile));
    }
}

void InterferenceModel::start()
{
    for (std::size_t i = 0; i < numTracks; ++i)
    {
        auto* v = powerOf (i);
        auto* p = rows.sources + i * rows.stride;
        const auto mean = kernels::rowSum (v, numFrames) / static_cast<double> (numFrames);
        const auto lift = static_cast<float> (1.0e-7 * mean + 1.0e-20);
        const auto lowest = floors[i] = 0.001f * lift;

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            v[t] += lift;
            p[t] = std::max (p[t], lowest);
        }

        for (std::size_t j = 0; j < numTracks; ++j)
            gain[i * numTracks + j] = i == j ? 1.0f : twins.areTwins (i, j) ? 0.0f : 0.05f;
    }
}

void InterferenceModel::updateGains()
{
    for (std::size_t i = 0; i < numTracks; ++i)
        for (std::size_t j = 0; j < numTracks; ++j)
            if (const auto ij = i * numTracks + j; i != j)
                gain[ij] = std::min (bound[ij],
                                     gain[ij]
                                         * static_cast<float> (std::sqrt (
                                             numerators[ij] / std::max (denominators[ij], 1.0e-30))));
}

bool InterferenceModel::fit (float* power, float* source, std::size_t rowStride, const WorkControl& control)
{
    rows = { power, source, rowStride };

    if (! boundGains (control))
        return false;

    for (std::size_t ij = 0; ij < shares.size(); ++ij)
        bound[ij] *= shares[ij];

    start();

    // Each pass over the frames updates the drums with the gains of the pass before and sums up for the next
    // gains, while a block of frames lies in the cache.
    for (int pass = 0; pass <= numUpdates; ++pass)
    {
        std::fill (numerators.begin(), numerators.end(), 0.0);
        std::fill (denominators.begin(), denominators.end(), 0.0);

        for (std::size_t first = 0; first < numFrames; first += frameBlock)
        {
            if (control.stopRequested())
                return false;

            if (pass > 0)
                kernels::interferenceUpdate (modelBlock (first, Silence::itself), floors.data());

            if (pass < numUpdates)
                kernels::interferenceSums (
                    numerators.data(), denominators.data(), modelBlock (first, Silence::withNeighbours));
        }

        if (pass < numUpdates)
            updateGains();
    }

    // The leakage takes the place of the power, which every caller can compute again.
    auto all = blockAt (0);
    all.numFrames = kernels::wholeVectors (numFrames);

    for (std::size_t i = 0; i < numTracks; ++i)
        kernels::leakageOf (powerOf (i), all, i);

    return true;
}

kernels::InterferenceBlock InterferenceModel::blockAt (std::size_t first)
{
    return { .numTracks = numTracks,
             .numFrames = kernels::wholeVectors (std::min (frameBlock, numFrames - first)),
             .rowStride = rows.stride,
             .power = rows.power + first,
             .sources = rows.sources + first,
             .scratchStride = frameBlock,
             .reciprocals = reciprocals.data(),
             .quotients = quotients.data(),
             .gains = gain.data() };
}

kernels::InterferenceBlock InterferenceModel::modelBlock (std::size_t first, Silence leftOut)
{
    const auto block = blockAt (first);
    const auto numValid = std::min (frameBlock, numFrames - first);

    // Frames that only fill the last vector: finite here, and of no weight in any sum below.
    for (std::size_t i = 0; i < numTracks; ++i)
        for (auto t = numValid; t < block.numFrames; ++t)
        {
            rows.power[i * rows.stride + first + t] = 0.0f;
            rows.sources[i * rows.stride + first + t] = 1.0f;
        }

    kernels::interferenceModel (block);

    for (std::size_t i = 0; i < numTracks; ++i)
        for (auto t = numValid; t < block.numFrames; ++t)
            reciprocals[i * frameBlock + t] = quotients[i * frameBlock + t] = 0.0f;

    // Of next to no weight, and not of none: a drum that no microphone hears now stays as it is.
    for (const auto& microphone : muted)
    {
        const auto* const weights =
            (leftOut == Silence::itself ? microphone.sounding : microphone.distant).data() + first;

        for (auto* row : { reciprocals.data(), quotients.data() })
            for (std::size_t t = 0; t < numValid; ++t)
            {
                auto& value = row[microphone.track * frameBlock + t];
                value = std::max (value * weights[t], leastWeight);
            }
    }

    return block;
}

} // namespace tessivar
