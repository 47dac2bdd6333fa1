#include "engine/LoudSegments.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "engine/refinement/RefinementPasses.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>

namespace tessivar::refinement
{

namespace
{
constexpr double emptyTrackDb = -15.0; // a mask that leaves less than this found no drum to keep

// A higher Focus takes more from a track, so it has to match by so much better than a lower one.
constexpr double clearlyBetterDb = 1.5;

// The mask resembles the output that the model started from by so much more.
constexpr double firstEstimateLeadDb = 2.0;

// What the mask takes from a track lies this far below it: less than the first is left alone, more than the
// second goes.
constexpr double inaudibleDb = 45.0, audibleDb = 42.0;

constexpr std::size_t fewestSegments = 32; // a minute and a half
constexpr std::size_t longestRun = 4;      // of segments that one worker takes at a time

/** Sums over the standard outputs by Focus, and over the masked track. */
struct MatchSums
{
    std::array<double, numFocusSteps> product{}, energy{};
    std::array<double, numFocusSteps> removedProduct{}, removed{}; // what is left out, against the mask's
    double masked = 0.0, removedByMask = 0.0;

    void add (const MatchSums& other)
    {
        masked += other.masked;
        removedByMask += other.removedByMask;

        for (std::size_t f = 0; f < numFocusSteps; ++f)
        {
            product[f] += other.product[f];
            energy[f] += other.energy[f];
            removedProduct[f] += other.removedProduct[f];
            removed[f] += other.removed[f];
        }
    }
};

/** Compares consecutive segments of a track. */
class RunMatching
{
public:
    RunMatching (const RefinementRun& r, std::size_t index, const MaskPlane& m, Workspace& workspace)
        : shape (r.shape), track (r.tracks[index]), mask (m), w (workspace)
    {
    }

    /** sums: for each of the segments from this one on. */
    [[nodiscard]] AnalysisStatus match (std::size_t firstSegment, std::span<MatchSums> sums)
    {
        const auto first = static_cast<std::int64_t> (firstSegment * tileFrames);
        const Stretch stretch (
            shape, first, first + static_cast<std::int64_t> (sums.size() * tileFrames), track.ownLength);
        auto& signal = w.signals[0];
        w.sourceFrames.restart();
        signal.carry.clear();

        for (auto block = stretch.firstBlock; block < stretch.endBlock; ++block)
        {
            const auto* const codes = mask.readBlock (block, w.maskRoom);

            if (codes == nullptr)
                return AnalysisStatus::storageFailed;

            if (! readSource (*track.source,
                              w.sourceFrames.moveTo (block * static_cast<std::int64_t> (blockFrames))))
                return AnalysisStatus::readFailed;

            // The track under its mask alone.
            w.forward (w.sourceFrames);
            kernels::maskGains (w.gains.data(), codes, 1.0f, shape.blockCodes());
            w.fft.prepare (w.spectrum.data());
            w.fft.overlapGained (signal.samples.data(), signal.carry, w.gains.data(), w.frameGains.data());

            const auto part = stretch.completedBy (block);
            StandardOutputs outputs{};

            for (std::size_t f = 1; f < numFocusSteps; ++f)
                outputs[f] = w.rendered[f - 1].data();

            if (! readStandard (track, part.start, part.length, outputs))
                return AnalysisStatus::readFailed;

            // Segments end within what a block completes. These pieces are the same wherever a run begins.
            const auto boundary = block * static_cast<std::int64_t> (shape.blockSamples());
            const auto before = std::min (
                part.length, static_cast<std::size_t> (std::max<std::int64_t> (0, boundary - part.start)));
            const auto segmentAt = [&] (std::int64_t position)
            {
                const auto segment =
                    static_cast<std::size_t> (position) / (tileBlocks * shape.blockSamples());
                return segment - firstSegment;
            };

            if (before > 0)
                add (outputs, part, 0, before, sums[segmentAt (part.start)]);

            if (before < part.length)
                add (outputs, part, before, part.length, sums[segmentAt (boundary)]);
        }

        return AnalysisStatus::completed;
    }

private:
    static void subtract (float* dest, const float* a, const float* b, std::size_t n)
    {
        for (std::size_t i = 0; i < n; ++i)
            dest[i] = a[i] - b[i];
    }

    /** Samples from .. to - 1 of a part. */
    void add (const StandardOutputs& outputs,
              const Stretch::Part& part,
              std::size_t from,
              std::size_t to,
              MatchSums& sums)
    {
        const auto* masked = w.signals[0].samples.data() + part.offset + from;
        const auto n = to - from;
        sums.masked += kernels::sumOfSquares (masked, n);
        const auto* const source = w.sourceFrames.samples() + part.offset + from;
        auto *byMask = w.source.data() + from, *byOutput = w.gains.data();
        subtract (byMask, source, masked, n);
        sums.removedByMask += kernels::sumOfSquares (byMask, n);

        for (std::size_t f = 0; f < numFocusSteps; ++f)
        {
            const auto* output = f == 0 ? source : outputs[f] + from;
            sums.product[f] += kernels::dotProduct (output, masked, n);
            sums.energy[f] += kernels::sumOfSquares (output, n);

            if (f == 0)
                continue;

            subtract (byOutput, source, output, n);
            sums.removedProduct[f] += kernels::dotProduct (byOutput, byMask, n);
            sums.removed[f] += kernels::sumOfSquares (byOutput, n);
        }
    }

