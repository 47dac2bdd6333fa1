#pragma once

#include <juce_core/juce_core.h>

#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace tessivar
{

/** Writes a page of markup that browsers read as HTML and any XML parser as XML. Whatever is told as text or
    as the value of an attribute is escaped, wherever it comes from; bytes that are no text show as escapes.
*/
class Html
{
public:
    /** A name and a value. */
    struct Attribute
    {
        const char* name;
        juce::String value;
    };

    using Attributes = std::initializer_list<Attribute>;

    /** An element that ends with this. */
    class [[nodiscard]] Element
    {
    public:
        Element (Html& pageToWrite, const char* elementName) : page (pageToWrite), name (elementName) {}
        ~Element() { page.close (name); }

        Element (const Element&) = delete;
        Element& operator= (const Element&) = delete;

    private:
        Html& page;
        const char* const name;
    };

    explicit Html (juce::OutputStream& outputToFill) : output (outputToFill) {}

    Element element (const char* name, Attributes attributes = {});

    /** An element with nothing but text in it. */
    void leaf (const char* name, const juce::String& content, Attributes attributes = {});

    /** An element that holds nothing. */
    void empty (const char* name, Attributes attributes = {});

    /** The same with one more attribute, an address that holds these bytes itself. */
    void withData (const char* name,
                   Attributes attributes,
                   const char* dataAttribute,
                   const char* mediaType,
                   std::span<const std::byte> data);

    void text (const juce::String& content);

    /** Markup or a style sheet of the program's own. */
    void verbatim (std::string_view markup);

private:
    void open (const char* name, Attributes attributes);
    void close (const char* name);

    juce::OutputStream& output;
};

} // namespace tessivar
