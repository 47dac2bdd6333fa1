#include "platform/DiskNames.h"

#include <algorithm>
#include <cstdint>

namespace tessivar
{

namespace
{
// The carriers in UTF-8: EE BE 80 to EE BE BF for the bytes 80 to BF, EE BF 80 to EE BF BF for C0 to FF.
constexpr std::uint8_t carrierLead = 0xee, lowerCarriers = 0xbe, upperCarriers = 0xbf;
constexpr std::size_t carrierLength = 3;

std::uint8_t byteAt (std::string_view bytes, std::size_t index)
{
    return static_cast<std::uint8_t> (bytes[index]);
}

bool startsWithCarrier (std::string_view text)
{
    return text.size() >= carrierLength && byteAt (text, 0) == carrierLead
           && byteAt (text, 1) >= lowerCarriers;
}

void appendCarrier (std::string& text, std::uint8_t byte)
{
    text += static_cast<char> (carrierLead);
    text += static_cast<char> (byte < 0xc0 ? lowerCarriers : upperCarriers);
    text += static_cast<char> (0x80 | (byte & 0x3f));
}

/** The text with what replace() gives for the byte behind each carrier. */
template <typename Replacement>
std::string withoutCarriers (std::string_view text, Replacement&& replacement)
{
    std::string result;
    result.reserve (text.size());

    while (! text.empty())
    {
        const auto isCarrier = startsWithCarrier (text);
        if (isCarrier)
            result += replacement (static_cast<std::uint8_t> (
                (byteAt (text, 1) == lowerCarriers ? 0x80 : 0xc0) | (byteAt (text, 2) & 0x3f)));
        else
            result += text.front();
        text.remove_prefix (isCarrier ? carrierLength : 1);
    }

    return result;
}

enum class Surrogates
{
    refused,
    taken // as characters of their own
};

/** The number of bytes of the character that a text begins with; 0 when it begins with none. */
std::size_t characterLength (std::string_view text, Surrogates surrogates = Surrogates::refused)
{
    const auto first = byteAt (text, 0);
    if (first < 0x80)
        return 1;

    const auto length = first >= 0xf0   ? std::size_t{ 4 }
                        : first >= 0xe0 ? std::size_t{ 3 }
                                        : std::size_t{ 2 };
    if (first < 0xc2 || first > 0xf4 || text.size() < length)
        return 0;

    // The second byte tells overlong forms, surrogates and what lies above U+10FFFF.
    const auto lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    const auto highest = first == 0xed && surrogates == Surrogates::refused ? 0x9f
                         : first == 0xf4                                    ? 0x8f
                                                                            : 0xbf;
    if (byteAt (text, 1) < lowest || byteAt (text, 1) > highest)
        return 0;

    for (std::size_t i = 2; i < length; ++i)
        if ((byteAt (text, i) & 0xc0) != 0x80)
            return 0;

    return length;
}
} // namespace

juce::String pathOfBytes (std::string_view bytes)
{
    bytes = bytes.substr (0, bytes.find ('\0'));
    std::string text;

    while (! bytes.empty())
    {
        const auto length = startsWithCarrier (bytes) ? 0 : characterLength (bytes);
        if (length > 0)
            text += bytes.substr (0, length);
        else
            appendCarrier (text, byteAt (bytes, 0));
        bytes.remove_prefix (length > 0 ? length : 1);
    }

    return juce::String::fromUTF8 (text.c_str());
}

std::string bytesOfPath (const juce::String& path)
{
    return withoutCarriers (path.toRawUTF8(), [] (std::uint8_t byte) { return static_cast<char> (byte); });
}

bool isUtf8 (std::string_view bytes)
{
    while (! bytes.empty())
    {
        const auto length = characterLength (bytes);

        if (length == 0)
            return false;

        bytes.remove_prefix (length);
    }

    return true;
}

juce::String pathOfUtf16 (std::u16string_view units)
{
    std::string bytes;

    while (! units.empty())
    {
        const auto isPair =
            units.size() > 1 && (units[0] & 0xfc00) == 0xd800 && (units[1] & 0xfc00) == 0xdc00;
        const auto character =
            isPair ? 0x10000u + ((units[0] & 0x3ffu) << 10) + (units[1] & 0x3ffu) : std::uint32_t{ units[0] };
        units.remove_prefix (isPair ? 2 : 1);

        if (character < 0x80)
        {
            bytes += static_cast<char> (character);
            continue;
        }

        const auto numFollowing = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        const auto lead = numFollowing == 1 ? 0xc0u : numFollowing == 2 ? 0xe0u : 0xf0u;
        bytes += static_cast<char> (lead | character >> (6 * numFollowing));

        for (int i = numFollowing - 1; i >= 0; --i)
            bytes += static_cast<char> (0x80u | ((character >> (6 * i)) & 0x3fu));
    }

    return pathOfBytes (bytes);
}

std::u16string utf16OfPath (const juce::String& path)
{
    const auto allBytes = bytesOfPath (path);
    std::u16string units;

    for (std::string_view bytes = allBytes; ! bytes.empty();)
    {
        const auto length = characterLength (bytes, Surrogates::taken);
        // The bits of the first byte that belong to the character, and six of each other one.
        std::uint32_t character =
            length > 1 ? byteAt (bytes, 0) & (0x7fu >> length) : std::uint32_t{ byteAt (bytes, 0) };

        for (std::size_t i = 1; i < length; ++i)
            character = character << 6 | (byteAt (bytes, i) & 0x3fu);

        if (length == 0)
            character = 0xef00u | byteAt (bytes, 0); // its carrier

        if (character >= 0x10000)
            units += static_cast<char16_t> (0xd800u + ((character - 0x10000) >> 10));

        units += static_cast<char16_t> (character >= 0x10000 ? 0xdc00u | (character & 0x3ffu) : character);
        bytes.remove_prefix (std::max<std::size_t> (1, length));
    }

    return units;
}

std::u16string longPath (std::u16string_view path)
{
    // Folders may have 12 units less than the 260 of a file, and some calls add to what they are given.
    constexpr std::size_t longestPlain = 240;
    constexpr std::u16string_view asItStands = uR"(\\?\)", ofNetwork = uR"(\\?\UNC)", network = uR"(\\)";

    if (path.size() < longestPlain || path.starts_with (asItStands))
        return std::u16string (path);

    const auto isOfNetwork = path.starts_with (network);
    return std::u16string (isOfNetwork ? ofNetwork : asItStands).append (path.substr (isOfNetwork ? 1 : 0));
}

juce::String portableFileName (const juce::String& name)
{
    // With any extension, in any case; those with a number from 1 to 9, or its superscript.
    const auto first = name.upToFirstOccurrenceOf (".", false, false).trimEnd().toLowerCase();
    const auto number = first.substring (3);
    const auto hasNumber = first.length() == 4
                           && (number.containsOnly ("123456789")
                               || number.containsOnly (juce::String::fromUTF8 ("\xc2\xb9\xc2\xb2\xc2\xb3")));
    const auto isDevice =
        juce::StringArray{ "con", "prn", "aux", "nul", "conin$", "conout$" }.contains (first)
        || (hasNumber && (first.startsWith ("com") || first.startsWith ("lpt")));

    const auto whole =
        isDevice ? name.substring (0, first.length()) + "_" + name.substring (first.length()) : name;
    const auto end = whole.trimCharactersAtEnd (". ").length();
    juce::String result;

    for (int i = 0; i < whole.length(); ++i)
    {
        const auto character = whole[i];
        const auto isRefused =
            character < 0x20 || i >= end || juce::String ("<>:\"/\\|?*").containsChar (character);
        result += isRefused ? juce::String ("_") : juce::String::charToString (character);
    }

    return result;
}

juce::String shortenedToBytes (const juce::String& name, std::size_t maxBytes)
{
    const auto* bytes = name.toRawUTF8();
    auto length = name.getNumBytesAsUTF8();

    if (length <= maxBytes)
        return name;

    length = maxBytes;

    // A byte of the form 10xxxxxx continues a character: the cut goes before the character it belongs to.
    while (length > 0 && (static_cast<unsigned char> (bytes[length]) & 0xc0) == 0x80)
        --length;

    return juce::String::fromUTF8 (bytes, static_cast<int> (length));
}

juce::String readablePath (const juce::String& text)
{
    return juce::String::fromUTF8 (
        withoutCarriers (
            text.toRawUTF8(),
            [] (std::uint8_t byte)
            {
                const auto letter = juce::CharacterFunctions::getUnicodeCharFromWindows1252Codepage (byte);
                // The toolkit gives a control character for the five bytes that stand for none.
                return juce::String::charToString (letter < 0x80 ? 0xfffd : letter).toStdString();
            })
            .c_str());
}

} // namespace tessivar
