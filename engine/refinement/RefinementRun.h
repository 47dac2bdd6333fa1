#pragma once

#include "engine/WorkItems.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/LowBand.h"
#include "engine/refinement/RefinedLayers.h"
#include "engine/refinement/RefinementSpectra.h"
#include "engine/refinement/SeparationEvidence.h"
#include "terms/WorkControl.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tessivar::refinement
{

/** What a worker needs of each track to subtract leakage in all of them at once. */
struct SubtractionBuffers
{
    explicit SubtractionBuffers (const SpectrumShape& shape)
        : frames (shape), spectrum (2 * shape.blockCodes()), leakage (2 * shape.blockCodes()),
          last (2 * shape.numBins), maskRoom (shape.blockCodes()),
          carry (static_cast<std::size_t> (shape.rate.hop)), lowDrumCarry (lowBand::hop),
          lowRemainderCarry (lowBand::hop)
    {
    }

    FrameStream frames;
    AlignedBuffer spectrum, leakage, last;
    std::vector<std::uint16_t> maskRoom;
    const std::uint16_t* mask = nullptr; // of the block
    OverlapCarry carry, lowDrumCarry, lowRemainderCarry;
};

/** A signal that is summed up from frames, a block at a time. */
struct OutputSignal
{
    explicit OutputSignal (const SpectrumShape& shape)
        : samples (shape.blockSamples()), carry (static_cast<std::size_t> (shape.rate.hop))
    {
    }

    AlignedBuffer samples;
    OverlapCarry carry;
};

/** Everything a worker owns. Buffers keep their room from one item to the next. */
struct Workspace
{
    Workspace (const SpectrumShape& shape, std::span<const float> window);

    /** Transforms the block of frames that the stream stands at. */
    void forward (const FrameStream& frames)
    {
        fft.load (frames.samples());
        fft.forward (spectrum.data());
    }

    /** Loads chosen frames of a source, at most sixteen in ascending order, into the first lanes. False when
        it can't be read. */
    [[nodiscard]] bool
    load (SampleSource& track, std::span<const std::int64_t> frames, const SpectrumShape& shape);

    /** From these spectra, still in hand, the powers of the frames one before each, means of three. */
    void smoothPowers (AlignedBuffer& means, FrameStream& frames)
    {
        kernels::smoothPowers (means.data(), frames.history(), spectrum.data(), fft.numBins());
    }

    BlockFft fft;
    std::array<float, blockFrames> frameGains{}; // that undo the scale of both transforms and the windows
    AlignedBuffer spectrum, lastFrame;
    AlignedBuffer sourcePowers, outputPowers, logits, logTotals, gains; // by bin and frame of a block
    FrameStream sourceFrames;
    std::vector<FrameStream> outputFrames; // by Focus, as the following
    std::vector<OutputSignal> signals;
    std::vector<float> source;                       // of a block
    std::vector<std::vector<float>> rendered;        // parts of a block
    std::vector<std::uint16_t> maskRoom, ratioRoom;  // for a block of a plane on disk
    std::array<std::vector<std::uint16_t>, 3> codes; // of segments
    std::vector<std::uint16_t> tile;
    AlignedBuffer blockCodes;                    // the model's block of bins, two codes a float
    AlignedBuffer blockRows;                     // one bin of it
    std::vector<SubtractionBuffers> subtraction; // by track
    AlignedBuffer maskedDrums, ones;
    std::vector<float> chosen; // frames from here and there
    LowTransforms low;
};

/** A stretch of the progress, 0..1. */
struct ProgressRange
{
    [[nodiscard]] double at (double fraction) const { return from + fraction * (to - from); }
    [[nodiscard]] ProgressRange part (double first, double last) const { return { at (first), at (last) }; }

    double from = 0.0, to = 1.0;
};

/** What the passes of a refinement share: tracks, sizes, workers and the status. */
class RefinementRun
{
public:
    RefinementRun (std::span<const RefinementTrack> tracks,
                   const AnalysisShape& shape,
                   WorkerPool& pool,
                   AnalysisStorage& storage,
                   const WorkControl& control,
                   const std::function<void (double)>& progress,
                   std::vector<TrackAnalysis>& analyses);

    /** forEachItem() with progress and status; false when an item fails or a stop is requested. */
    [[nodiscard]] bool forEach (std::size_t numItems,
                                ProgressRange progressRange,
                                const std::function<AnalysisStatus (std::size_t item, Workspace&)>& work);

    /** Works on the tracks, one after the other, until work returns false. */
    [[nodiscard]] bool forEachTrack (ProgressRange progressRange,
                                     const std::function<bool (std::size_t track, ProgressRange)>& work);

    [[nodiscard]] int numWorkers() const { return pool.numWorkers(); }

    /** Completed, or why the last pass failed. */
    [[nodiscard]] AnalysisStatus status() const { return currentStatus; }
    void fail (AnalysisStatus reason) { currentStatus = reason; }

    [[nodiscard]] TrackFindings& findings (std::size_t track) const
    {
        return analyses[static_cast<std::size_t> (tracks[track].index)].findings;
    }

    /** Of the components that the track has in the end. */
    [[nodiscard]] ComponentLevel& level (std::size_t track) const
    {
        return analyses[static_cast<std::size_t> (tracks[track].index)].level;
    }

    const std::span<const RefinementTrack> tracks;
    const SpectrumShape shape;
    AnalysisStorage& storage;
    const WorkControl& control;
    const EvidenceBands bands;
    AlignedBuffer window;

private:
    WorkerPool& pool;
    const std::function<void (double)>& progress;
    std::vector<TrackAnalysis>& analyses;
    std::vector<std::unique_ptr<Workspace>> workspaces;
    AnalysisStatus currentStatus = AnalysisStatus::completed;
};

} // namespace tessivar::refinement
