#include "report/Html.h"

#include "model/ForeignText.h"

#include <algorithm>
#include <iterator>

namespace tessivar
{

namespace
{
constexpr std::string_view wordElements[]{ "a", "span", "strong" };

juce::String escaped (const juce::String& text)
{
    return printable (text)
        .replace ("&", "&amp;")
        .replace ("<", "&lt;")
        .replace (">", "&gt;")
        .replace ("\"", "&quot;")
        .replace ("'", "&#39;");
}
} // namespace

void Html::verbatim (std::string_view markup)
{
    output.write (markup.data(), markup.size());
}

void Html::open (const char* name, Attributes attributes)
{
    output << "<" << name;

    for (const auto& attribute : attributes)
        output << " " << attribute.name << "=\"" << escaped (attribute.value) << "\"";
}

void Html::close (const char* name)
{
    // A line end behind a word of a sentence would show as a blank.
    const auto isWord = std::ranges::find (wordElements, std::string_view (name)) != std::end (wordElements);
    output << "</" << name << (isWord ? ">" : ">\n");
}

Html::Element Html::element (const char* name, Attributes attributes)
{
    open (name, attributes);
    output << ">";
    return { *this, name };
}

void Html::leaf (const char* name, const juce::String& content, Attributes attributes)
{
    open (name, attributes);
    output << ">" << escaped (content);
    close (name);
}

void Html::empty (const char* name, Attributes attributes)
{
    open (name, attributes);
    output << "/>\n";
}

void Html::withData (const char* name,
                     Attributes attributes,
                     const char* dataAttribute,
                     const char* mediaType,
                     std::span<const std::byte> data)
{
    open (name, attributes);
    output << " " << dataAttribute << "=\"data:" << mediaType << ";base64,";
    juce::Base64::convertToBase64 (output, data.data(), data.size());
    output << "\"";

    // Browsers end an image by itself, and anything else only at its end mark.
    if (std::string_view (name) == "img")
    {
        output << "/>\n";
        return;
    }

    output << ">";
    close (name);
}

void Html::text (const juce::String& content)
{
    output << escaped (content);
}

} // namespace tessivar
