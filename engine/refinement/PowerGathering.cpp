#include "engine/refinement/PowerGathering.h"

#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/numerics/simd/PackingKernels.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t firstEstimateFocus = 4;
constexpr float firstEstimateFloor = 0.001f; // of the track's power

/** Rows of frames to rows of bins. */
bool writeTile (RefinementRun& run,
                int plane,
                std::size_t segment,
                const std::vector<std::uint16_t>& rows,
                std::vector<std::uint16_t>& tile)
{
    const auto& shape = run.shape;
    tile.resize (shape.tileCodes());
    kernels::transposeCodes (
        tile.data(), tileFrames, rows.data(), shape.binStride, tileFrames, shape.binStride);
    return run.planes.write (plane, run.tileStart (segment), tile);
}

AnalysisStatus gatherSegment (RefinementRun& run, std::size_t segment, std::size_t i, Workspace& w)
{
    const auto& shape = run.shape;
    const auto& track = run.tracks[i];
    const auto frames = shape.segment (segment), all = shape.withNeighbours (frames);
    auto& [power, fine, own, tile] = w.codes;
    const auto hasEstimate = track.standard != nullptr;

    if (! readFrames (*track.source, shape, all, w.source))
        return AnalysisStatus::readFailed;

    w.sourcePower.open (w.sourceFrames, w.source.data(), frames);
    auto& estimate = w.outputPower[firstEstimateFocus];

    if (hasEstimate)
    {
        auto& samples = w.outputs[firstEstimateFocus];
        samples.resize (w.source.size());
        StandardOutputReader::Outputs outputs{};
        outputs[firstEstimateFocus] = samples.data();

        if (! w.outputReader.read (track, frameStart (all.first, shape.rate), samples.size(), outputs))
            return AnalysisStatus::readFailed;

        estimate.open (w.outputFrames, samples.data(), frames);
    }

    for (auto* rows : { &power, &fine, &own })
    {
        rows->resize (shape.tileCodes());
        // Behind the last frame of all there are zeros.
        std::fill (
            rows->begin() + frames.size() * static_cast<std::int64_t> (shape.binStride), rows->end(), 0);
    }

    auto& sum = w.gains;
    auto* totals = run.totals.data() + static_cast<std::int64_t> (i) * shape.numFrames + frames.first;

    for (std::int64_t t = 0; t < frames.size(); ++t)
    {
        const auto at = static_cast<std::size_t> (t) * shape.binStride;
        const auto* v = w.sourcePower.next();
        // Nothing better is known of a track that is not rendered.
        const auto* p = hasEstimate ? estimate.next() : v;

        for (std::size_t f = 0; f < shape.binStride; ++f)
            sum[f] = p[f] + firstEstimateFloor * v[f];

        totals[t] = static_cast<float> (kernels::rowSum (v, shape.binStride));
        kernels::splitFloats (power.data() + at, fine.data() + at, v, shape.binStride);
        kernels::packPowers (own.data() + at, sum.data(), shape.binStride);
    }

    return writeTile (run, run.powerPlane (i), segment, power, tile)
                   && writeTile (run, run.finePlane (i), segment, fine, tile)
                   && writeTile (run, run.ownPlane (i), segment, own, tile)
               ? AnalysisStatus::completed
               : AnalysisStatus::storageFailed;
}
} // namespace

bool gatherPowers (RefinementRun& run, ProgressRange progress)
{
    const auto numTracks = run.tracks.size();
    run.totals.assign (numTracks * static_cast<std::size_t> (run.shape.numFrames), 0.0f);
    return run.forEach (static_cast<std::size_t> (run.shape.numSegments) * numTracks,
                        progress,
                        [&] (std::size_t item, Workspace& w)
                        { return gatherSegment (run, item / numTracks, item % numTracks, w); });
}

} // namespace tessivar::refinement
