#include "model/SettingsMerge.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::string_view white = " \t\r\n";
constexpr std::uint32_t lastCharacter = 0x10ffff; // of Unicode

bool isNameCharacter (char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-'
           || c == '.' || c == ':';
}

/** Reads a text from its front. Everything returns false or nothing where the text is not as it should be. */
class Reader
{
public:
    explicit Reader (std::string_view text) : rest (text) {}

    [[nodiscard]] bool isAtEnd() const { return rest.empty(); }

    [[nodiscard]] bool take (std::string_view expected)
    {
        if (! rest.starts_with (expected))
            return false;

        rest.remove_prefix (expected.size());
        return true;
    }

    /** Up to the end mark, which is taken too. */
    [[nodiscard]] std::optional<std::string_view> takeUntil (std::string_view end)
    {
        const auto at = rest.find (end);

        if (at == std::string_view::npos)
            return std::nullopt;

        const auto taken = rest.substr (0, at);
        rest.remove_prefix (at + end.size());
        return taken;
    }

    void skipWhite() { rest.remove_prefix (std::min (rest.find_first_not_of (white), rest.size())); }

    /** White space, comments and processing instructions. */
    [[nodiscard]] bool skipFiller()
    {
        for (;;)
        {
            skipWhite();

            if (take ("<!--"))
            {
                if (! takeUntil ("-->"))
                    return false;
            }
            else if (take ("<?"))
            {
                if (! takeUntil ("?>"))
                    return false;
            }
            else
            {
                return true;
            }
        }
    }

    [[nodiscard]] std::string_view takeName()
    {
        std::size_t length = 0;

        while (length < rest.size() && isNameCharacter (rest[length]))
            ++length;

        const auto name = rest.substr (0, length);
        rest.remove_prefix (length);
        return name;
    }

    /** A text in quotes, as it stands. */
    [[nodiscard]] std::optional<std::string_view> takeQuoted()
    {
        if (take ("\""))
            return takeUntil ("\"");

        if (take ("'"))
            return takeUntil ("'");

        return std::nullopt;
    }

private:
    std::string_view rest;
};

/** The character that an escape without & and ; stands for; 0 when it is none. */
std::uint32_t escapedCharacter (std::string_view escape)
{
    for (const auto& [name, character] : { std::pair{ "amp", '&' },
                                           std::pair{ "quot", '"' },
                                           std::pair{ "apos", '\'' },
                                           std::pair{ "lt", '<' },
                                           std::pair{ "gt", '>' } })
        if (escape == name)
            return static_cast<std::uint32_t> (character);

    if (! escape.starts_with ('#'))
        return 0;

    const auto isHex = escape.starts_with ("#x") || escape.starts_with ("#X");
    const auto digits = escape.substr (isHex ? 2 : 1);
    std::uint32_t value = 0;
    const auto* const end = digits.data() + digits.size();
    const auto [parsedEnd, error] = std::from_chars (digits.data(), end, value, isHex ? 16 : 10);
    return error == std::errc() && parsedEnd == end && value <= lastCharacter ? value : 0;
}

std::optional<juce::String> unescaped (std::string_view text)
{
    std::string result;
    result.reserve (text.size());

    while (! text.empty())
    {
        const auto plain = std::min (text.find ('&'), text.size());
        result.append (text.substr (0, plain));
        text.remove_prefix (plain);

        if (text.empty())
            break;

        const auto end = text.find (';');
        const auto character =
            end == std::string_view::npos ? 0 : escapedCharacter (text.substr (1, end - 1));

        if (character == 0)
            return std::nullopt;

        result += juce::String::charToString (static_cast<juce::juce_wchar> (character)).toRawUTF8();
        text.remove_prefix (end + 1);
    }

    return juce::String::fromUTF8 (result.data(), static_cast<int> (result.size()));
}

/** The text with what is no character replaced: names of files may be any bytes, and one such in the settings must not
    make all of them unreadable.
*/
juce::String withCharactersOnly (const juce::String& text)
{
    if (juce::CharPointer_UTF8::isValidString (text.toRawUTF8(), static_cast<int> (text.getNumBytesAsUTF8())))
        return text;

    juce::String clean;

    for (auto character = text.getCharPointer(); ! character.isEmpty();)
    {
        const auto code = static_cast<std::uint32_t> (character.getAndAdvance());
        clean << static_cast<juce::juce_wchar> (code > 0 && code <= lastCharacter ? code : 0xfffd);
    }

    return clean;
}

