#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/CommonHits.h"
#include "engine/refinement/InterferenceModel.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <utility>

namespace tessivar::refinement
{

namespace
{
constexpr std::uint64_t blockBytes = std::uint64_t{ 32 } << 20; // a worker's block of bins

/** Frames of all segments. */
std::size_t rowFrames (const SpectrumShape& shape)
{
    return static_cast<std::size_t> (shape.numSegments) * tileFrames;
}

/** Codes of one bin of all tracks. */
std::size_t codesOfBin (const SpectrumShape& shape, std::size_t numTracks)
{
    return planesPerTrack * numTracks * rowFrames (shape);
}

/** Floats of one bin of all tracks: power and own drum. */
std::size_t floatsOfBin (const SpectrumShape& shape, std::size_t numTracks)
{
    return 2 * numTracks * rowFrames (shape);
}

std::size_t binsOfBlock (const SpectrumShape& shape, std::size_t numTracks)
{
    return std::max (std::size_t{ 1 }, blockBytes / sizeof (std::uint16_t) / codesOfBin (shape, numTracks));
}

/** Neighbouring bins of one band, all tracks and frames: where they lie in memory, or read from disk. */
class BinBlock
{
public:
    BinBlock (const RefinementRun& r,
              const GatheredPowers& p,
              Workspace& workspace,
              std::size_t first,
              std::size_t count)
        : run (r), powers (p), w (workspace), firstBin (first), numBins (count),
          numSegments (static_cast<std::size_t> (r.shape.numSegments)), rowStride (rowFrames (r.shape)),
          pieces (planesPerTrack * r.tracks.size() * numSegments)
    {
        const auto numTracks = run.tracks.size();

        for (std::size_t i = 0; i < numTracks; ++i)
            numSounding.push_back (
                powers.silent.numSounding (i, static_cast<std::size_t> (run.shape.numFrames)));

        // Whole large pages from the system; a vector would fill it with zeros first.
        if (const auto numFloats = numBins * codesOfBin (run.shape, numTracks) / 2;
            ! isInMemory() && w.blockCodes.size() < numFloats)
            w.blockCodes = AlignedBuffer (numFloats);

        if (const auto numFloats = floatsOfBin (run.shape, numTracks); w.blockRows.size() != numFloats)
            w.blockRows = AlignedBuffer (numFloats);
    }

    [[nodiscard]] AnalysisStatus read()
    {
        return forEachPiece (
            [&] (std::size_t i, std::size_t segment)
            {
                const auto& track = powers.tracks[i];
                const auto isRead = [&] (Kind kind, const TilePlane& plane)
                {
                    auto& codes = pieces[pieceOf (kind, i, segment)];
                    codes = plane.read (segment, firstBin, roomOf (kind, i, segment));
                    return codes != nullptr;
                };
                return isRead (power, track.upper) && isRead (lower, track.lower)
                       && isRead (own, track.ownDrum);
            });
    }

    /** Puts the log ratios of all bins where the power was. */
    [[nodiscard]] AnalysisStatus write()
    {
        return forEachPiece (
            [&] (std::size_t i, std::size_t segment)
            {
                return powers.tracks[i].upper.write (
                    segment, firstBin, { codes (power, i, segment), numBins * tileFrames });
            });
    }

    [[nodiscard]] bool fit (InterferenceModel& model,
                            std::size_t bin,
                            std::size_t band,
                            std::vector<SeparationEvidence>& evidence,
                            BinGains& gains)
    {
        for (std::size_t i = 0; i < run.tracks.size(); ++i)
        {
            for (std::size_t segment = 0; segment < numSegments; ++segment)
            {
                kernels::joinFloats (row (power, i) + segment * tileFrames,
                                     codes (power, i, segment) + bin * tileFrames,
                                     codes (lower, i, segment) + bin * tileFrames,
                                     tileFrames);
                kernels::unpackPowers (row (own, i) + segment * tileFrames,
                                       codes (own, i, segment) + bin * tileFrames,
                                       tileFrames);
            }

            kernels::accumulate (evidence[i].total (band), row (power, i), rowStride);
            gains.meanPower (firstBin + bin, i) = static_cast<float> (
                kernels::rowSum (row (power, i), rowStride) / static_cast<double> (numSounding[i]));
        }

        if (! model.fit (row (power, 0), row (own, 0), rowStride, run.control))
            return false;

        std::copy (model.gains().begin(), model.gains().end(), gains.gainsOf (firstBin + bin).begin());

        for (std::size_t i = 0; i < run.tracks.size(); ++i)
        {
            kernels::accumulate (evidence[i].own (band), row (own, i), rowStride);
            gains.drumPower (firstBin + bin, i) =
                kernels::rowSum (row (own, i), static_cast<std::size_t> (run.shape.numFrames));
            kernels::accumulate (evidence[i].leakage (band), row (power, i), rowStride);

            for (std::size_t segment = 0; segment < numSegments; ++segment)
                kernels::packLogRatios (reinterpret_cast<std::int16_t*> (codes (power, i, segment))
                                            + bin * tileFrames,
                                        row (own, i) + segment * tileFrames,
                                        row (power, i) + segment * tileFrames,
                                        tileFrames);
        }

        return true;
    }

private:
    enum Kind : std::size_t
    {
        power,
        own,
        lower // codes only
    };

