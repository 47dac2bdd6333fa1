#pragma once

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "model/TrackRecord.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <optional>

namespace tessivar
{

/** What "edit" is asked to change. */
struct EditRequest
{
    juce::File groupFile;
    juce::StringArray tracks; // patterns
    std::optional<DrumType> type;
    std::optional<float> focusA, fineA, focusB, fineB;
    std::optional<KnobSetting> selected;
    std::optional<bool> excluded;
    std::optional<juce::String> newName;
    bool json = false;
};

/** Reads the values of a command line. On failure the reason names the option, and request stays untouched.
*/
[[nodiscard]] juce::Result parseEditRequest (const Invocation& invocation, EditRequest& request);

/** Runs "edit" and prints what the file now holds. Returns the exit code. */
[[nodiscard]] int runEdit (const EditRequest& request, const CommandContext& context);

} // namespace tessivar
