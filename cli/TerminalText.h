#pragma once

#include "model/ForeignText.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessivar
{

/** A table: columns two spaces apart, no spaces at line ends, the first row an underlined heading. Widths
    count characters.
*/
[[nodiscard]] std::string formatTable (const std::vector<std::vector<juce::String>>& rows);

/** "812 bytes", "1.46 MB": three digits, decimal units. */
[[nodiscard]] juce::String formatBytes (std::uint64_t bytes);

/** Seconds as "12.3 s", "2:05" or "1:02:05". */
[[nodiscard]] juce::String formatSeconds (double seconds);

/** A level in dB with a sign and one decimal; "-0.0" is written "0.0". */
[[nodiscard]] juce::String formatDb (double levelDb);

/** The value of a knob: at most three decimals, no trailing zeros. */
[[nodiscard]] juce::String formatKnob (float value);

/** A name quoted for a shell, in command lines to copy. */
[[nodiscard]] juce::String shellQuoted (const juce::String& text);

} // namespace tessivar
