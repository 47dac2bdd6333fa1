#pragma once

#include "engine/AnalysisResult.h"
#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"

#include <cstdint>
#include <span>
#include <string>

namespace tessivar
{

struct AnalysisTrack
{
    TrackShape shape;
    SampleSource* source = nullptr; // not owned; lives as long as the analysis
};

/** Share of a refined analysis's progress that its standard analysis takes; the refinement takes the rest. */
inline constexpr double standardShare = 0.45;

struct AnalysisOptions
{
    AnalysisMethod method = AnalysisMethod::standard;
    std::string resourceFolder{}; // the folder that holds resources01, resources02 and resources03
    int numThreads = 1;           // results do not depend on it
    std::uint64_t seed = method::defaultSeed;
    bool storesComponents = true;   // of the standard method; otherwise they are rendered when they are read
    bool keepAllComponents = false; // also hand all ten component signals to AnalysisStorage
    DiagnosticLog diagnostics{};    // of loading the data files; standard output when empty
};

/** Analyses the tracks of one performance together.

    Front end, decomposition of the stacked mel spectrogram, ten component signals per close microphone, their
    scores and order, and the gain of the five best, which with the source make the seven channels of a track.
    Progress runs from 0 to 1. Memory: the stacked spectrogram (80 * numActive * numFrames floats) and some
    tens of MB; the signals are streamed. Throws std::bad_alloc when memory runs out.
*/
[[nodiscard]] AnalysisResult analyseTracks (std::span<const AnalysisTrack> tracks,
                                            const AnalysisOptions& options,
                                            AnalysisStorage& storage,
                                            const WorkControl& control);

/** What analyseTracks will take. */
[[nodiscard]] AnalysisForecast forecastAnalysis (const AnalysisShape& shape, const AnalysisOptions& options);

} // namespace tessivar
