#pragma once

#include "model/TessivarWorkspace.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** What somebody who helps a user wants to know, as text for the clipboard. */
struct DiagnosticsRequest
{
    const TessivarWorkspace& workspace;
    juce::File resourceFolder;
    juce::String soundDevice;     // one line
    juce::StringArray soundTypes; // that this machine offers
    juce::String screen;          // one line
    juce::StringArray logLines;   // the last ones
    bool withPaths = false;       // else names of files and folders are left out
};

[[nodiscard]] juce::String diagnosticsText (const DiagnosticsRequest& request);

/** A line with everything from the start of an absolute path to the line's end, or to ": " after it,
    replaced: names may hold blanks, so more rather than less goes.
*/
[[nodiscard]] juce::String withoutPaths (const juce::String& line);

} // namespace tessivar
