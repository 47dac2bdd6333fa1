#include "engine/refinement/CommonHits.h"

#include "engine/refinement/CrossPower.h"
#include "engine/refinement/RiseRules.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t mostHits = 64, hitReach = 3; // frames on either side in which a larger rise is the hit
constexpr float hitDepth = 0.003f;                 // of the largest rise
constexpr std::size_t numReferences = 8;           // own hits, by which the microphone's level is told
constexpr double levelQuantile = 0.3;              // of the levels at the other drum's hits
constexpr double leastLevel = 0.05,
                 fullLevel = 0.3; // of the own hits' power: no doubt below, full from there
constexpr double leakageCoherence = 0.3;

/** A drum's hits, in ascending order: the frames in which the whole track rises most. */
std::vector<std::int64_t> hitsOf (std::span<const float> totals)
{
    std::vector<std::uint32_t> order (totals.size());
    std::iota (order.begin(), order.end(), 0u);
    const auto rise = [totals] (std::uint32_t t) { return riseAt (totals.data(), t); };
    std::sort (order.begin(),
               order.end(),
               [&] (std::uint32_t a, std::uint32_t b)
               { return rise (a) > rise (b) || (! (rise (a) < rise (b)) && a < b); });
    std::vector<std::int64_t> hits;

    for (const std::int64_t t : order)
    {
        const auto value = rise (static_cast<std::uint32_t> (t));

        if (value <= 0.0f || value < hitDepth * rise (order.front()) || hits.size() == mostHits)
            break;

        if (std::none_of (hits.begin(),
                          hits.end(),
                          [t] (std::int64_t hit)
                          { return std::abs (hit - t) <= static_cast<std::int64_t> (hitReach); }))
            hits.push_back (t);
    }

    std::sort (hits.begin(), hits.end());
    return hits;
}

class HitSearch
{
public:
    HitSearch (RefinementRun& r, const GatheredPowers& p) : run (r), powers (p)
    {
        for (const auto& totals : powers.totals)
            hits.push_back (hitsOf (totals));
    }

    /** For all microphones at the hits of one drum. */
    [[nodiscard]] AnalysisStatus find (std::size_t drum, CommonHits& common, Workspace& w) const
    {
        const auto numBands = run.bands.count();
        std::vector<AlignedBuffer> spectra; // of the drum's own microphone
        std::vector<double> doubts (numBands);
        std::vector<CrossPower> bins (run.shape.numBins);

        for (std::size_t i = 0; i < run.tracks.size(); ++i)
        {
            if (i == drum || hits[drum].size() < 2)
                continue;

            for (std::size_t band = 0; band < numBands; ++band)
                doubts[band] = doubtAbout (i, drum, band);

            if (std::all_of (doubts.begin(), doubts.end(), [] (double doubt) { return doubt <= 0.0; }))
                continue;

            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            if (! addUp (i, drum, spectra, bins, w))
                return AnalysisStatus::readFailed;

            for (std::size_t band = 0; band < numBands; ++band)
            {
                const auto share =
                    std::min (1.0, coherence (bins, band, hits[drum].size()) / leakageCoherence);
                common.ofBand (band)[i * run.tracks.size() + drum] =
                    static_cast<float> (1.0 - doubts[band] * (1.0 - share));
            }
        }

        return AnalysisStatus::completed;
    }

private:
    [[nodiscard]] std::vector<float> levelsAt (std::size_t track, std::size_t drum, std::size_t band) const
    {
        const auto* const power =
            powers.bands[track].data() + band * static_cast<std::size_t> (run.shape.numFrames);
        std::vector<float> levels;

        for (const auto t : hits[drum])
            levels.push_back (power[t]);

        return levels;
    }

    /** 0 where a microphone is quiet at most of the drum's hits, 1 where it is as loud as at its own. */
    [[nodiscard]] double doubtAbout (std::size_t microphone, std::size_t drum, std::size_t band) const
    {
        auto own = levelsAt (microphone, microphone, band), there = levelsAt (microphone, drum, band);
        const auto count = std::min (numReferences, (own.size() + 1) / 2);

        if (count == 0)
            return 0.0;

        std::sort (own.begin(), own.end(), std::greater<>());
        std::sort (there.begin(), there.end());
        const auto reference =
            std::accumulate (own.begin(), own.begin() + static_cast<std::ptrdiff_t> (count), 0.0)
            / static_cast<double> (count);
        const auto level = static_cast<double> (
            there[static_cast<std::size_t> (levelQuantile * static_cast<double> (there.size() - 1))]);
        return std::clamp (math::log (std::max (level / std::max (reference, 1.0e-30), 1.0e-9) / leastLevel)
                               / math::log (fullLevel / leastLevel),
                           0.0,
                           1.0);
    }

    [[nodiscard]] bool addUp (std::size_t microphone,
                              std::size_t drum,
                              std::vector<AlignedBuffer>& spectra,
                              std::vector<CrossPower>& bins,
                              Workspace& w) const
    {
        const auto frames = std::span (hits[drum]);
        bins.assign (bins.size(), {});

        for (std::size_t first = 0; first < frames.size(); first += blockFrames)
        {
            const auto block = frames.subspan (first, std::min (blockFrames, frames.size() - first));

            if (spectra.size() <= first / blockFrames)
            {
                spectra.emplace_back (w.fft.spectrumFloats());

                if (! w.load (*run.tracks[drum].source, block, run.shape))
                    return false;

                w.fft.forward (spectra.back().data());
            }

            if (! w.load (*run.tracks[microphone].source, block, run.shape))
                return false;

            w.fft.forward (w.spectrum.data());

            for (std::size_t bin = 0; bin < bins.size(); ++bin)
                bins[bin].add (spectra[first / blockFrames].data() + 2 * bin * blockFrames,
                               w.spectrum.data() + 2 * bin * blockFrames,
                               block.size());
        }

        return true;
    }

    /** 0..1, without what chance gives so few frames. */
    [[nodiscard]] double
    coherence (std::span<const CrossPower> bins, std::size_t band, std::size_t numFrames) const
    {
        double product = 0.0, most = 0.0;

        for (auto bin = run.bands.firstBin (band); bin < run.bands.endBin (band); ++bin)
        {
            product += bins[bin].common();
            most += bins[bin].powers();
        }

        return most > 0.0 ? std::max (0.0, beyondChance (product / most, static_cast<double> (numFrames)))
                          : 0.0;
    }

    RefinementRun& run;
    const GatheredPowers& powers;
    std::vector<std::vector<std::int64_t>> hits; // by drum
};
} // namespace

std::optional<CommonHits>
findCommonHits (RefinementRun& run, const GatheredPowers& powers, ProgressRange progress)
{
    CommonHits common (run.bands.count(), run.tracks.size());
    const HitSearch search (run, powers);

    if (! run.forEach (run.tracks.size(),
                       progress,
                       [&] (std::size_t drum, Workspace& w) { return search.find (drum, common, w); }))
        return std::nullopt;

    return common;
}

} // namespace tessivar::refinement
