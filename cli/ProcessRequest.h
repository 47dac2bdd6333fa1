#pragma once

#include "cli/CommandLine.h"
#include "cli/TrackChoices.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/ExportPlan.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessivar
{

/** Which steps a run over a Group takes. */
enum class RunKind
{
    process, // analyses and writes audio, and saves when asked to
    analyse, // analyses and saves
    exports  // writes audio of Groups that are analyzed already
};

/** What "process", "analyze" and "export" are asked to do with one Group. */
struct ProcessRequest
{
    RunKind kind = RunKind::process;
    std::vector<std::string> inputs; // audio files and folders; empty when groupFile is set
    juce::File groupFile;            // the Group comes from this file
    juce::File outFolder;            // none: no audio is written
    juce::File saveFile;             // none: the Group is not saved
    juce::File reportFile;           // none: no page is written
    bool reportAudio = false;        // in the page

    std::optional<AnalysisMethod> method; // nothing: the Group's own, refined for a new one
    std::optional<KnobSetting> setting;   // to export; nothing: the one that sounds in the Group
    KnobChoices focus{ std::nullopt, {} }, fine{ std::nullopt, {} }; // 0..5, or suggestedValue; 0..1
    TrackChoices<DrumType> types;
    juce::StringArray excluded;   // patterns
    juce::StringArray onlyTracks; // patterns; empty: all
    juce::String extension = ".wav";
    ExportDepth depth = ExportDepth::source;
    bool overwrite = false;
    bool components = false;
    std::uint64_t seed = 1;
    int numThreads = 1;
    juce::File temporaryFolder;
    SpectraPlace spectra = SpectraPlace::automatic;
    bool dryRun = false;
    bool json = false;
    bool quiet = false;

    [[nodiscard]] bool analyses() const { return kind != RunKind::exports; }
    [[nodiscard]] bool writesAudio() const { return kind != RunKind::analyse; }
    [[nodiscard]] bool isFromGroupFile() const { return groupFile != juce::File(); }
    [[nodiscard]] bool saves() const { return saveFile != juce::File(); }
    [[nodiscard]] bool reports() const { return reportFile != juce::File(); }
};

/** How many threads --threads asks for; as many as there are cores without it. */
[[nodiscard]] juce::Result parseThreads (const Invocation& invocation, int& numThreads);

/** Reads a command line into one request for each Group: every group file among the inputs is one, with
    --each every folder too, and all other inputs together are one. Several Groups have folders of their own
    below --out and files of their own below --save and --report.

    On failure the reason names the option, and requests stays untouched.
*/
[[nodiscard]] juce::Result parseProcessRequests (const Invocation& invocation,
                                                 std::vector<ProcessRequest>& requests);

} // namespace tessivar
