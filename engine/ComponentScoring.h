#pragma once

#include "engine/AnalysisSettings.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

using ComponentValues = std::array<double, channelLayout::numComponents>;
using ComponentOrder = std::array<int, channelLayout::numComponents>;

/** Sum of products over the root of the product of energies, -1..1. Energies of 0 are floored at 1e-24, so a
    silent sequence correlates at 0. Squares are single precision: a sequence fainter than about 1e-23 counts
    as silent.
*/
[[nodiscard]] double correlation (std::span<const float> a, std::span<const float> b);

/** The same from sums. */
[[nodiscard]] double correlation (double product, double energyA, double energyB);

/** Indices of the frames with the most energy from frame firstFrame on, loudest first, at most numWanted and
    at most the frames there are. Indices are absolute; ties go to the earlier frame. */
[[nodiscard]] std::vector<std::int64_t>
loudestFrames (std::span<const double> energies, std::int64_t firstFrame, int numWanted);

/** Component indices by descending score; ties go to the lower index. */
[[nodiscard]] ComponentOrder orderByScore (const ComponentValues& scores);

/** The gain that gives the ten components the energy of their track: sqrt (track / max (sum of the ten,
    1e-24)). */
[[nodiscard]] float componentGain (double trackEnergy, double componentEnergy);

/** The gain for all components that keeps the peak of the first at or below 1.0. */
[[nodiscard]] float rescalingFactor (float firstComponentPeak);

/** Low-pass for HiHat similarities: a symmetric five-tap FIR, causal and from rest, then rectified, in place.
    Keeps its state from call to call, so that a signal can be filtered piece by piece. */
class SimilarityFilter
{
public:
    /** Samples before a sample that its result depends on. */
    static constexpr std::size_t memory = 4;

    void process (std::span<float> samples);

private:
    std::array<float, memory> history{}; // the last samples
};

/** Similarities divided by the largest, if that is above 0. */
[[nodiscard]] ComponentValues normalisedSimilarities (const ComponentValues& similarities);

/** Slots of a HiHat track, component index by slot: walking the components by index, each whose similarity
    with the Kick or the Snare is at least the threshold goes to the last free slot; the others follow from
    slot 0 on in score order. An empty span means that the Group has no such drum.

    Similarities are relative: a component that is alone on a track has the greatest, however unlike that drum
    it is. So when all live components (within 40 dB of the strongest) would be pushed back, the one with the
    best score goes to slot 0 instead; without it the track would be silent. */
[[nodiscard]] ComponentOrder hiHatSlots (const ComponentOrder& scoreOrder,
                                         std::span<const double> kickSimilarity,
                                         std::span<const double> snareSimilarity,
                                         double threshold,
                                         std::span<const double> energies = {});

} // namespace tessivar
