#pragma once

#include "engine/AnalysisData.h"
#include "engine/AnalysisResult.h"
#include "engine/ComponentScoring.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/MatrixView.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/WorkControl.h"

#include <cstdint>
#include <functional>
#include <span>
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
};

/** Takes samples from start on of a component slot. */
using ComponentConsumer = std::function<bool (int slot, std::int64_t start, std::span<const float> samples)>;

struct TrackRenderingJob
{
    const PaddedSignal* signal = nullptr;
    MatrixView<const float> bases; // the stacked bases; this track's rows start at firstRow
    std::size_t firstRow = 0;
    MatrixView<const float> activations;
    std::vector<std::int64_t> loudest; // frames that the scores are taken from
    bool isHiHat = false;
    double similarityThreshold = 0.0; // of a HiHat track
    ComponentSource* kick = nullptr;  // of a HiHat track: what was rendered of the first Kick and Snare track
    ComponentSource* snare = nullptr;
    std::int64_t ownLength = 0;            // samples
    std::vector<std::size_t> loudSegments; // that the level is taken from; all where there are none
    ComponentSink* sink = nullptr;         // for the five best components; null when nobody wants them
    ComponentConsumer allComponents{};     // for all ten at their true level; empty when nobody wants them
};

/** Renders, scores and orders the ten component signals of one track and hands over the five best.

    First only the loudest frames are rendered, for the scores; then the track is streamed once, segment by
    segment, or only where it is loud, when its level comes from there and nobody wants its components. HiHat
    tracks are streamed twice, as their order takes all ten components in their whole length,
    and so are tracks whose ten components are wanted at their true level. That computes no more than storing
    ten signals costs, and needs no room. Results do not depend on the number of workers. progress gets the
    finished share of the track, 0..1, in coarse steps. Returns completed, stopped, readFailed, storageFailed
    or numericalFailure.
*/
[[nodiscard]] AnalysisStatus renderTrack (const TrackRenderingJob& job,
                                          const RenderingContext& context,
                                          const std::function<void (double)>& progress,
                                          TrackAnalysis& result);

} // namespace tessivar
