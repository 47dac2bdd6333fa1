#include "engine/refinement/TwinMicrophones.h"

#include "engine/refinement/CrossPower.h"
#include "engine/refinement/RefinementPasses.h"
#include "engine/refinement/RiseRules.h"
#include "engine/refinement/Statistics.h"
#include "terms/Mathematics.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t onsetReach = 6;     // frames on either side in which a larger rise is the onset
constexpr std::size_t onsetTolerance = 3; // frames that two microphones' onsets may be apart
constexpr std::size_t mostCandidates = 400;

// Onsets of a band: its strongest, as far down as this fraction of the power of the three first of them.
constexpr std::size_t mostBandOnsets = 40, numBandReferences = 3;
constexpr float bandOnsetDepth = 0.1f;

// Onsets of the whole, in sums over bands of amplitudes.
constexpr std::size_t mostOnsets = 24, numReferences = 4;
constexpr float onsetDepth = 0.3162f;
constexpr std::size_t framesBefore = 1, framesAfter = 3; // that coherence is measured in

constexpr double excessQuantile = 0.7, mostExcessDb = 40.0, leastRise = 1.0e-6;
constexpr double independentFrames = 0.4; // of frames that overlap by three quarters

/** The difference that a pair may show: it grows with the coherence above the least. */
struct Allowance
{
    double leastCoherence, slopeDb, mostDb;
};

// Unlike types are seldom on one drum; two such microphones may only hear the same loud leakage.
constexpr Allowance forLikeTypes{ 0.43, 18.0, 7.2 }, forUnlikeTypes{ 0.56, 15.0, 4.0 };
constexpr double mostWithinDrumDb = 12.0; // difference of twins by a third

double allowedDifferenceDb (double coherence, bool likeTypes)
{
    const auto& allowance = likeTypes ? forLikeTypes : forUnlikeTypes;
    return std::min (allowance.mostDb, allowance.slopeDb * (coherence - allowance.leastCoherence));
}

struct Onsets
{
    std::vector<std::uint32_t> frames; // strongest first
    double reference = 0.0;            // mean of the first of them
};

/** The frames with the largest values, none within onsetReach of a larger one, down to a fraction of the mean
    of the first few. */
Onsets findOnsets (std::span<const float> values, std::size_t most, std::size_t numFirst, float depth)
{
    std::vector<std::uint32_t> order (values.size());
    std::iota (order.begin(), order.end(), 0u);
    const auto count = std::min (order.size(), mostCandidates);
    Onsets onsets;

    if (count == 0)
        return onsets;

    moveLargestToFront (order, count, [values] (std::uint32_t t) { return values[t]; });
    order.resize (count);
    std::sort (order.begin(),
               order.end(),
               [values] (std::uint32_t a, std::uint32_t b)
               { return values[a] > values[b] || (! (values[a] < values[b]) && a < b); });

    double sum = 0.0;

    for (const auto t : order)
    {
        const auto isNear = [t] (std::uint32_t other)
        { return std::max (t, other) - std::min (t, other) <= onsetReach; };
        const auto value = static_cast<double> (values[t]);
        const auto numFound = onsets.frames.size();

        if (value <= 0.0 || numFound == most
            || (numFound >= numFirst && value < static_cast<double> (depth) * onsets.reference))
            break;

        if (std::any_of (onsets.frames.begin(), onsets.frames.end(), isNear))
            continue;

        if (numFound < numFirst)
        {
            sum += value;
            onsets.reference = sum / static_cast<double> (numFound + 1);
        }

        onsets.frames.push_back (t);
    }

    return onsets;
}

/** What begins when in a microphone. */
struct MicrophoneOnsets
{
    MicrophoneOnsets (std::span<const float> powers, std::size_t frames, std::size_t numBands)
        : numFrames (frames), rises (powers.size())
    {
        std::vector<float> amplitudes (numFrames);

        for (std::size_t band = 0; band < numBands; ++band)
        {
            const auto* const power = powers.data() + band * numFrames;
            auto* const rise = rises.data() + band * numFrames;

            for (std::size_t t = 0; t < numFrames; ++t)
            {
                rise[t] = std::max (0.0f, riseAt (power, t));
                amplitudes[t] += std::sqrt (rise[t]);
            }

            bands.push_back (
                findOnsets ({ rise, numFrames }, mostBandOnsets, numBandReferences, bandOnsetDepth));
            loudest = std::max (loudest, bands.back().reference);
        }

        whole = findOnsets (amplitudes, mostOnsets, numReferences, onsetDepth);
    }

