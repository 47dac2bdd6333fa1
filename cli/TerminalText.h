#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessivar
{

/** Text from outside, such as a file name, made fit for a terminal: control characters, which could move the
    cursor or end the line, and marks that turn the direction of writing show as escapes like \n and \x1b.
*/
[[nodiscard]] juce::String printable (const juce::String& text);

/** Rows of cells as columns of equal width, two blanks apart, no blanks at line ends. The first row is the
    heading and is underlined. Widths count characters.
*/
[[nodiscard]] std::string formatTable (const std::vector<std::vector<juce::String>>& rows);

/** A number of bytes with three digits and its unit: "812 bytes", "1.46 MB". Decimal units. */
[[nodiscard]] juce::String formatBytes (std::uint64_t bytes);

/** Seconds as "12.3 s", "2:05" or "1:02:05". */
[[nodiscard]] juce::String formatSeconds (double seconds);

/** A level in dB with a sign and one decimal; "-0.0" is written "0.0". */
[[nodiscard]] juce::String formatDb (double levelDb);

/** A name in single quotes as a shell takes it, for a command line to be copied. */
[[nodiscard]] juce::String shellQuoted (const juce::String& text);

} // namespace tessivar
