#pragma once

#include "cli/ProcessRequest.h"
#include "cli/TypeOrigin.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/ExportTracks.h"
#include "model/GroupState.h"
#include "model/ImportWarnings.h"
#include "terms/KnobValues.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <vector>

namespace tessivar
{

/** What was decided about one track of a run, and how it went. */
struct ReportedTrack
{
    juce::String name; // as the user knows it: both channels of a stereo file have the file's

    /** For the export. A focus of suggestedValue waits for the analysis. */
    KnobValues knobs{};

    TypeOrigin typeOrigin = TypeOrigin::fallback;
    TrackClassification guess{}; // from the name
    std::int64_t nonFiniteSamples = 0;
    juce::File outputFile{};             // planned, and after the export written
    bool isSourceItself = false;         // would be written, unchanged, onto its own source: is not
    std::optional<TrackExport> output{}; // nothing before the export

    [[nodiscard]] bool isWritten() const { return output.has_value() && output->isWritten(); }
};

/** A file that did not become a track. */
struct RefusedFile
{
    juce::String file;
    std::optional<int> code; // of the warning it was filed as
    juce::String reason;     // names the file
};

/** What a run needs and what is free, in bytes; UINT64_MAX where the system does not say. */
struct ProcessForecast
{
    WorkForecast analysis;
    WorkForecast otherMethod; // if that were chosen
    std::uint64_t outputNeeded = 0;
    std::uint64_t outputFree = 0;
};

/** Everything to tell about a run over one Group. */
struct ProcessReport
{
    int exitCode = 0;
    GroupState group;                  // as it stands after the run
    std::vector<ReportedTrack> tracks; // parallel to the Group's
    std::vector<RefusedFile> refused;
    std::vector<ImportWarnings::Warning> warnings;
    juce::StringArray notes;  // on accepted files
    juce::StringArray hints;  // what the user may want to do
    juce::StringArray errors; // file and reason
    juce::StringArray log;    // of the export
    std::vector<juce::File> componentFiles;
    AnalysisMethod method = AnalysisMethod::standard; // of the analysis whose result this is
    juce::File savedFile;                             // none: the Group was not saved
    std::uint64_t savedBytes = 0;
    juce::File reportFile; // none: no page was written
    std::optional<ProcessForecast> forecast;
    double readingSeconds = 0.0, analysisSeconds = 0.0, writingSeconds = 0.0, savingSeconds = 0.0,
           reportingSeconds = 0.0, totalSeconds = 0.0;
};

/** What the user should check or listen to: one paragraph each. */
[[nodiscard]] juce::StringArray hintsFor (const ProcessReport& report);

/** The report for people: table, warnings, log, totals. Errors are left out: they were printed as they came.
*/
[[nodiscard]] std::string formatReport (const ProcessReport& report, const ProcessRequest& request);

/** The report for machines; docs/cli.schema.json describes the keys. */
[[nodiscard]] nlohmann::ordered_json reportToJson (const ProcessReport& report,
                                                   const ProcessRequest& request);

} // namespace tessivar
