#pragma once

#include "engine/WorkItems.h"
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

/** What a worker needs to subtract leakage in all tracks at once, indexed like the tracks. */
struct SubtractionBuffers
{
    std::vector<std::vector<float>> sources;
    std::vector<std::vector<std::uint16_t>> masks;
    std::vector<OverlapSum> leakage;
    AlignedBuffer drums, spectrum, sums;
};

/** Everything a worker owns. Buffers keep their room from one item to the next. */
struct Workspace
{
    Workspace (const SpectrumShape& shape, std::span<const float> window);

    FrameAnalyser sourceFrames, outputFrames;
    PowerStream sourcePower;
    std::vector<PowerStream> outputPower; // by Focus; that of 0 is not used
    StandardOutputReader outputReader;
    std::vector<float> source, untouched;
    std::array<std::vector<float>, numFocusSteps> outputs;
    std::array<std::vector<std::uint16_t>, 4> codes; // of tiles
    std::vector<std::uint16_t> blockCodes;           // the model's block of bins
    AlignedBuffer blockRows;                         // one bin of it
    AlignedBuffer frame, maskGains, gains;
    std::array<OverlapSum, numFocusSteps> signals;
    std::vector<float> rendered;
    SubtractionBuffers subtraction;
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

    /** Works on the tracks with standard components, one after the other, until work returns false. */
    [[nodiscard]] bool forEachRendered (ProgressRange progressRange,
                                        const std::function<bool (std::size_t track, ProgressRange)>& work);

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
