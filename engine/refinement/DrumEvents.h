#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace tessivar
{

/** When a track's own drum begins to sound, and how loud it can still be: a drum can only fall until its next
    onset, so what doesn't fall after one is leakage, or the drum ringing along with others.

    All logarithms are natural; one value a frame.
*/
struct OnsetEvidence
{
    std::vector<double> strength;          // of the nearest onset, 0 for the drum's own strongest ones
    std::vector<double> shortHold;         // the same, held while it falls by one in 0.1 s
    std::vector<double> longHold;          // by one in 0.4 s
    std::vector<double> loudness;          // the rise of all bands, not of most; by one in 0.2 s
    static constexpr double floor = -12.0; // of the held values
};

/** A row of frames for each band. */
using BandRows = std::function<std::span<const float> (std::size_t band)>;

/** A peak hold that starts a frame early and falls by decay a frame. */
[[nodiscard]] std::vector<double> held (std::span<const double> values, double decay);

/** From the fitted power of the own drum, p, and the track's loudest power in each band: a band's rise is
    r = clip ((p (t) - 1.5 p (t - 3)) / reference, 0, 1), the strength of an onset 2 ln mean sqrt r over the
    bands, its loudness ln mean r, both relative to the means of the eight strongest. */
[[nodiscard]] OnsetEvidence onsetEvidence (const BandRows& own,
                                           std::span<const double> reference,
                                           std::size_t numFrames,
                                           double hopSeconds);

/** Onsets among these strengths that are the drum's own, by the strictest of the thresholds of DecayBound. */
[[nodiscard]] std::size_t countOnsets (std::span<const double> strength);

/** Follows the power of one band: what the own drum has there at most, and how far the band has fallen. */
class DecayBound
{
public:
    static constexpr std::size_t numThresholds = 3;

    explicit DecayBound (double hopSeconds);

    /** Powers of a frame, all above 0 by next to nothing at least. */
    struct Bounds
    {
        /** Of the own drum at most, for onsets from the threshold on: after each it starts from the band's
            power, and falls by one (natural logarithm) in 0.6 s at least. */
        std::array<double, numThresholds> own{};

        double power = 0.0; // of the band
        double peak = 0.0;  // of the band; it falls by one in 0.15 s
    };

    /** How likely an onset of this strength (OnsetEvidence) is one of the drum's own, by each threshold. */
    using Likelihoods = std::array<double, numThresholds>;
    [[nodiscard]] static Likelihoods likelihoodsOf (double strength);

    /** Moves on to the next frame. */
    [[nodiscard]] Bounds next (double power, const Likelihoods& likelihoods);

private:
    const double decay, peakDecay; // factors a frame
    std::array<double, numThresholds> bounds{};
    double peak = 0.0;
};

} // namespace tessivar
