#pragma once

#include "engine/AnalysisSettings.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
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

/** The frames of a track with the most energy, at most numWanted of those from firstFrame on; ties go to the
    earlier frame. Keeps no others, so that the energies of long tracks need not lie in memory. */
class LoudestFrames
{
public:
    LoudestFrames (std::int64_t firstFrame, int numWanted);

    /** The energies of frames from first on. Each frame comes once, in any order, from several threads. */
    void add (std::int64_t first, std::span<const double> energies);

    /** Indices of all that came, loudest first. */
    [[nodiscard]] std::vector<std::int64_t> inOrder();

private:
    struct Frame
    {
        double energy;
        std::int64_t index;
    };

    static bool isLouder (const Frame& a, const Frame& b);

    const std::int64_t firstFrame;
    const std::size_t numWanted;
    std::mutex lock;           // guards what follows
    std::vector<Frame> frames; // a heap, the faintest in front
};

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
