#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <span>

namespace tessivar
{

/** The text in bytes that a stranger wrote: file contents, file names. It can't fail and reads only these
    bytes.

    UTF-16 is told by its byte order mark. Otherwise bytes that are UTF-8 throughout (no overlong forms, no
    surrogates) are that, and any others are Windows-1252. The text ends at its first zero.
*/
[[nodiscard]] juce::String textOfBytes (std::span<const std::uint8_t> bytes);

/** The same for the bytes in a string that may have been filled without a check: always valid UTF-8. */
[[nodiscard]] juce::String validText (const juce::String& text);

/** What is printed, logged and put into documents: valid, and names of files in it as people read them. */
[[nodiscard]] juce::String shownText (const juce::String& text);

/** The same, made safe for a terminal and for markup: control characters, marks that change the direction of
    writing and codes that are no characters become escapes like \n and \x1b.
*/
[[nodiscard]] juce::String printable (const juce::String& text);

} // namespace tessivar