/** The rest of a VALUE element behind its name. */
juce::Result readValue (Reader& reader, SettingsValues& values)
{
    std::optional<juce::String> key, value;

    for (;;)
    {
        reader.skipWhite();

        if (reader.take ("/>"))
            break;

        if (reader.take (">"))
        {
            const auto content = reader.takeUntil ("</VALUE");
            reader.skipWhite();

            if (! content || ! reader.take (">"))
                return juce::Result::fail ("a VALUE has no end");

            if (const auto text =
                    juce::String::fromUTF8 (content->data(), static_cast<int> (content->size()));
                ! value || text.containsNonWhitespaceChars())
                value = text.trim();

            break;
        }

        const auto attribute = reader.takeName();
        reader.skipWhite();

        if (attribute.empty() || ! reader.take ("="))
            return juce::Result::fail ("an attribute is cut");

        reader.skipWhite();
        const auto quoted = reader.takeQuoted();
        const auto text = quoted ? unescaped (*quoted) : std::nullopt;

        if (! text)
            return juce::Result::fail ("an attribute's value is cut");

        if (attribute == "name")
            key = text;
        else if (attribute == "val")
            value = text;
    }

    if (key && key->isNotEmpty() && value)
        values[*key] = *value;

    return values.size() <= maxSettingsKeys ? juce::Result::ok() : juce::Result::fail ("too many keys");
}
} // namespace

juce::Result parseSettings (const void* data, std::size_t numBytes, SettingsValues& out)
{
    const auto* const text = static_cast<const char*> (data);

    if (numBytes == 0)
    {
        out.clear();
        return juce::Result::ok();
    }

    if (numBytes > maxSettingsFileSize)
        return juce::Result::fail ("longer than any settings file");

    if (std::string_view (text, numBytes).find ('\0') != std::string_view::npos
        || ! juce::CharPointer_UTF8::isValidString (text, static_cast<int> (numBytes)))
        return juce::Result::fail ("no text");

    Reader reader ({ text, numBytes });
    SettingsValues values;
    juce::ignoreUnused (reader.take ("\xef\xbb\xbf")); // a byte order mark, as some editors leave it

    if (! reader.skipFiller() || ! reader.take ("<PROPERTIES"))
        return juce::Result::fail ("no PROPERTIES element");

    reader.skipWhite();

    if (reader.take ("/>"))
    {
        out.clear();
        return juce::Result::ok();
    }

    if (! reader.take (">"))
        return juce::Result::fail ("no PROPERTIES element");

    for (;;)
    {
        if (! reader.skipFiller())
            return juce::Result::fail ("a comment has no end");

        if (reader.take ("</PROPERTIES"))
            break;

        if (! reader.take ("<VALUE"))
            return juce::Result::fail ("something else than a VALUE");

        if (const auto read = readValue (reader, values); read.failed())
            return read;
    }

    reader.skipWhite();

    if (! reader.take (">") || ! reader.skipFiller() || ! reader.isAtEnd())
        return juce::Result::fail ("no end where it should be");

    out = std::move (values);
    return juce::Result::ok();
}

juce::String encodeSettings (const SettingsValues& values)
{
    juce::XmlElement document ("PROPERTIES");

    for (const auto& [key, value] : values)
    {
        auto* const element = document.createNewChildElement ("VALUE");
        element->setAttribute ("name", withCharactersOnly (key));
        element->setAttribute ("val", withCharactersOnly (value));
    }

    return document.toString();
}

SettingsValues
mergeSettings (const SettingsValues& base, const SettingsValues& mine, const SettingsValues& onDisk)
{
    auto merged = onDisk;

    for (const auto& [key, value] : mine)
        if (const auto before = base.find (key); before == base.end() || before->second != value)
            merged[key] = value;

    for (const auto& [key, value] : base)
        if (! mine.contains (key))
            merged.erase (key);

    return merged;
}

} // namespace tessivar
