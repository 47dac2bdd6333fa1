#include "model/ForeignText.h"

#include "platform/DiskNames.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace tessivar
{

namespace
{
using Bytes = std::span<const std::uint8_t>;

constexpr char32_t replacement = 0xfffd;

std::u32string fromUtf16 (Bytes bytes, bool isBigEndian)
{
    const auto unit = [=] (std::size_t i) {
        return static_cast<char32_t> (isBigEndian ? bytes[i] << 8 | bytes[i + 1]
                                                  : bytes[i + 1] << 8 | bytes[i]);
    };

    std::u32string text;
    for (std::size_t i = 0; i + 1 < bytes.size() && unit (i) != 0; i += 2)
    {
        const auto first = unit (i);
        const auto isPair =
            (first & 0xfc00) == 0xd800 && i + 3 < bytes.size() && (unit (i + 2) & 0xfc00) == 0xdc00;
        if (isPair)
        {
            i += 2;
            text += 0x10000 + ((first & 0x3ff) << 10) + (unit (i) & 0x3ff);
        }
        else
        {
            text += (first & 0xf800) == 0xd800 ? replacement : first;
        }
    }

    return text;
}

std::u32string fromWindows1252 (Bytes bytes)
{
    std::u32string text;
    for (const auto byte : bytes)
    {
        const auto character =
            static_cast<char32_t> (juce::CharacterFunctions::getUnicodeCharFromWindows1252Codepage (byte));
        // The toolkit gives a control character for the five bytes that stand for none.
        text += byte >= 0x80 && character < 0x80 ? replacement : character;
    }

    return text;
}

juce::String toString (const std::u32string& text)
{
    using Characters = juce::CharPointer_UTF32;
    return juce::String (Characters (reinterpret_cast<const Characters::CharType*> (text.c_str())));
}

bool isHarmful (juce::juce_wchar character)
{
    const auto code = static_cast<std::uint32_t> (character);
    const bool isControl = code < 0x20 || (code >= 0x7f && code < 0xa0);
    const bool isSeparator = code == 0x2028 || code == 0x2029;
    const bool turnsDirection = code == 0x061c || code == 0x200e || code == 0x200f
                                || (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    const bool isNoCharacter = (code & 0xfffe) == 0xfffe || (code >= 0xd800 && code < 0xe000);
    return isControl || isSeparator || turnsDirection || isNoCharacter;
}

juce::String escaped (juce::juce_wchar character)
{
    switch (character)
    {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    const auto code = static_cast<int> (character);
    return code < 0x100 ? "\\x" + juce::String::toHexString (code).paddedLeft ('0', 2)
                        : "\\u" + juce::String::toHexString (code).paddedLeft ('0', 4);
}
} // namespace

juce::String textOfBytes (Bytes bytes)
{
    const auto startsWith = [&] (std::initializer_list<std::uint8_t> mark)
    { return bytes.size() >= mark.size() && std::equal (mark.begin(), mark.end(), bytes.begin()); };

    if (startsWith ({ 0xfe, 0xff }) || startsWith ({ 0xff, 0xfe }))
        return toString (fromUtf16 (bytes.subspan (2), bytes[0] == 0xfe));
    if (startsWith ({ 0xef, 0xbb, 0xbf }))
        bytes = bytes.subspan (3);

    bytes = bytes.first (
        static_cast<std::size_t> (std::find (bytes.begin(), bytes.end(), std::uint8_t{ 0 }) - bytes.begin()));
    const std::string_view text (reinterpret_cast<const char*> (bytes.data()), bytes.size());

    return isUtf8 (text) ? juce::String::fromUTF8 (text.data(), static_cast<int> (text.size()))
                         : toString (fromWindows1252 (bytes));
}

juce::String validText (const juce::String& text)
{
    // The string's own functions read on behind the end of text that stops within a character.
    const auto* const bytes = text.toRawUTF8();
    return textOfBytes ({ reinterpret_cast<const std::uint8_t*> (bytes), std::strlen (bytes) });
}

juce::String shownText (const juce::String& text)
{
    return readablePath (validText (text));
}

juce::String printable (const juce::String& text)
{
    const auto shown = shownText (text);
    juce::String result;
    for (auto pointer = shown.getCharPointer(); ! pointer.isEmpty();)
    {
        const auto character = pointer.getAndAdvance();
        if (isHarmful (character))
            result << escaped (character);
        else
            result << juce::String::charToString (character);
    }
    return result;
}

} // namespace tessivar
