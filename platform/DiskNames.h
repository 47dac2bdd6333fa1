#pragma once

#include <juce_core/juce_core.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tessivar
{

/** Names of files are any bytes on disk and UTF-8 in a juce::String, whose functions read past the end of
    anything else. A byte that is no part of UTF-8 is carried as one character of the private area, U+EF80 to
    U+EFFF for 0x80 to 0xFF; these characters themselves are carried byte by byte, so that every name comes
    back as it was.
*/
[[nodiscard]] juce::String pathOfBytes (std::string_view bytes);

/** What the operating system is to be called with: every path goes through here, those that JUCE opens too.
*/
[[nodiscard]] std::string bytesOfPath (const juce::String& path);

[[nodiscard]] inline std::string bytesOfPath (const juce::File& file)
{
    return bytesOfPath (file.getFullPathName());
}

/** The same for a system whose names are any units of UTF-16: a surrogate on its own counts as the three
    bytes that it would have in UTF-8. What can't be a name there, bytes that are no part of UTF-8, stays
    as it is carried.
*/
[[nodiscard]] juce::String pathOfUtf16 (std::u16string_view units);
[[nodiscard]] std::u16string utf16OfPath (const juce::String& path);

/** Whether bytes are UTF-8 throughout: no overlong forms, no surrogates. */
[[nodiscard]] bool isUtf8 (std::string_view bytes);

/** A whole path as Windows takes it at any length; a short one stays as it is. */
[[nodiscard]] std::u16string longPath (std::u16string_view path);

/** Text with paths in it as people read it, such a byte as the letter that it is in Windows-1252. */
[[nodiscard]] juce::String readablePath (const juce::String& text);

/** A file name that every system can hold: "_" stands for characters that Windows refuses, for blanks and
    dots at the end, and behind the name of a device such as "con.wav". Any other name stays as it is.
*/
[[nodiscard]] juce::String portableFileName (const juce::String& name);

/** The name cut to at most maxBytes of UTF-8, never inside a character. */
[[nodiscard]] juce::String shortenedToBytes (const juce::String& name, std::size_t maxBytes);

} // namespace tessivar
