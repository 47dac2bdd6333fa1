#pragma once

#include "engine/numerics/WorkerPool.h"
#include "engine/refinement/PackedPlanes.h"
#include "engine/refinement/RefinedLayers.h"
#include "engine/refinement/RefinementSpectra.h"
#include "engine/refinement/SeparationEvidence.h"
#include "terms/WorkControl.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tessivar::refinement
{

/** What a worker needs where it works on all tracks at once, indexed like the tracks. */
struct AllTracks
{
    std::vector<std::vector<float>> sources;
    std::vector<std::vector<std::uint16_t>> codes;
    std::vector<AlignedBuffer> leakage;
    AlignedBuffer drums, spectrum, sums;
};

/** Everything one worker owns. Buffers keep their room from one piece of work to the next. */
struct Workspace
{
    Workspace (const SpectrumShape& shape, std::span<const float> window);

    FrameAnalyser sourceFrames, outputFrames;
    PowerStream sourcePower;
    std::array<PowerStream, numFocusSteps> outputPower; // by Focus; that of 0 is not used
    StandardOutputReader outputReader;
    std::vector<float> source, uncancelled;
    std::array<std::vector<float>, numFocusSteps> outputs;
    std::array<std::vector<std::uint16_t>, 4> codes; // tiles
    std::vector<std::uint16_t> blockCodes;           // the model's block of bins
    AlignedBuffer blockRows;                         // one bin of it
    AlignedBuffer frame, mask, gains;
    std::array<AlignedBuffer, numFocusSteps> signals;
    std::vector<float> rendered;
    AllTracks allTracks;
};

/** A stretch of the progress, 0..1. */
struct ProgressRange
{
    [[nodiscard]] double at (double fraction) const { return from + fraction * (to - from); }
    [[nodiscard]] ProgressRange part (double first, double last) const { return { at (first), at (last) }; }

    double from = 0.0, to = 1.0;
};

/** What the passes of a refinement have in common: tracks, sizes, planes and workers. */
class RefinementRun
{
public:
    RefinementRun (std::span<const RefinementTrack> tracks,
                   const AnalysisShape& shape,
                   WorkerPool& pool,
                   const RefinementStorage& storage,
                   const WorkControl& control,
                   const std::function<void (double)>& progress,
                   std::vector<TrackAnalysis>& analyses);

    /** Makes room for the planes; false without. */
    [[nodiscard]] bool openPlanes();

    /** Runs items on the workers until one fails or a stop is requested; then status() says why and this
        returns false. Items are handed out in ascending order. */
    [[nodiscard]] bool forEach (std::size_t numItems,
                                ProgressRange progressRange,
                                const std::function<AnalysisStatus (std::size_t item, Workspace&)>& work);

    [[nodiscard]] bool fail (AnalysisStatus reason);
    [[nodiscard]] AnalysisStatus status() const { return failure; }

    [[nodiscard]] TrackAnalysis& analysis (std::size_t track) const
    {
        return analyses[static_cast<std::size_t> (tracks[track].index)];
    }

    static constexpr std::size_t planesPerTrack = 3;

    /** Where the upper bits of a track's smoothed power lie; later its log ratios, then its mask. */
    [[nodiscard]] int powerPlane (std::size_t track) const
    {
        return static_cast<int> (planesPerTrack * track);
    }
    /** Where the lower bits lie, hits that are alike differ by less than half the bits and it matters which is the loudest;
        later the samples without what was cancelled. */
    [[nodiscard]] int finePlane (std::size_t track) const { return powerPlane (track) + 1; }
    /** Where the first estimate of its own drum's power lies. */
    [[nodiscard]] int ownPlane (std::size_t track) const { return powerPlane (track) + 2; }

    /** First code of a segment's tile in a plane. */
    [[nodiscard]] std::int64_t tileStart (std::size_t segment) const
    {
        return static_cast<std::int64_t> (segment * shape.tileCodes());
    }

    const std::span<const RefinementTrack> tracks;
    const SpectrumShape shape;
    const RefinementStorage& storage;
    const WorkControl& control;
    const EvidenceBands bands;
    AlignedBuffer window;
    PackedPlanes planes;

    /** Power of whole frames of every track, shape.numFrames each: what powerPlane() holds, summed up. */
    std::vector<float> totals;

    /** Of the fitted model: the power gain from a drum into a microphone, and the mean power of a track, in a bin. */
    [[nodiscard]] float& gainOf (std::size_t bin, std::size_t microphone, std::size_t drum)
    {
        return gains[(bin * tracks.size() + microphone) * tracks.size() + drum];
    }
    [[nodiscard]] float gainOf (std::size_t bin, std::size_t microphone, std::size_t drum) const
    {
        return gains[(bin * tracks.size() + microphone) * tracks.size() + drum];
    }
    [[nodiscard]] float& meanPower (std::size_t bin, std::size_t track)
    {
        return meanPowers[bin * tracks.size() + track];
    }
    [[nodiscard]] float meanPower (std::size_t bin, std::size_t track) const
    {
        return meanPowers[bin * tracks.size() + track];
    }

private:
    std::vector<float> gains, meanPowers;

    WorkerPool& pool;
    const std::function<void (double)>& progress;
    std::vector<TrackAnalysis>& analyses;
    std::vector<std::unique_ptr<Workspace>> workspaces;
    std::atomic<AnalysisStatus> failure{ AnalysisStatus::completed };
};

} // namespace tessivar::refinement
