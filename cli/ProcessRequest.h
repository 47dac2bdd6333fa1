#pragma once

#include "cli/CommandLine.h"
#include "cli/TrackChoices.h"
#include "jobs/AnalyseTracks.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessivar
{

/** What the command "process" is asked for. */
struct ProcessRequest
{
    std::vector<std::string> inputs;
    juce::File outFolder;
    AnalysisMethod method = AnalysisMethod::standard;
    KnobChoices focus{ defaultFocus, {} }; // 0..5, or suggestedValue
    KnobChoices fine{ defaultFine, {} };   // 0..1
    TrackChoices<DrumType> types;
    juce::StringArray excluded; // patterns
    juce::String extension = ".wav";
    bool overwrite = false;
    bool components = false;
    std::uint64_t seed = 1;
    int numThreads = 1;
    juce::File temporaryFolder;
    bool dryRun = false;
    bool json = false;
    bool quiet = false;
};

/** Reads the values of a command line. On failure the reason names the option, and request stays untouched. */
[[nodiscard]] juce::Result parseProcessRequest (const Invocation& invocation, ProcessRequest& request);

} // namespace tessivar
