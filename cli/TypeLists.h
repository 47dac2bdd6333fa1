#pragma once

#include "cli/CommandContext.h"

#include <juce_core/juce_core.h>

#include <string>

namespace tessivar
{

/** Loads the word lists that a command guesses types by: those of the --types file, else the user's, as the
    window loads them. Unreadable settings are reported, and the built-in lists used. Writes nothing.

    The file is a settings file of the program, or text with one list a line, "snare = SD; snr", whose first
    word is kick, snare and so on; empty lines and lines that begin with # are ignored. Types it doesn't name
    keep their built-in list.

    @param typesFile  the value of --types; null when it is absent
    @returns          why that file can't be used
*/
[[nodiscard]] juce::Result loadTypeLists (const std::string* typesFile, const CommandContext& context);

} // namespace tessivar
