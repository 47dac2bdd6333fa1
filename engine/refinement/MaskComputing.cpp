#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/RefinementPasses.h"

#include <utility>

namespace tessivar::refinement
{

std::optional<MaskPlane>
computeMask (RefinementRun& run, std::size_t track, FittedTrack& fitted, ProgressRange progress)
{
    if (! fitted.evidence.weigh (run.control))
    {
        run.fail (AnalysisStatus::stopped);
        return std::nullopt;
    }

    run.findings (track).leakageDb = fitted.evidence.leakageDb();

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
