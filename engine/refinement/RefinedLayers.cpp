#include "engine/refinement/RefinedLayers.h"

#include "engine/refinement/FocusMatching.h"
#include "engine/refinement/LayerWriting.h"
#include "engine/refinement/LeakageCancelling.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/MaskComputing.h"
#include "engine/refinement/ModelFitting.h"
#include "engine/refinement/PowerGathering.h"

#include <algorithm>

namespace tessivar
{

namespace
{
using namespace refinement;

/** A track's mask, and what the standard method's outputs have in common with it. */
bool maskTrack (RefinementRun& run, std::size_t track, SeparationEvidence& evidence, ProgressRange progress)
{
    if (! evidence.weigh (run.control))
        return run.fail (AnalysisStatus::stopped);

    run.analysis (track).findings.leakageDb = evidence.leakageDb();
    return computeMask (run, track, evidence, progress.part (0.0, 0.25))
           && matchFocus (run, track, progress.part (0.25, 1.0));
}

/** Does the work for one track after the other. */
bool forAll (std::span<const std::size_t> tracks,
             ProgressRange progress,
             const std::function<bool (std::size_t track, ProgressRange)>& work)
{
    const auto share = 1.0 / static_cast<double> (tracks.size());

    for (std::size_t n = 0; n < tracks.size(); ++n)
        if (const auto done = static_cast<double> (n) * share;
            ! work (tracks[n], progress.part (done, done + share)))
            return false;

    return true;
}

std::vector<SeparationEvidence> makeEvidence (const RefinementRun& run)
{
    const auto& shape = run.shape;
    const auto hopSeconds = static_cast<double> (shape.rate.hop) / shape.rate.sampleRate;
    std::vector<SeparationEvidence> evidence;
    evidence.reserve (run.tracks.size());

    for (std::size_t i = 0; i < run.tracks.size(); ++i)
        evidence.emplace_back (run.bands,
                               static_cast<std::size_t> (shape.numSegments) * tileFrames,
                               static_cast<std::size_t> (shape.numFrames),
                               hopSeconds);

    return evidence;
}

bool refine (RefinementRun& run)
{
    if (! run.openPlanes() || ! gatherPowers (run, { 0.0, 0.25 }))
        return false;

    auto evidence = makeEvidence (run);

    if (! fitModel (run, evidence, { 0.25, 0.5 }))
        return false;

    std::vector<std::size_t> rendered;

    for (std::size_t i = 0; i < run.tracks.size(); ++i)
        if (run.tracks[i].standard != nullptr)
            rendered.push_back (i);

    LeakageCancelling cancelling (run);

    return forAll (rendered,
                   { 0.5, 0.65 },
                   [&] (std::size_t track, ProgressRange progress)
                   { return maskTrack (run, track, evidence[track], progress); })
           && cancelling.cancel ({ 0.65, 0.75 })
           && forAll (rendered,
                      { 0.75, 1.0 },
                      [&] (std::size_t track, ProgressRange progress)
                      { return writeLayers (run, track, cancelling.isCancelled (track), progress); });
}
} // namespace

AnalysisStatus refineTracks (std::span<const RefinementTrack> tracks,
                             const AnalysisShape& shape,
                             WorkerPool& pool,
                             const RefinementStorage& storage,
                             const WorkControl& control,
                             const std::function<void (double)>& progress,
                             std::vector<TrackAnalysis>& analyses)
{
    RefinementRun run (tracks, shape, pool, storage, control, progress, analyses);
    return refine (run) ? AnalysisStatus::completed : run.status();
}

AnalysisForecast forecastRefinement (const AnalysisShape& analysisShape, int numThreads)
{
    const SpectrumShape shape (analysisShape);
    const auto tracks = static_cast<std::uint64_t> (analysisShape.numActive);
    const auto workers = static_cast<std::uint64_t> (numThreads);
    const auto frames = static_cast<std::uint64_t> (shape.numSegments) * tileFrames;
    const auto samples =
        static_cast<std::uint64_t> (segmentFrames + 16) * static_cast<std::uint64_t> (shape.rate.hop);
    const auto bands = static_cast<std::uint64_t> (
        EvidenceBands (shape.numBins, static_cast<double> (shape.rate.sampleRate) / shape.rate.frameLength)
            .count());

    // A worker's buffers stay: a block of bins of all tracks; four tiles; a segment of the source, five
    // outputs, six signals; a tile, the source and its leakage of every track.
    const auto segment =
        8 * shape.tileCodes() + 4 * 12 * samples + tracks * (2 * shape.tileCodes() + 8 * samples);
    const auto evidence = 16 * bands * frames * tracks;

    AnalysisForecast forecast;
    forecast.memoryBytes =
        workers * (modelBytes (shape, static_cast<std::size_t> (analysisShape.numActive)) + segment)
        + evidence + pathBytes (shape, static_cast<std::size_t> (analysisShape.numActive)) + (32u << 20);
    forecast.scratchBytes = 2 * RefinementRun::planesPerTrack * tracks * frames * shape.binStride;
    return forecast;
}

} // namespace tessivar
