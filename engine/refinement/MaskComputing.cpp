#include "engine/refinement/MaskComputing.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"

namespace tessivar::refinement
{

bool computeMask (RefinementRun& run,
                  std::size_t track,
                  const SeparationEvidence& evidence,
                  ProgressRange progress)
{
    const auto& shape = run.shape;
    const auto plane = run.powerPlane (track);

    return run.forEach (
        static_cast<std::size_t> (shape.numSegments),
        progress,
        [&] (std::size_t segment, Workspace& w)
        {
            auto& tile = w.codes[0];
            auto& rows = w.codes[1];
            tile.resize (shape.tileCodes());
            rows.resize (shape.tileCodes());

            if (! run.planes.read (plane, run.tileStart (segment), tile))
                return AnalysisStatus::storageFailed;

            for (std::size_t g = 0; g < run.bands.count(); ++g)
                for (auto f = run.bands.firstBin (g); f < run.bands.endBin (g); ++f)
                {
                    auto* codes = tile.data() + f * tileFrames;
                    kernels::packMask (codes,
                                       reinterpret_cast<const std::int16_t*> (codes),
                                       evidence.common (g) + segment * tileFrames,
                                       SeparationEvidence::binWeight,
                                       tileFrames);
                }

            kernels::transposeCodes (
                rows.data(), shape.binStride, tile.data(), tileFrames, shape.binStride, tileFrames);
            return run.planes.write (plane, run.tileStart (segment), rows) ? AnalysisStatus::completed
                                                                           : AnalysisStatus::storageFailed;
        });
}

} // namespace tessivar::refinement
