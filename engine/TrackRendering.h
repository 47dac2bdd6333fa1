#pragma once

#include "engine/AnalysisData.h"
#include "engine/AnalysisResult.h"
#include "engine/ComponentScoring.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/MatrixView.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/WorkControl.h"

#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

/** What the rendering of all tracks shares. */
struct RenderingContext
{
    const AnalysisShape& shape;
    const AnalysisData& data;
    WorkerPool& pool;
    const WorkControl& control; // its progress is not used
    ScratchPlanes& scratch;
};

/** Planes of the scratch store. */
namespace scratchPlane
{
inline constexpr int firstComponent = 0; // ten for HiHat tracks or when all are kept, else five
inline constexpr int kickReference = 10, snareReference = 11;

/** Planes that a Group needs. */
[[nodiscard]] int count (bool hasHiHat, bool keepsAllComponents);
} // namespace scratchPlane

struct TrackRenderingJob
{
    const PaddedSignal* signal = nullptr;
    MatrixView<const float> bases; // the stacked bases; this track's rows start at firstRow
    std::size_t firstRow = 0;
    MatrixView<const float> activations;
    std::vector<std::int64_t> loudest; // frames that the scores are taken from
    bool isHiHat = false;
    double similarityThreshold = 0.0; // of a HiHat track
    bool hasKickReference = false, hasSnareReference = false;
    std::optional<int> referencePlane; // where this track's first component becomes a reference
    bool keepsAllComponents = false;
    std::int64_t ownLength = 0; // samples
};

/** Renders, scores and orders the ten component signals of one track and folds them into the sink's seven
    channels.

    First only the loudest frames are rendered, for the scores; then the track is streamed once, in segments
    of 512 hops, into raw planes of the scratch store (the best five, or all ten where a later step needs
    them); last the planes are scaled, summed and interleaved. Results do not depend on the number of workers.
    progress gets the finished share of the track, 0..1, in coarse steps. Returns completed, stopped,
    readFailed, storageFailed or numericalFailure.
*/
[[nodiscard]] AnalysisStatus
renderTrack (const TrackRenderingJob& job,
             const RenderingContext& context,
             RenderedTrackSink& sink,
             const std::function<bool (int slot, std::span<const float>)>& componentSink,
             const std::function<void (double)>& progress,
             TrackAnalysis& result);

} // namespace tessivar
