#pragma once

#include "cli/CommandTable.h"

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

    /** Prints the error and returns the code. */
    [[nodiscard]] int fail (int code, const juce::String& error) const;

    /** Prints the error and how to get help on the command, or on the program when it is null. */
    [[nodiscard]] int failUsage (const juce::String& error, const CommandSpec* command) const;

    [[nodiscard]] int failInterrupted() const { return fail (exitCode::interrupted, "interrupted"); }
    [[nodiscard]] bool isStopRequested() const { return stopRequested && stopRequested(); }
};

} // namespace tessivar
