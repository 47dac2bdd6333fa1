#include "ui/Fonts.h"

namespace tessivar::fonts
{
namespace
{

constexpr std::array<const char*, 3> styleNames{ "Regular", "Medium", "SemiBold" };

float widestDigit (const juce::Font& font)
{
    float widest = 0.0f;
    for (juce::juce_wchar digit = '0'; digit <= '9'; ++digit)
        widest = std::max (widest, font.getStringWidthFloat (juce::String::charToString (digit)));
    return widest;
}

bool isDigit (juce::juce_wchar character)
{
    return character >= '0' && character <= '9';
}

} // namespace

juce::Font inter (float emPixels, Weight weight)
{
    return { familyName, styleNames[static_cast<std::size_t> (weight)], emPixels * heightPerEm };
}

juce::Font caption()
{
    return inter (11.0f, Weight::semibold).withExtraKerningFactor (0.06f / heightPerEm);
}

InterTypefaces::InterTypefaces (const juce::File& resourcesFolder)
{
    for (std::size_t i = 0; i < styleNames.size(); ++i)
    {
        const auto file =
            resourcesFolder.getChildFile ("fonts/Inter-" + juce::String (styleNames[i]) + ".otf");
        juce::MemoryBlock data;
        if (file.existsAsFile() && file.loadFileAsData (data))
            typefaces[i] = juce::Typeface::createSystemTypefaceFor (data.getData(), data.getSize());
    }
}

juce::Typeface::Ptr InterTypefaces::forStyle (const juce::String& style) const
{
    // The toolkit's widgets ask for "Bold"; the interface's bold is semibold.
    if (style.equalsIgnoreCase (styleNames[2]) || style.containsIgnoreCase ("bold"))
        return typefaces[2];
    return style.equalsIgnoreCase (styleNames[1]) ? typefaces[1] : typefaces[0];
}

float tabularWidth (const juce::Font& font, const juce::String& text)
{
    const auto cell = widestDigit (font);
    float width = 0.0f;
    for (auto character : text)
        width +=
            isDigit (character) ? cell : font.getStringWidthFloat (juce::String::charToString (character));
    return width;
}

void drawTabular (juce::Graphics& g,
                  const juce::Font& font,
                  const juce::String& text,
                  juce::Rectangle<float> area,
                  juce::Justification justification)
{
    const auto cell = widestDigit (font);
    const auto box = justification.appliedToRectangle (
        juce::Rectangle<float> (tabularWidth (font, text), font.getHeight()), area);
    const auto baseline = box.getY() + font.getAscent();

    juce::GlyphArrangement glyphs;
    auto x = box.getX();
    for (auto character : text)
    {
        const auto letter = juce::String::charToString (character);
        const auto width = font.getStringWidthFloat (letter);
        const auto taken = isDigit (character) ? cell : width;
        glyphs.addLineOfText (font, letter, x + 0.5f * (taken - width), baseline);
        x += taken;
    }
    glyphs.draw (g);
}

} // namespace tessivar::fonts
