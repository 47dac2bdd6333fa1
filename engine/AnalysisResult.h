#pragma once

#include "engine/AnalysisSettings.h"
#include "terms/BleedMap.h"
#include "terms/ChannelFolding.h"
#include "terms/ChannelLayout.h"
#include "terms/TrackFindings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tessivar
{

struct Factorization;

/** Result for one track. */
struct TrackAnalysis
{
    std::size_t row = 0;   // among the active tracks
    bool rendered = false; // whether it has channels; the rest holds only then
    std::array<double, channelLayout::numComponents> scores{}; // mean correlation, by component index
    std::array<int, channelLayout::numComponents> slots{};     // component index by slot, best first
    ComponentLevel level;   // of the components, below 1 in rescaling when the first would peak above 1.0
    TrackFindings findings; // refined method only
};

enum class AnalysisStatus
{
    completed,
    stopped,          // on request; the results are incomplete
    unsupportedRate,  // the Group's rate is none of the five
    readFailed,       // a source could not be read
    storageFailed,    // scratch or sink refused
    numericalFailure, // a component holds nothing but NaN or infinities
};

struct AnalysisResult
{
    AnalysisStatus status = AnalysisStatus::completed;
    bool startedAtRandom = false; // a refined analysis whose seeded start failed
    AnalysisShape shape;
    std::vector<TrackAnalysis> tracks;            // as given to analyseTracks
    std::shared_ptr<const BleedMap> bleed;        // of a completed refined analysis
    std::shared_ptr<const Factorization> factors; // of a completed analysis, for ComponentReader
};

/** Bytes that analyseTracks takes from memory and from its spectrogram planes, for a forecast before it
    starts.
*/
struct AnalysisForecast
{
    std::uint64_t memoryBytes = 0;
    std::uint64_t scratchBytes = 0;
};

} // namespace tessivar
