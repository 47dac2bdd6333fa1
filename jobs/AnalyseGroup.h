#pragma once

#include "engine/AnalysisPipeline.h"
#include "model/Group.h"
#include "model/ImportWarnings.h"
#include "model/TemporaryStore.h"
#include "terms/KnobValues.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

/** Where the refined method keeps its spectra, 12 bytes a sample of every track, until it is done. */
enum class SpectraPlace
{
    automatic, // in memory where they take no more than a quarter of what is free, else on disk
    memory,
    disk
};

[[nodiscard]] std::optional<SpectraPlace> parseSpectraPlace (const juce::String& text);

/** The knobs that a track, by its index, will sound with, once an analysis has made its findings. */
using KnobsOf = std::function<KnobValues (std::size_t track, const TrackFindings& findings)>;

/** What is to be kept of an analysis, and where. */
struct AnalysisKeeping
{
    /** For whoever wants the tracks at known knobs only: then their channels hold what these sound and no
        more (SoundingPart), which takes little room or none, and are computed as they are read.
    */
    KnobsOf soundingKnobs{};
    SpectraPlace spectra = SpectraPlace::automatic;
};

/** The memory and disk space that an analysis needs, and what is free, in bytes; and about how long it takes.
*/
struct WorkForecast
{
    double seconds = 0.0;
    std::uint64_t memoryNeeded = 0;
    std::uint64_t memoryFree = 0; // UINT64_MAX when the system doesn't say
    std::uint64_t diskNeeded = 0; // spectra, rendered tracks, components, and sources not yet imported
    std::uint64_t diskFree = 0;   // UINT64_MAX when the system doesn't say
    bool spectraInMemory = false; // they then count there, and not on disk

    /** noRoom when something does not fit; the reason names the bytes needed and the bytes free. */
    [[nodiscard]] Outcome check() const;
};

/** The forecast for these tracks, imported or only checked. temporaryFolder need not exist yet. A Group that
    is empty or of an unsupported rate needs nothing.
*/
[[nodiscard]] WorkForecast forecastWork (const GroupState& group,
                                         const AnalysisOptions& options,
                                         const juce::File& temporaryFolder,
                                         const AnalysisKeeping& keeping = {});

/** About how long the analysis takes, in seconds; 0 for a Group that is empty or of an unsupported rate. */
[[nodiscard]] double forecastSeconds (const GroupState& group, const AnalysisOptions& options);

/** "under 1 s", "about 12 s", "about 3 min": as exact as a forecast can be. */
[[nodiscard]] juce::String describeForecastSeconds (double seconds);

/** Told to the user when an analysis began and failed. */
inline constexpr auto analysisFailedText =
    "Analyze seems to have failed. Please try again. If the problem persists contact us.";

/** Refused, with the text for the user, when a Group with these tracks can't be analyzed. */
[[nodiscard]] Outcome checkContents (const GroupContents& contents);

/** What there is to know about the result of an analysis that succeeded. */
struct AnalysisRemark
{
    /** Numbered on from the codes of ImportWarnings, with which they are told. */
    enum Code
    {
        onlyOneMicrophone = ImportWarnings::numCodes,
        startedAtRandom,
        shortPiece
    };

    Code code;
    juce::String brief; // a few words, for a headline
    juce::String text;
};

/** The result of an analysis, ready for Group::applyAnalysis(). No tracks unless the outcome is ok. */
struct GroupAnalysis
{
    Outcome outcome;
    GroupState::Analysis analysis;
    std::vector<Group::AnalysedTrack> tracks;
    std::vector<AnalysisRemark> remarks;
};

/** Analyses a Group as it stood when state was taken, by the method of options, which may be another than the
    one chosen for the Group: see GroupState::workableMethod().

    Tracks that take part get seven channels, folded from five components in store and their source; the
    others, none. The Group itself is not touched; what
    becomes of its knobs is told by Group::AnalysedTrack::applyTo(). Memory that runs out ends as noRoom. On
    any thread.
*/
[[nodiscard]] GroupAnalysis analyseGroup (const GroupState& state,
                                          AnalysisOptions options,
                                          TemporaryStore& store,
                                          const WorkControl& control,
                                          const AnalysisKeeping& keeping = {});

/** Puts the result into a Group that is a value, as Group::applyAnalysis() does with a shared one. */
void applyAnalysis (GroupState& state, const GroupAnalysis& result);

} // namespace tessivar
