#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/RefinementPasses.h"

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

                            if (run.tracks[track].standard == nullptr)
                                return AnalysisStatus::completed;

                            const auto isDone = evidence.weigh (run.control);
                            run.findings (track).leakageDb = evidence.leakageDb();
                            return completedIf (isDone, AnalysisStatus::stopped);
                        });
}

std::optional<MaskPlane> computeMask (RefinementRun& run, FittedTrack& fitted, ProgressRange progress)
{
    const auto& shape = run.shape;
    auto plane = std::move (fitted.logRatios);
    const auto isDone =
        run.forEach (static_cast<std::size_t> (shape.numSegments),
                     progress,
                     [&] (std::size_t segment, Workspace& w)
                     {
                         auto &tile = w.codes[0], &blocks = w.codes[1];
                         tile.resize (shape.tileCodes());
                         blocks.resize (shape.tileCodes());

                         if (! plane.read (segment, 0, tile))
                             return AnalysisStatus::storageFailed;

                         for (std::size_t band = 0; band < run.bands.count(); ++band)
                             for (auto bin = run.bands.firstBin (band); bin < run.bands.endBin (band); ++bin)
                             {
                                 auto* codes = tile.data() + bin * tileFrames;
                                 kernels::packMask (codes,
                                                    reinterpret_cast<const std::int16_t*> (codes),
                                                    fitted.evidence.common (band) + segment * tileFrames,
                                                    SeparationEvidence::binWeight,
                                                    tileFrames);
                             }

                         tileToBlocks (blocks, tile);
                         return completedIf (plane.write (segment, 0, blocks), AnalysisStatus::storageFailed);
                     });

    if (! isDone)
        return std::nullopt;

    return MaskPlane (std::move (plane));
}

} // namespace tessivar::refinement