    const SpectrumShape& shape;
    const RefinementTrack& track;
    const MaskPlane& mask;
    Workspace& w;
};

/** Where runs of consecutive segments begin, as indices, and behind the last one. */
std::vector<std::size_t> runsOf (std::span<const std::size_t> segments)
{
    std::vector<std::size_t> begins;

    for (std::size_t n = 0; n < segments.size(); ++n)
        if (n == 0 || segments[n] != segments[n - 1] + 1 || n - begins.back() == longestRun)
            begins.push_back (n);

    begins.push_back (segments.size());
    return begins;
}

void conclude (const MatchSums& sums, bool rings, TrackFindings& findings)
{
    // Scale-invariant signal-to-distortion ratio of each output against the masked track, in dB.
    for (std::size_t f = 0; f < numFocusSteps; ++f)
    {
        const auto projection = sums.product[f] * sums.product[f] / std::max (sums.masked, 1.0e-30);
        const auto distortion = std::max (sums.energy[f] - projection, 1.0e-12 * sums.energy[f] + 1.0e-30);
        findings.focusMatchDb[f] = 10.0 * math::log10 (std::max (projection, 1.0e-30) / distortion);
    }

    findings.maskedEnergyDb =
        10.0 * math::log10 (std::max (sums.masked, 1.0e-30) / std::max (sums.energy[0], 1.0e-30));

    const auto matchOf = [&] (std::size_t f)
    { return findings.focusMatchDb[f] - (f == firstEstimateFocus ? firstEstimateLeadDb : 0.0); };
    std::size_t best = 0;

    // A drum that rings changes its sound as it decays, and few components don't follow: what a higher Focus
    // takes from it is its ring. There the lowest one that serves stands for all, and serves when it matches
    // as well as the mask does.
    const auto leadOverMask = rings ? -0.01 : 0.0;

    for (std::size_t f = 0; f < numFocusSteps; ++f)
    {
        if (matchOf (f) > matchOf (best) + (best == 0 ? leadOverMask : clearlyBetterDb)
            && (best == 0 || ! rings))
            best = f;

        findings.bestFocusUpTo[f] = static_cast<int> (best);
    }

    // No output is of any help then: the mask stands for all of them.
    if (findings.bestOutputMatchDb() < contradictionDb)
        findings.bestFocusUpTo.fill (0);

    // The lowest value that has the whole effect; nothing where no drum was found to keep.
    const auto wholeEffect = findings.bestFocusUpTo.back();
    const auto isLeft = sums.energy[0] <= 0.0 || findings.maskedEnergyDb < emptyTrackDb;
    findings.suggestedFocus = isLeft ? 0.0 : static_cast<double> (std::max (1, wholeEffect));
}
} // namespace

bool isDrumFound (const TrackFindings& findings)
{
    return findings.suggestedFocus.value_or (0.0) > 0.0
           && std::max (findings.focusMatchDb[0], findings.bestOutputMatchDb()) >= fairlySureMatchDb;
}

double supportedEffect (const TrackFindings& findings)
{
    return findings.confidence.value_or (1.0)
           * std::clamp ((inaudibleDb - findings.focusMatchDb[0]) / (inaudibleDb - audibleDb), 0.0, 1.0);
}

bool matchFocus (RefinementRun& run,
                 std::size_t track,
                 const MaskPlane& mask,
                 std::span<const float> totals,
                 ProgressRange progress)
{
    const auto numSegments = static_cast<std::size_t> (
        (run.shape.hopsOf (run.tracks[track].ownLength) + static_cast<std::int64_t> (tileFrames) - 1)
        / static_cast<std::int64_t> (tileFrames));
    const auto segments = loudestSegments (
        totals.first (std::min (totals.size(), numSegments * tileFrames)), tileFrames, fewestSegments);
    std::vector<MatchSums> sums (segments.size());
    const auto runs = runsOf (segments);

    if (! run.forEach (runs.size() - 1,
                       progress,
                       [&] (std::size_t item, Workspace& w)
                       {
                           const auto first = runs[item];
                           return RunMatching (run, track, mask, w)
                               .match (segments[first],
                                       std::span (sums).subspan (first, runs[item + 1] - first));
                       }))
        return false;

    MatchSums total;

    for (const auto& part : sums)
        total.add (part);

    auto& findings = run.findings (track);
    conclude (total, run.tracks[track].rings, findings);

    const auto& matches = findings.focusMatchDb;
    const auto best =
        static_cast<std::size_t> (std::max_element (matches.begin() + 1, matches.end()) - matches.begin());
    findings.benefit.outputAgreement =
        total.removedProduct[best]
        / std::sqrt (std::max (total.removed[best] * total.removedByMask, 1.0e-60));
    return true;
}

} // namespace tessivar::refinement
