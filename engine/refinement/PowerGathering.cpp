#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <array>

namespace tessivar::refinement
{

namespace
{
constexpr float firstEstimateFloor = 0.03f; // of the track's power
constexpr std::size_t segmentsPerItem = 4;  // at most; a block more is transformed for each item

/** Powers of one track, block by block. */
class TrackGathering
{
public:
    TrackGathering (const RefinementRun& run, const RefinementTrack& t, Workspace& workspace)
        : shape (run.shape), bands (run.bands), track (t), w (workspace)
    {
    }

    /** Segments first .. end - 1; totals and bandPowers: of all frames. */
    [[nodiscard]] AnalysisStatus gather (std::size_t first,
                                         std::size_t end,
                                         const TrackPower& planes,
                                         std::span<float> totals,
                                         std::span<float> bandPowers)
    {
        for (auto& codes : w.codes)
            codes.resize (shape.tileCodes());

        w.tile.resize (shape.tileCodes());
        w.sourceFrames.restart();
        estimateFrames().restart();

        // Means take a frame on either side, so transforms are a frame ahead and one block of them leads.
        const auto firstFrame = static_cast<std::int64_t> (first * tileFrames);

        if (! transform (firstFrame + 1 - static_cast<std::int64_t> (blockFrames)))
            return AnalysisStatus::readFailed;

        for (auto segment = first; segment < end; ++segment)
        {
            for (std::size_t block = 0; block < tileBlocks; ++block)
            {
                const auto frame = segment * tileFrames + block * blockFrames;

                if (! transform (static_cast<std::int64_t> (frame) + 1))
                    return AnalysisStatus::readFailed;

                pack (block);
                sumUp (frame, totals, bandPowers);
            }

            if (! write (segment, planes.upper, w.codes[0]) || ! write (segment, planes.lower, w.codes[1])
                || ! write (segment, planes.ownDrum, w.codes[2]))
                return AnalysisStatus::storageFailed;
        }

        return AnalysisStatus::completed;
    }

private:
    [[nodiscard]] FrameStream& estimateFrames() { return w.outputFrames[firstEstimateFocus]; }

    /** Takes the spectra of frames first .. first + 15, for the powers of the frames one before each. */
    [[nodiscard]] bool transform (std::int64_t first)
    {
        if (first > shape.numFrames)
        {
            w.sourcePowers.clear();
            w.outputPowers.clear();
            return true;
        }

        if (! readSource (*track.source, w.sourceFrames.moveTo (first)))
            return false;

        w.forward (w.sourceFrames);
        w.smoothPowers (w.sourcePowers, w.sourceFrames);

        const auto room = estimateFrames().moveTo (first);
        StandardOutputs outputs{};
        outputs[firstEstimateFocus] = room.samples.data();

        if (! readStandard (track, room.start, room.samples.size(), outputs))
            return false;

        w.forward (estimateFrames());
        w.smoothPowers (w.outputPowers, estimateFrames());
        return true;
    }

    /** Puts the powers of sixteen frames, of all bins and by band, where they belong. */
    void sumUp (std::size_t frame, std::span<float> totals, std::span<float> bandPowers)
    {
        const auto numFrames = totals.size();
        std::array<float, blockFrames> sums{};

        const auto put = [&] (std::span<float> row, std::size_t firstBin, std::size_t endBin)
        {
            kernels::sumRows (sums.data(), w.sourcePowers.data() + firstBin * blockFrames, endBin - firstBin);
            const auto rest = row.subspan (std::min (frame, numFrames));
            std::copy_n (sums.begin(), std::min (sums.size(), rest.size()), rest.begin());
        };

        put (totals, 0, shape.numBins);

        for (std::size_t band = 0; band < bands.count(); ++band)
            put (
                bandPowers.subspan (band * numFrames, numFrames), bands.firstBin (band), bands.endBin (band));
    }

    /** Packs one of a segment's blocks. */
    void pack (std::size_t block)
    {
        const auto at = block * shape.blockCodes();
        const auto* power = w.sourcePowers.data();
        const auto* estimate = w.outputPowers.data();
        kernels::splitFloats (w.codes[0].data() + at, w.codes[1].data() + at, power, shape.blockCodes());
        kernels::packPowers (w.codes[2].data() + at, estimate, power, firstEstimateFloor, shape.blockCodes());
    }

    [[nodiscard]] bool
    write (std::size_t segment, const TilePlane& plane, std::span<const std::uint16_t> blocks)
    {
        const auto tile = plane.roomFor (segment, w.tile);
        blocksToTile (tile, blocks);
        return plane.write (segment, 0, tile);
    }

    const SpectrumShape& shape;
    const EvidenceBands& bands;
    const RefinementTrack& track;
    Workspace& w;
};
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
        powers.bands.emplace_back (run.bands.count() * static_cast<std::size_t> (shape.numFrames));
    }

    const auto isDone = run.forEach ((numSegments + segmentsPerItem - 1) / segmentsPerItem * numTracks,
                                     progress,
                                     [&] (std::size_t item, Workspace& w)
                                     {
                                         const auto first = item / numTracks * segmentsPerItem,
                                                    i = item % numTracks;
                                         return TrackGathering (run, run.tracks[i], w)
                                             .gather (first,
                                                      std::min (first + segmentsPerItem, numSegments),
                                                      powers.tracks[i],
                                                      powers.totals[i],
                                                      powers.bands[i]);
                                     });
    if (! isDone)
        return std::nullopt;

    powers.silent = SilentFrames (shape.length, shape.rate);

    for (const auto& totals : powers.totals)
        powers.silent.add (totals);

    powers.silent.settle();
    return powers;
}

} // namespace tessivar::refinement
