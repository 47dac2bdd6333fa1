#include "engine/refinement/RefinementPasses.h"

#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/numerics/simd/PackingKernels.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t firstEstimateFocus = 4;
constexpr float firstEstimateFloor = 0.001f; // of the track's power

/** Writes rows of frames as rows of bins. */
bool writeTile (const TilePlane& plane,
                const SpectrumShape& shape,
                std::size_t segment,
                const std::vector<std::uint16_t>& rows,
                std::vector<std::uint16_t>& tile)
{
    tile.resize (shape.tileCodes());
    kernels::transposeCodes (
        tile.data(), tileFrames, rows.data(), shape.binStride, tileFrames, shape.binStride);
    return plane.write (segment, 0, tile);
}

/** totals: of the segment's frames, to be filled. */
AnalysisStatus gatherSegment (const SpectrumShape& shape,
                              const RefinementTrack& track,
                              std::size_t segment,
                              Workspace& w,
                              const TrackPower& planes,
                              float* totals)
{
    const auto frames = shape.segment (segment), all = shape.withNeighbours (frames);
    auto& [upper, lower, own, tile] = w.codes;
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

    for (auto* rows : { &upper, &lower, &own })
    {
        rows->resize (shape.tileCodes());
        // Zeros past the last frame of all.
        std::fill (
            rows->begin() + frames.size() * static_cast<std::int64_t> (shape.binStride), rows->end(), 0);
    }

    auto& sum = w.gains;

    for (std::int64_t t = 0; t < frames.size(); ++t)
    {
        const auto at = static_cast<std::size_t> (t) * shape.binStride;
        const auto* v = w.sourcePower.next();
        // For a track that is not rendered there is nothing better.
        const auto* p = hasEstimate ? estimate.next() : v;

        for (std::size_t f = 0; f < shape.binStride; ++f)
            sum[f] = p[f] + firstEstimateFloor * v[f];

        totals[t] = static_cast<float> (kernels::rowSum (v, shape.binStride));
        kernels::splitFloats (upper.data() + at, lower.data() + at, v, shape.binStride);
        kernels::packPowers (own.data() + at, sum.data(), shape.binStride);
    }

    return completedIf (writeTile (planes.upper, shape, segment, upper, tile)
                            && writeTile (planes.lower, shape, segment, lower, tile)
                            && writeTile (planes.ownDrum, shape, segment, own, tile),
                        AnalysisStatus::storageFailed);
}
} // namespace

std::optional<GatheredPowers> gatherPowers (RefinementRun& run, ProgressRange progress)
{
    const auto& shape = run.shape;
    const auto numTracks = run.tracks.size(), numSegments = static_cast<std::size_t> (shape.numSegments);
    auto* const scratch =
        run.storage.spectrograms (static_cast<int> (planesPerTrack * numTracks),
                                  static_cast<std::int64_t> (numSegments * shape.tileCodes() / 2));

    if (scratch == nullptr)
    {
        run.fail (AnalysisStatus::storageFailed);
        return std::nullopt;
    }

    GatheredPowers powers;
    int nextPlane = 0;
    const auto takePlane = [&] { return TilePlane ({ *scratch, nextPlane++, shape }); };

    for (std::size_t i = 0; i < numTracks; ++i)
    {
        powers.tracks.push_back ({ takePlane(), takePlane(), takePlane() });
        powers.totals.emplace_back (static_cast<std::size_t> (shape.numFrames));
    }

    const auto isDone =
        run.forEach (numSegments * numTracks,
                     progress,
                     [&] (std::size_t item, Workspace& w)
                     {
                         const auto segment = item / numTracks, i = item % numTracks;
                         return gatherSegment (shape,
                                               run.tracks[i],
                                               segment,
                                               w,
                                               powers.tracks[i],
                                               powers.totals[i].data() + segment * tileFrames);
                     });
    return isDone ? std::optional (std::move (powers)) : std::nullopt;
}

} // namespace tessivar::refinement
