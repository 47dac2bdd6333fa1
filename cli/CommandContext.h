#pragma once

#include <juce_core/juce_core.h>

#include <functional>
#include <iosfwd>

namespace tessivar
{

/** What a command works with. */
struct CommandContext
{
    std::ostream& out;         // results
    std::ostream& diagnostics; // progress and errors
    bool diagnosticsAreTerminal = false;
    juce::File resourceFolder; // analysis data and the demo session
    std::function<bool()> stopRequested;

    /** Prints "tessivar-cli: " and the text, which may come from outside, as a line. */
    void tellError (const juce::String& text) const;
};

} // namespace tessivar
