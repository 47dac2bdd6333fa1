#include "engine/refinement/RefinedLayers.h"

#include "engine/refinement/CommonHits.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/LowPaths.h"
#include "engine/refinement/RefinementPasses.h"

#include <optional>
#include <utility>
#include <vector>

namespace tessivar
{

using namespace refinement;

AnalysisStatus refineTracks (std::span<const RefinementTrack> tracks,
                             const AnalysisShape& shape,
                             WorkerPool& pool,
                             AnalysisStorage& storage,
                             const WorkControl& control,
                             const std::function<void (double)>& progress,
                             std::vector<TrackAnalysis>& analyses,
                             std::shared_ptr<const BleedMap>& bleed)
{
    RefinementRun run (tracks, shape, pool, storage, control, progress, analyses);
    auto powers = gatherPowers (run, { 0.0, 0.25 });

    if (! powers)
        return run.status();

    const auto twins = findTwins (run, *powers, { 0.25, 0.26 });

    if (! twins)
        return run.status();

    const auto common = findCommonHits (run, *powers, { 0.26, 0.27 });

    if (! common)
        return run.status();

    powers->bands = {};
    auto model = fitModel (run, std::move (*powers), *twins, *common, { 0.27, 0.5 });

    if (! model)
        return run.status();

    if (! weighEvidence (run, *model, { 0.5, 0.51 }))
        return run.status();

    Masks masks (tracks.size());
    std::vector<std::optional<LogRatioPlane>> logRatios (tracks.size());

    const auto findDrum = [&] (std::size_t track, ProgressRange range)
    {
        auto planes = computeMask (run, model->tracks[track], range.part (0.0, 0.25));

        if (! planes)
            return false;

        masks[track].emplace (std::move (planes->first));
        logRatios[track].emplace (std::move (planes->second));
        return matchFocus (run, track, *masks[track], model->totals[track], range.part (0.25, 1.0));
    };

    if (! run.forEachTrack ({ 0.51, 0.65 }, findDrum))
        return run.status();

    LowSignals low (tracks.size());
    const auto remainders = subtractLeakage (run, *model, masks, low, { 0.65, 0.75 });

    if (! remainders)
        return run.status();

    if (! weighRemainders (run, *model, { 0.75, 0.755 }))
        return run.status();

    if (! takeLowBand (run, *model, masks, logRatios, low, { 0.755, 0.758 }))
        return run.status();

    if (! predictLowLeakage (run, model->bins, model->silent, low, { 0.758, 0.76 }))
        return run.status();

    auto map = mapSources (run, *model, { 0.76, 0.765 });

    if (! map)
        return run.status();

    const auto write = [&] (std::size_t track, ProgressRange range)
    {
        run.findings (track).bleedPlace = track;
        return writeLayers (run,
                            track,
                            { *masks[track], *logRatios[track], model->tracks[track].evidence, model->drums },
                            (*remainders)[track],
                            low.microphones[track],
                            *map,
                            range);
    };

    if (! run.forEachTrack ({ 0.765, 1.0 }, write))
        return run.status();

    bleed = std::make_shared<const BleedMap> (*std::move (map));
    return AnalysisStatus::completed;
}

AnalysisForecast forecastRefinement (const AnalysisShape& analysisShape, int numThreads)
{
    const SpectrumShape shape (analysisShape);
    const auto tracks = static_cast<std::uint64_t> (analysisShape.numRendered);
    const auto workers = static_cast<std::uint64_t> (numThreads);
    const auto frames = static_cast<std::uint64_t> (shape.numSegments) * tileFrames;
    const auto bands = static_cast<std::uint64_t> (EvidenceBands (shape.numBins, shape.binWidthHz()).count());

    // A worker's buffers stay: a block of bins of all tracks; four tiles; a block's transforms, and streams
    // and signals of the source and five outputs; a block's stream, spectrum and mask of every track.
    const std::uint64_t block = 4 * shape.blockCodes(), samples = 4 * shape.blockSamples();
    const auto segment = 4 * 2 * shape.tileCodes() + 16 * block + 6 * (2 * block + 3 * samples)
                         + tracks * (3 * block + 2 * samples);
    const auto evidence = 12 * bands * frames * tracks;

    AnalysisForecast forecast;
    forecast.memoryBytes =
        workers * (modelBytes (shape, static_cast<std::size_t> (analysisShape.numRendered)) + segment)
        + evidence + bleedBytes (shape, static_cast<std::size_t> (analysisShape.numRendered))
        + pathBytes (shape, static_cast<std::size_t> (analysisShape.numRendered))
        + lowPathBytes (shape, static_cast<std::size_t> (analysisShape.numRendered)) + (32u << 20);
    forecast.scratchBytes = 2 * planesPerTrack * tracks * frames * shape.numBins;
    return forecast;
}

} // namespace tessivar
