#pragma once

#include "model/TessivarWorkspace.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** What support needs to know, as text for the clipboard. */
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

/** The line with each absolute path replaced, up to ": " or its end: names may hold blanks, so rather too
    much goes than too little.
*/
[[nodiscard]] juce::String withoutPaths (const juce::String& line);

} // namespace tessivar
