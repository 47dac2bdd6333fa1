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

/** The part of a refined analysis' progress in which the standard one runs, 0..1; the refinement is the rest. */
inline constexpr double standardShare = 0.45;

struct AnalysisOptions
{
    AnalysisMethod method = AnalysisMethod::standard;
    std::string resourceFolder; // the folder that holds resources01, resources02 and resources03
    int numThreads = 1;         // results do not depend on it
    std::uint64_t seed = method::defaultSeed;
    bool keepAllComponents = false; // hand all ten component signals to AnalysisStorage::component too
    // Takes the lines that loading the data files writes; standard output when empty.
    std::function<void (std::string_view)> diagnostics;
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

    /** Only with the refined method, after the last standard track: planes of that many floats, beside the scratch planes. */
    virtual ScratchPlanes* spectrograms (int numPlanes, std::int64_t floatsPerPlane)
    {
        (void) numPlanes;
        (void) floatsPerPlane;
        return nullptr;
    }

    /** Only with the refined method: what rendered (trackIndex) took. */
    virtual RenderedTrackSource* standard (int trackIndex)
    {
        (void) trackIndex;
        return nullptr;
    }

    /** Only with the refined method: a second sink for the track, which takes the place of the first when the analysis is
        complete. Asked for track by track: a call for the next track says that the channels rendered (of the one before) took
        are not read any more. */
    virtual RenderedTrackSink* refined (int trackIndex)
    {
        (void) trackIndex;
        return nullptr;
    }

    /** Only with keepAllComponents: the next samples of a component slot (0 = best) of a track, own length, in
        order, slot after slot. */
    [[nodiscard]] virtual bool component (int trackIndex, int slot, std::span<const float> samples)
    {
        (void) trackIndex;
        (void) slot;
        (void) samples;
        return true;
    }
};

/** What was found for one track. Indexed like the tracks given; tracks that are not rendered keep rendered = false. */
struct TrackAnalysis
{
    bool rendered = false;
    std::array<double, channelLayout::numComponents> scores{}; // mean correlation, by component index
    std::array<int, channelLayout::numComponents> slots{};     // component index by slot, best first
    double gain = 1.0;                                         // of all components
    double rescaling = 1.0; // below 1 when the first component would peak above 1.0
    TrackFindings findings; // of the refined method; elsewhere as they stand here
};

enum class AnalysisStatus
{
    completed,
    stopped,          // a stop was requested; nothing may be used
    unsupportedRate,  // the Group's rate is none of the five
    readFailed,       // a source could not be read
    storageFailed,    // scratch or sink refused
    numericalFailure, // a component holds nothing but NaN or infinities; nothing may be used
};

struct AnalysisResult
{
    AnalysisStatus status = AnalysisStatus::completed;
    bool startedAtRandom = false; // a refined analysis whose seeded start came to nothing
    AnalysisShape shape;
    std::vector<TrackAnalysis> tracks;
};

/** Analyses the tracks of one performance together.

    Front end, decomposition of the stacked mel spectrogram, ten component signals per close microphone, their scores
    and order, gain, and the fold into five components and a residual. Progress runs from 0 to 1. Memory: the stacked
    spectrogram (80 * numActive * numFrames floats) and some tens of MB; the signals are streamed.
    Throws std::bad_alloc when memory runs out.
*/
[[nodiscard]] AnalysisResult analyseTracks (std::span<const AnalysisTrack> tracks,
                                            const AnalysisOptions& options,
                                            AnalysisStorage& storage,
                                            const WorkControl& control);

/** Bytes that analyseTracks takes from memory and from its scratch planes, for a forecast before it starts. */
struct AnalysisForecast
{
    std::uint64_t memoryBytes = 0;
    std::uint64_t scratchBytes = 0;
};

[[nodiscard]] AnalysisForecast forecastAnalysis (const AnalysisShape& shape, const AnalysisOptions& options);

} // namespace tessivar
