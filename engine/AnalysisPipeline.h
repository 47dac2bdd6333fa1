#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/TrackFindings.h"
#include "terms/WorkControl.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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
    bool keepAllComponents = false; // also hand all ten component signals to AnalysisStorage
    DiagnosticLog diagnostics{};    // of loading the data files; standard output when empty
};

/** Where an analysis keeps what does not fit in memory. Called on the thread that runs the analysis. */
class AnalysisStorage
{
public:
    virtual ~AnalysisStorage() = default;

    /** Planes of lengthInSamples floats each, used for one track after the other and released at the end.
        Returns null when there is no room. */
    virtual ScratchPlanes* scratch (int numPlanes, std::int64_t lengthInSamples) = 0;

    /** The sink for the seven channels of the track with this index; null when there is no room. */
    virtual RenderedTrackSink* rendered (int trackIndex) = 0;

    /** Refined method only, after the last standard track: more planes, beside the scratch planes. */
    virtual ScratchPlanes* spectrograms (int /*numPlanes*/, std::int64_t /*floatsPerPlane*/)
    {
        return nullptr;
    }

    /** Refined method only: reads back what the track's first sink took. */
    virtual RenderedTrackSource* standard (int /*trackIndex*/) { return nullptr; }

    /** Refined method only: a second sink for the track, which replaces the first when the analysis
        completes. Called track by track; each call says that the standard channels of the track before are no
        longer needed. */
    virtual RenderedTrackSink* refined (int /*trackIndex*/) { return nullptr; }

    /** Only with keepAllComponents: the next samples of a component slot (0 = best) of a track, own length,
        in order, slot after slot. */
    [[nodiscard]] virtual bool
    component (int /*trackIndex*/, int /*slot*/, std::span<const float> /*samples*/)
    {
        return true;
    }
};

/** Result for one track. */
struct TrackAnalysis
{
    bool rendered = false; // whether it has channels; the rest holds only then
    std::array<double, channelLayout::numComponents> scores{}; // mean correlation, by component index
    std::array<int, channelLayout::numComponents> slots{};     // component index by slot, best first
    double gain = 1.0;                                         // of all components
    double rescaling = 1.0; // below 1 when the first component would peak above 1.0
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
    std::vector<TrackAnalysis> tracks; // as given to analyseTracks
};

/** Analyses the tracks of one performance together.

    Front end, decomposition of the stacked mel spectrogram, ten component signals per close microphone, their
    scores and order, gain, and the fold into five components and a residual. Progress runs from 0 to 1.
    Memory: the stacked spectrogram (80 * numActive * numFrames floats) and some tens of MB; the signals are
    streamed. Throws std::bad_alloc when memory runs out.
*/
[[nodiscard]] AnalysisResult analyseTracks (std::span<const AnalysisTrack> tracks,
                                            const AnalysisOptions& options,
                                            AnalysisStorage& storage,
                                            const WorkControl& control);

/** Bytes that analyseTracks takes from memory and from its scratch planes, for a forecast before it starts.
*/
struct AnalysisForecast
{
    std::uint64_t memoryBytes = 0;
    std::uint64_t scratchBytes = 0;
};

[[nodiscard]] AnalysisForecast forecastAnalysis (const AnalysisShape& shape, const AnalysisOptions& options);

} // namespace tessivar
