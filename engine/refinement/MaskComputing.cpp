#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/RefinementPasses.h"
#include "engine/refinement/TrackBenefit.h"

#include <utility>

namespace tessivar::refinement
{

bool weighEvidence (RefinementRun& run, FittedModel& model, ProgressRange progress)
{
    return run.forEach (model.tracks.size(),
                        progress,
                        [&] (std::size_t track, Workspace&)
                        {
                            auto& evidence = model.tracks[track].evidence;

                            const auto isDone = evidence.weigh (run.control);
                            run.findings (track).leakageDb = evidence.leakageDb();
                            return completedIf (isDone, AnalysisStatus::stopped);
                        });
}

std::optional<std::pair<MaskPlane, LogRatioPlane>>
computeMask (RefinementRun& run, FittedTrack& fitted, ProgressRange progress)
{
    const auto& shape = run.shape;
    const auto& tiles = fitted.logRatios;
    MaskPlane mask (std::move (fitted.spareForMask));
    LogRatioPlane logRatios (std::move (fitted.spareForRatios));
    const auto isDone = run.forEach (
        static_cast<std::size_t> (shape.numSegments),
        progress,
        [&] (std::size_t segment, Workspace& w)
        {
            auto &room = w.codes[0], &maskTile = w.codes[1], &roomForBlocks = w.codes[2];

            for (auto* codes : { &room, &maskTile, &roomForBlocks })
                codes->resize (shape.tileCodes());

            const auto* const tile = tiles.read (segment, 0, room);

            if (tile == nullptr)
                return AnalysisStatus::storageFailed;

            for (std::size_t band = 0; band < run.bands.count(); ++band)
                for (auto bin = run.bands.firstBin (band); bin < run.bands.endBin (band); ++bin)
                    kernels::packMask (maskTile.data() + bin * tileFrames,
                                       reinterpret_cast<const std::int16_t*> (tile) + bin * tileFrames,
                                       fitted.evidence.maskLogit (band) + segment * tileFrames,
                                       SeparationEvidence::maskRatioWeight,
                                       tileFrames);

            const auto put = [&] (const BlockPlane& plane, std::span<const std::uint16_t> codes)
            {
                const auto blocks = plane.roomFor (segment * tileBlocks, roomForBlocks);
                tileToBlocks (blocks, codes);
                return plane.write (segment * tileBlocks, blocks);
            };

            return completedIf (put (mask, maskTile) && put (logRatios, { tile, shape.tileCodes() }),
                                AnalysisStatus::storageFailed);
        });

    if (! isDone)
        return std::nullopt;

    return std::pair (std::move (mask), std::move (logRatios));
}

namespace
{
constexpr double leastConfidence = 0.05; // below, next to nothing would go
}

bool weighRemainders (RefinementRun& run, FittedModel& model, ProgressRange progress)
{
    return run.forEach (model.tracks.size(),
                        progress,
                        [&] (std::size_t track, Workspace&)
                        {
                            if (run.tracks[track].standard == nullptr)
                                return AnalysisStatus::completed;

                            auto& fitted = model.tracks[track];
                            run.findings (track).numHits = static_cast<int> (fitted.evidence.numOnsets());
                            auto& findings = run.findings (track);
                            findings.confidence = confidenceOf (findings);

                            if (findings.confidence < leastConfidence)
                                findings.suggestedFocus = 0.0;
                            return completedIf (fitted.evidence.weighRemainder (run.control),
                                                AnalysisStatus::stopped);
                        });
}

} // namespace tessivar::refinement
