#include "model/settings/SettingsMerge.h"

#include <expat.h>

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
/** What stands in place of a character that XML has no place for. */
constexpr juce::juce_wchar replacement = 0xfffd;

bool isXmlCharacter (juce::juce_wchar character)
{
    const auto code = static_cast<std::uint32_t> (character);
    return code >= 0x20
               ? code < 0xd800 || (code > 0xdfff && code < 0xfffe) || (code > 0xffff && code <= 0x10ffff)
               : code == '\t' || code == '\n' || code == '\r';
}

/** The text with what is no character replaced: names of files may be any bytes, and one such in the settings
    must not make all of them unreadable.
*/
juce::String withCharactersOnly (const juce::String& text)
{
    juce::String clean;
    clean.preallocateBytes (text.getNumBytesAsUTF8());

    for (auto character = text.getCharPointer(); ! character.isEmpty();)
    {
        const auto code = character.getAndAdvance();
        clean << (isXmlCharacter (code) ? code : replacement);
    }

    return clean;
}

/** Takes the values out of the elements as the parser meets them. */
class SettingsParser
{
public:
    explicit SettingsParser (std::string textToParse)
        : text (std::move (textToParse)), parser (XML_ParserCreate ("UTF-8"), XML_ParserFree)
    {
        if (parser == nullptr)
            throw std::bad_alloc();

        XML_SetUserData (parser.get(), this);
        XML_SetElementHandler (
            parser.get(),
            [] (void* self, const char* name, const char** attributes)
            { static_cast<SettingsParser*> (self)->start (name, attributes); },
            [] (void* self, const char*) { static_cast<SettingsParser*> (self)->end(); });
        // Entities can make a small file a huge one; settings have none.
        XML_SetStartDoctypeDeclHandler (parser.get(),
                                        [] (void* self, const char*, const char*, const char*, int)
                                        { static_cast<SettingsParser*> (self)->fail ("a document type"); });
    }

    juce::Result parse()
    {
        const auto status = XML_Parse (parser.get(), text.data(), static_cast<int> (text.size()), XML_TRUE);

        // Says nothing about the file.
        if (status != XML_STATUS_OK && XML_GetErrorCode (parser.get()) == XML_ERROR_NO_MEMORY)
            throw std::bad_alloc();

        if (status != XML_STATUS_OK && problem.isEmpty())
            problem = XML_ErrorString (XML_GetErrorCode (parser.get()));

        return problem.isEmpty() ? juce::Result::ok() : juce::Result::fail (problem);
    }

    SettingsValues values;

private:
    void start (std::string_view name, const char** attributes)
    {
        ++depth;

        if (depth <= 2 && name != (depth == 1 ? "PROPERTIES" : "VALUE"))
            return fail (depth == 1 ? "no PROPERTIES element" : "something else than a VALUE");

        if (depth != 2)
            return;

        key = {};
        value.reset();
        contentStart = place() + static_cast<std::size_t> (XML_GetCurrentByteCount (parser.get()));

        for (; *attributes != nullptr; attributes += 2)
            if (const std::string_view attribute (attributes[0]); attribute == "name")
                key = juce::String::fromUTF8 (attributes[1]);
            else if (attribute == "val")
                value = juce::String::fromUTF8 (attributes[1]);
    }

    void end()
    {
        if (depth-- != 2 || problem.isNotEmpty())
            return;

        // An element without content ends where it starts, and has no value but that of its attribute.
        if (const auto contentEnd = place(); text[contentStart - 2] != '/')
            if (const auto content = juce::String::fromUTF8 (text.data() + contentStart,
                                                             static_cast<int> (contentEnd - contentStart))
                                         .trim();
                ! value || content.isNotEmpty())
                value = content;

        if (key.isNotEmpty() && value)
            values[key] = *value;

        if (values.size() > maxSettingsKeys)
            fail ("too many keys");
    }

    void fail (const char* reason)
    {
        problem = reason;
        XML_StopParser (parser.get(), XML_FALSE);
    }

    /** Of the tag that the parser is at. */
    [[nodiscard]] std::size_t place() const
    {
        return static_cast<std::size_t> (XML_GetCurrentByteIndex (parser.get()));
    }

    const std::string text;
    const std::unique_ptr<XML_ParserStruct, decltype (&XML_ParserFree)> parser;
    juce::String problem, key;
    std::optional<juce::String> value;
    std::size_t contentStart = 0;
    int depth = 0;
};
} // namespace

juce::Result parseSettings (const void* data, std::size_t numBytes, SettingsValues& out)
{
    if (numBytes > maxSettingsFileSize)
        return juce::Result::fail ("longer than any settings file");

    SettingsValues values;

    if (numBytes > 0)
    {
        // JUCE writes control characters by their numbers, which XML forbids.
        static const std::regex controlCharacter ("&#(?:[1-8]|1[124-9]|2[0-9]|3[01]);");
        SettingsParser parser (std::regex_replace (
            std::string (static_cast<const char*> (data), numBytes), controlCharacter, "&#xfffd;"));

        if (const auto parsed = parser.parse(); parsed.failed())
            return parsed;

        values = std::move (parser.values);
    }

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
