#pragma once

#include "cli/CommandContext.h"

#include <juce_core/juce_core.h>

#include <string>

namespace tessivar
{

/** The lists of abbreviations that a command goes by: those of the file that --types names, else those of the
    user's settings, as the window has them at its start. Settings that can't be read are told, and the
    built-in lists do. Nothing is ever written.

    The file is a settings file of the program, or text with a list a line: "snare = SD; snr", where the first
    word is kick, snare and so on, and lines that are empty or begin with # count for nothing. Types that it
    doesn't name keep their built-in list.

    @param typesFile  the value of --types; null when it is absent
    @returns          why that file can't be used
*/
[[nodiscard]] juce::Result loadTypeLists (const std::string* typesFile, const CommandContext& context);

} // namespace tessivar