    /** The largest rise of a band about a frame, as a fraction of its strongest onsets. */
    [[nodiscard]] double riseAbout (std::size_t band, std::size_t t) const
    {
        const auto* const rise = rises.data() + band * numFrames;
        const auto first = t - std::min (t, onsetTolerance),
                   end = std::min (numFrames, t + onsetTolerance + 1);
        return static_cast<double> (*std::max_element (rise + first, rise + end)) / bands[band].reference;
    }

    /** How much the microphone's onsets in a band count: the amplitude of the strongest relative to the other
        bands'. */
    [[nodiscard]] double weight (std::size_t band) const
    {
        return loudest > 0.0 ? std::sqrt (bands[band].reference / loudest) : 0.0;
    }

    const std::size_t numFrames;
    std::vector<Onsets> bands;
    Onsets whole;

private:
    std::vector<float> rises; // band after band
    double loudest = 0.0;
};

/** How far one microphone's strong onsets in a band exceed the other's at the same time, each relative to its
    own strongest, in dB. Frames in which the other is silenced count for nothing; no value without any. */
std::optional<double> excessDb (const MicrophoneOnsets& one,
                                const MicrophoneOnsets& other,
                                std::span<const float> otherTotals,
                                std::size_t band)
{
    std::array<float, mostBandOnsets> excesses{};
    std::size_t count = 0;

    for (const auto t : one.bands[band].frames)
        if (otherTotals[t] > 0.0f)
            excesses[count++] = static_cast<float> (
                10.0 * math::log10 (one.riseAbout (band, t) / (other.riseAbout (band, t) + leastRise)));

    if (count == 0)
        return std::nullopt;

    return static_cast<double> (quantile (std::span (excesses).first (count), excessQuantile));
}

/** How unlike the onsets of two microphones are, in dB: 0 where the strongest of both coincide in all bands,
    tens of dB where what is strong in one is weak in the other. */
double differenceDb (const MicrophoneOnsets& a,
                     const MicrophoneOnsets& b,
                     std::span<const float> totalsA,
                     std::span<const float> totalsB)
{
    double sum = 0.0, weights = 0.0;

    for (std::size_t band = 0; band < a.bands.size(); ++band)
    {
        if (a.bands[band].frames.empty() || b.bands[band].frames.empty())
            continue;

        const auto there = excessDb (a, b, totalsB, band), back = excessDb (b, a, totalsA, band);

        if (! there || ! back)
            continue;

        const auto weight = std::max (a.weight (band), b.weight (band));
        sum += weight * std::clamp (*there + *back, 0.0, mostExcessDb);
        weights += weight;
    }

    return weights > 0.0 ? sum / weights : mostExcessDb;
}

/** Frames about the strongest onsets of both microphones in which neither is silenced, in ascending order. */
std::vector<std::int64_t> framesAboutOnsets (const MicrophoneOnsets& a,
                                             const MicrophoneOnsets& b,
                                             std::span<const float> totalsA,
                                             std::span<const float> totalsB)
{
    std::vector<std::int64_t> frames;

    for (const auto* microphone : { &a, &b })
        for (const std::size_t t : microphone->whole.frames)
            for (auto frame = t - std::min (t, framesBefore);
                 frame < std::min (a.numFrames, t + framesAfter + 1);
                 ++frame)
                if (totalsA[frame] > 0.0f && totalsB[frame] > 0.0f)
                    frames.push_back (static_cast<std::int64_t> (frame));

    std::sort (frames.begin(), frames.end());
    frames.erase (std::unique (frames.begin(), frames.end()), frames.end());
    return frames;
}

/** The coherence of all bins (the square of its magnitude, 0..1), weighted by the powers in both
    microphones and without what chance gives so few frames. */
double meanCoherence (std::span<const CrossPower> bins, std::size_t numFrames)
{
    double sum = 0.0, weights = 0.0;

    for (const auto& bin : bins)
        if (const auto powers = bin.powers(); powers > 0.0)
        {
            const auto weight = std::sqrt (powers);
            sum += weight * bin.common() / powers;
            weights += weight;
        }

    const auto numIndependent = independentFrames * static_cast<double> (numFrames);

    if (! (weights > 0.0) || numIndependent <= 1.0)
        return 0.0;

    return beyondChance (sum / weights, numIndependent);
}

struct Pair
{
    std::size_t a, b;
    double differenceDb = mostExcessDb;
    double marginDb = 0.0; // what the difference stays below the allowed one; above 0 for twins
};

