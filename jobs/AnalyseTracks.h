#pragma once

#include "jobs/SessionTrack.h"
#include "model/GroupContents.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <span>

namespace tessivar
{

struct AnalyseOptions
{
    juce::File resourceFolder; // holds resources01, resources02 and resources03
    int numThreads = 1;        // results do not depend on it
    std::uint64_t seed = method::defaultSeed;
    AnalysisMethod method = AnalysisMethod::standard;
    bool keepAllComponents = false; // fill SessionTrack::components
    // Takes the lines that loading the data files writes, on the thread of the analysis; standard output when empty.
    std::function<void (const juce::String& line)> diagnostics{};
};

/** What an analysis will take, beside what there is, in bytes. */
struct AnalyseForecast
{
    std::uint64_t memoryNeeded = 0;
    std::uint64_t memoryFree = 0; // UINT64_MAX when the system doesn't say
    std::uint64_t diskNeeded =
        0;                      // scratch, rendered tracks, components, and sources that are not imported yet
    std::uint64_t diskFree = 0; // UINT64_MAX when the system doesn't say

    /** Fails when something does not fit; the text names the bytes needed and the bytes free. */
    [[nodiscard]] juce::Result check() const;
};

enum class AnalyseStatus
{
    completed,
    stopped, // a stop was requested
    refused, // these tracks can't be analysed
    noRoom,  // memory or temporary disk do not suffice
    failed,  // anything else
};

/** How an analysis ended. Unless it completed, every track is as it was before. */
struct AnalyseOutcome
{
    AnalyseStatus status = AnalyseStatus::completed;
    juce::String message; // for the user; empty when completed or stopped
    juce::String reason;  // what exactly went wrong, with file and numbers; may be empty
    AnalysisShape shape;
    juce::StringArray notes; // what the user should know of an analysis that completed

    [[nodiscard]] juce::Result result() const;
};

/** What the user is told when an analysis was begun and did not come to its end. */
inline constexpr auto analysisFailedText =
    "Analyze seems to have failed. Please try again. If the problem persists contact us.";

/** Why these tracks can't be analysed, in the words for the user; empty when they can. */
[[nodiscard]] juce::String analysisRefusal (std::span<const SessionTrack> tracks);
[[nodiscard]] juce::String analysisRefusal (const GroupContents& contents);

/** The forecast for these tracks, imported or only checked. temporaryFolder need not exist yet. An empty or
    unsupported session needs nothing.
*/
[[nodiscard]] AnalyseForecast forecastAnalyse (std::span<const SessionTrack> tracks,
                                               const AnalyseOptions& options,
                                               const juce::File& temporaryFolder);

/** Analyses imported tracks of one performance together and keeps the result in store.

    On success every track that takes part is processed and has its seven channels; the others are not processed.
    Memory that runs out ends as noRoom. Tracks are changed only on success.
*/
[[nodiscard]] AnalyseOutcome analyseSession (std::span<SessionTrack> tracks,
                                             const AnalyseOptions& options,
                                             TemporaryStore& store,
                                             const WorkControl& control);

} // namespace tessivar