    /** In a long Group these are tens of thousands of pieces far apart on the disk, so it asks often whether
        to stop. */
    template <typename Transfer>
    [[nodiscard]] AnalysisStatus forEachPiece (const Transfer& transfer)
    {
        for (std::size_t segment = 0; segment < numSegments; ++segment)
            for (std::size_t i = 0; i < run.tracks.size(); ++i)
            {
                if (run.control.stopRequested())
                    return AnalysisStatus::stopped;

                if (! transfer (i, segment))
                    return AnalysisStatus::storageFailed;
            }

        return AnalysisStatus::completed;
    }

    [[nodiscard]] bool isInMemory() const { return powers.tracks.front().upper.isInMemory(); }

    [[nodiscard]] std::size_t pieceOf (Kind kind, std::size_t track, std::size_t segment) const
    {
        return (kind * run.tracks.size() + track) * numSegments + segment;
    }

    [[nodiscard]] std::span<std::uint16_t> roomOf (Kind kind, std::size_t track, std::size_t segment)
    {
        const auto size = numBins * tileFrames;
        auto* const room = reinterpret_cast<std::uint16_t*> (w.blockCodes.data());
        return { isInMemory() ? nullptr : room + pieceOf (kind, track, segment) * size, size };
    }

    /** Of all bins, once they are read. */
    [[nodiscard]] std::uint16_t* codes (Kind kind, std::size_t track, std::size_t segment) const
    {
        return pieces[pieceOf (kind, track, segment)];
    }

    [[nodiscard]] float* row (Kind kind, std::size_t track)
    {
        return w.blockRows.data() + (kind * run.tracks.size() + track) * rowStride;
    }

    const RefinementRun& run;
    const GatheredPowers& powers;
    Workspace& w;
    const std::size_t firstBin, numBins, numSegments, rowStride;
    std::vector<std::uint16_t*> pieces;   // codes by kind, track and segment
    std::vector<std::size_t> numSounding; // frames of each track
};
} // namespace

std::optional<FittedModel> fitModel (RefinementRun& run,
                                     GatheredPowers powers,
                                     const TwinMicrophones& twins,
                                     const CommonHits& common,
                                     ProgressRange progress)
{
    const auto& shape = run.shape;
    const auto& bands = run.bands;
    const auto numTracks = run.tracks.size(), numFrames = static_cast<std::size_t> (shape.numFrames);
    std::vector<SeparationEvidence> evidence;

    for (std::size_t i = 0; i < numTracks; ++i)
    {
        evidence.emplace_back (bands,
                               rowFrames (shape),
                               numFrames,
                               static_cast<double> (shape.rate.hop) / shape.rate.sampleRate);
        evidence.back().setNumSounding (powers.silent.numSounding (i, numFrames));
    }

    const auto rules = riseRules (powers.totals, twins, powers.silent);
    const auto room = binsOfBlock (shape, numTracks);
    BinGains gains (shape.numBins, numTracks);

    const auto fitBand = [&] (std::size_t band, Workspace& w)
    {
        InterferenceModel model (twins, numFrames, rules, powers.silent);
        model.setShares (common.ofBand (band));

        for (auto first = bands.firstBin (band); first < bands.endBin (band); first += room)
        {
            const auto numBins = std::min (room, bands.endBin (band) - first);
            BinBlock block (run, powers, w, first, numBins);

            if (const auto status = block.read(); status != AnalysisStatus::completed)
                return status;

            for (std::size_t bin = 0; bin < numBins; ++bin)
                if (! block.fit (model, bin, band, evidence, gains))
                    return AnalysisStatus::stopped;

            if (const auto status = block.write(); status != AnalysisStatus::completed)
                return status;
        }

        return AnalysisStatus::completed;
    };

    // One worker sums up a band, bin after bin, so that the sums don't depend on the number of workers. The
    // upper bands are the widest and come first, the narrow ones fill the gaps at the end.
    if (! run.forEach (bands.count(),
                       progress,
                       [&] (std::size_t item, Workspace& w)
                       { return fitBand (bands.count() - 1 - item, w); }))
        return std::nullopt;

    DrumPowers drums (run, gains, evidence);
    FittedModel model{
        {}, std::move (gains), std::move (powers.totals), std::move (powers.silent), std::move (drums)
    };

    for (std::size_t i = 0; i < numTracks; ++i)
        model.tracks.push_back ({ LogRatioTiles (std::move (powers.tracks[i].upper)),
                                  std::move (powers.tracks[i].lower),
                                  std::move (powers.tracks[i].ownDrum),
                                  std::move (evidence[i]) });

    return model;
}

std::uint64_t modelBytes (const SpectrumShape& shape, std::size_t numTracks)
{
    const auto ofBin = codesOfBin (shape, numTracks);
    return std::max (blockBytes, sizeof (std::uint16_t) * ofBin)
           + sizeof (float) * floatsOfBin (shape, numTracks);
}

} // namespace tessivar::refinement