/** Looks at pairs of microphones, several at a time. */
class TwinSearch
{
public:
    TwinSearch (RefinementRun& r, const GatheredPowers& p) : run (r), powers (p), onsets (r.tracks.size())
    {
        for (std::size_t b = 0; b < onsets.size(); ++b)
            for (std::size_t a = 0; a < b; ++a)
                pairs.push_back ({ a, b });
    }

    [[nodiscard]] bool compareAll (ProgressRange progress)
    {
        const auto numFrames = static_cast<std::size_t> (run.shape.numFrames);
        const auto findOnsetsOf = [&] (std::size_t i, Workspace&)
        {
            onsets[i].emplace (powers.bands[i], numFrames, run.bands.count());
            return AnalysisStatus::completed;
        };

        return run.forEach (onsets.size(), progress.part (0.0, 0.5), findOnsetsOf)
               && run.forEach (pairs.size(),
                               progress.part (0.5, 1.0),
                               [&] (std::size_t n, Workspace& w) { return compare (pairs[n], w); });
    }

    /** Joins pairs, the clearest first. A microphone whose own drum never plays may resemble several; it gets
        no two that are unlike each other. */
    [[nodiscard]] TwinMicrophones join()
    {
        TwinMicrophones twins (onsets.size());
        std::stable_sort (pairs.begin(),
                          pairs.end(),
                          [] (const Pair& x, const Pair& y) { return x.marginDb > y.marginDb; });

        for (const auto& pair : pairs)
        {
            const auto first = twins.drumOf (pair.a), second = twins.drumOf (pair.b);
            const auto parts = [&] (const Pair& other)
            {
                const auto a = twins.drumOf (other.a), b = twins.drumOf (other.b);
                return ((a == first && b == second) || (a == second && b == first))
                       && other.differenceDb > mostWithinDrumDb;
            };

            if (pair.marginDb > 0.0 && std::none_of (pairs.begin(), pairs.end(), parts))
                twins.join (pair.a, pair.b);
        }

        return twins;
    }

private:
    [[nodiscard]] AnalysisStatus compare (Pair& pair, Workspace& w) const
    {
        const auto &a = *onsets[pair.a], &b = *onsets[pair.b];
        const auto likeTypes = run.tracks[pair.a].drumType == run.tracks[pair.b].drumType;
        const std::span<const float> totalsA = powers.totals[pair.a], totalsB = powers.totals[pair.b];
        pair.differenceDb = differenceDb (a, b, totalsA, totalsB);

        if (pair.differenceDb >= allowedDifferenceDb (1.0, likeTypes))
            return AnalysisStatus::completed;

        const auto coherence = coherenceAt (framesAboutOnsets (a, b, totalsA, totalsB), pair, w);

        if (! coherence)
            return AnalysisStatus::readFailed;

        pair.marginDb = allowedDifferenceDb (*coherence, likeTypes) - pair.differenceDb;
        return AnalysisStatus::completed;
    }

    /** Nothing when a track can't be read. */
    [[nodiscard]] std::optional<double>
    coherenceAt (std::span<const std::int64_t> frames, const Pair& pair, Workspace& w) const
    {
        std::vector<CrossPower> bins (run.shape.numBins);
        AlignedBuffer spectrum (w.fft.spectrumFloats());

        for (std::size_t first = 0; first < frames.size(); first += blockFrames)
        {
            const auto block = frames.subspan (first, std::min (blockFrames, frames.size() - first));

            if (! w.load (*run.tracks[pair.a].source, block, run.shape))
                return std::nullopt;

            w.fft.forward (spectrum.data());

            if (! w.load (*run.tracks[pair.b].source, block, run.shape))
                return std::nullopt;

            w.fft.forward (w.spectrum.data());

            for (std::size_t bin = 0; bin < bins.size(); ++bin)
                bins[bin].add (spectrum.data() + 2 * bin * blockFrames,
                               w.spectrum.data() + 2 * bin * blockFrames,
                               block.size());
        }

        return meanCoherence (bins, frames.size());
    }

    RefinementRun& run;
    const GatheredPowers& powers;
    std::vector<std::optional<MicrophoneOnsets>> onsets; // by track
    std::vector<Pair> pairs;
};
} // namespace

std::optional<TwinMicrophones>
findTwins (RefinementRun& run, const GatheredPowers& powers, ProgressRange progress)
{
    TwinSearch search (run, powers);

    if (! search.compareAll (progress))
        return std::nullopt;

    auto twins = search.join();

    for (std::size_t i = 0; i < twins.size(); ++i)
        run.findings (i).sharedDrum = twins.hasTwin (i) ? static_cast<int> (twins.drumOf (i)) + 1 : 0;

    return twins;
}

} // namespace tessivar::refinement
