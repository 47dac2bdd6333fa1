#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "engine/refinement/OutputSegment.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tessivar::refinement
{

namespace
{
constexpr double emptyTrackDb = -15.0; // a mask that leaves less than this found no drum to keep

// Below this no output of the standard method holds the masked drum: mask and outputs contradict each other,
// as where a drum never plays. Drums that play were seen from 4.4 dB on.
constexpr double contradictionDb = 4.0;

// What the mask takes from a track lies this far below it: less than the first is left alone, more than the
// second goes.
constexpr double inaudibleDb = 45.0, audibleDb = 42.0;

constexpr std::size_t fewestSegments = 32;

bool isContradictory (const TrackFindings& findings)
{
    const auto& matches = findings.focusMatchDb;
    return *std::max_element (matches.begin() + 1, matches.end()) < contradictionDb;
}

/** Sums over the standard outputs by Focus, and over the masked track. */
struct MatchSums
{
    std::array<double, numFocusSteps> product{}, energy{};
    double masked = 0.0;

    void add (const MatchSums& other)
    {
        masked += other.masked;

        for (std::size_t f = 0; f < numFocusSteps; ++f)
        {
            product[f] += other.product[f];
            energy[f] += other.energy[f];
        }
    }
};

/** The track under its mask alone. */
void maskTrack (OutputSegment& segment, Workspace& w)
{
    segment.clear (0);

    for (auto t = segment.range.frames.first; t < segment.range.frames.end; ++t)
    {
        w.sourceFrames.analyse (segment.frameSamples (t));
        segment.setSpectrum (w.sourceFrames.spectrum());
        kernels::maskGains (w.gains.data(), segment.mask (t), 1.0f, w.gains.size());
        segment.add (0, t, w.gains.data());
    }
}

/** Goes through the standard outputs piece by piece, so that a piece is added up while it lies in the cache.
*/
bool addOutputs (const RefinementTrack& track, const OutputSegment& segment, Workspace& w, MatchSums& sums)
{
    constexpr auto pieceSamples = StandardOutputReader::pieceSamples;
    const auto* masked = segment.samples (0);
    StandardOutputReader::Outputs outputs{};

    for (std::size_t f = 1; f < numFocusSteps; ++f)
    {
        w.outputs[f].resize (std::max (w.outputs[f].size(), pieceSamples));
        outputs[f] = w.outputs[f].data();
    }

    for (std::size_t first = 0; first < segment.range.length; first += pieceSamples)
    {
        const auto n = std::min (pieceSamples, segment.range.length - first);

        if (! w.outputReader.read (
                track, segment.range.start + static_cast<std::int64_t> (first), n, outputs))
            return false;

        sums.masked += kernels::sumOfSquares (masked + first, n);

        for (std::size_t f = 0; f < numFocusSteps; ++f)
        {
            const auto* output = f == 0 ? segment.source() + first : outputs[f];
            sums.product[f] += kernels::dotProduct (output, masked + first, n);
            sums.energy[f] += kernels::sumOfSquares (output, n);
        }
    }

    return true;
}

/** The segments in which a track is loudest, in order: all of a minute and a half, of longer tracks half,
    which hold next to all that the sums are made of.
*/
std::vector<std::size_t> loudSegments (std::size_t numSegments, std::span<const float> totals)
{
    std::vector<double> power (numSegments);
    std::vector<std::size_t> segments (numSegments);

    for (std::size_t n = 0; n < numSegments; ++n)
    {
        const auto first = std::min (n * tileFrames, totals.size());
        const auto part = totals.subspan (first, std::min (tileFrames, totals.size() - first));
        power[n] = std::accumulate (part.begin(), part.end(), 0.0);
        segments[n] = n;
    }

    std::stable_sort (
        segments.begin(), segments.end(), [&] (std::size_t a, std::size_t b) { return power[a] > power[b]; });
    segments.resize (std::min (segments.size(), std::max (fewestSegments, (segments.size() + 1) / 2)));
    std::sort (segments.begin(), segments.end());
    return segments;
}

void conclude (const MatchSums& sums, TrackFindings& findings)
{
    // Scale-invariant signal-to-distortion ratio of each output against the masked track, in dB.
    for (std::size_t f = 0; f < numFocusSteps; ++f)
    {
        const auto projection = sums.product[f] * sums.product[f] / std::max (sums.masked, 1.0e-30);
        const auto distortion = std::max (sums.energy[f] - projection, 1.0e-12 * sums.energy[f] + 1.0e-30);
        findings.focusMatchDb[f] = 10.0 * std::log10 (std::max (projection, 1.0e-30) / distortion);
    }

    findings.maskedEnergyDb =
        10.0 * std::log10 (std::max (sums.masked, 1.0e-30) / std::max (sums.energy[0], 1.0e-30));

    for (int f = 0; f < numFocusSteps; ++f)
    {
        const auto begin = findings.focusMatchDb.begin();
        findings.bestFocusUpTo[static_cast<std::size_t> (f)] =
            static_cast<int> (std::max_element (begin, begin + f + 1) - begin);
    }

    // The lowest value that has the whole effect; nothing where no drum was found to keep.
    const auto best = findings.bestFocusUpTo.back();
    const auto isLeft =
        sums.energy[0] <= 0.0 || findings.maskedEnergyDb < emptyTrackDb || isContradictory (findings);
    findings.suggestedFocus = isLeft ? 0.0 : static_cast<double> (std::max (1, best));
}
} // namespace

bool isDrumFound (const TrackFindings& findings)
{
    return findings.suggestedFocus.value_or (0.0) > 0.0 && findings.certainty() != Certainty::unsure;
}

double supportedEffect (const TrackFindings& findings)
{
    if (isContradictory (findings))
        return 0.0;

    return std::clamp ((inaudibleDb - findings.focusMatchDb[0]) / (inaudibleDb - audibleDb), 0.0, 1.0);
}

bool matchFocus (RefinementRun& run,
                 std::size_t track,
                 const MaskPlane& mask,
                 std::span<const float> totals,
                 ProgressRange progress)
{
    const auto segments =
        loudSegments (SampleSegment::count (run.shape, run.tracks[track].ownLength), totals);
    std::vector<MatchSums> sums (segments.size());

    const auto isDone =
        run.forEach (sums.size(),
                     progress,
                     [&] (std::size_t item, Workspace& w)
                     {
                         OutputSegment segment (run, track, segments[item], w);

                         if (const auto status = segment.open (mask); status != AnalysisStatus::completed)
                             return status;

                         maskTrack (segment, w);
                         return completedIf (addOutputs (run.tracks[track], segment, w, sums[item]),
                                             AnalysisStatus::readFailed);
                     });

    if (! isDone)
        return false;

    MatchSums total;

    for (const auto& part : sums)
        total.add (part);

    conclude (total, run.findings (track));
    return true;
}

} // namespace tessivar::refinement
