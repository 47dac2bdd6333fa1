#include "ui/dialogs/DialogText.h"

#include "ui/Fonts.h"

namespace tessivar
{
namespace
{

/** A word in as many lines as it takes. */
juce::String brokenWord (const juce::String& word, const juce::Font& font, float width)
{
    juce::String lines, line;
    for (auto rest = word; rest.isNotEmpty();)
    {
        const auto next = line + rest.substring (0, 1);
        if (line.isEmpty() || font.getStringWidthFloat (next) <= width)
        {
            line = next;
            rest = rest.substring (1);
            continue;
        }
        const auto slash = line.lastIndexOfChar ('/');
        const auto length = slash > 0 ? slash + 1 : line.length();
        lines << line.substring (0, length) << "\n";
        line = line.substring (length);
    }
    return lines + line;
}

juce::String brokenToFit (const juce::String& text, const juce::Font& font, float width)
{
    if (font.getStringWidthFloat (text) <= width)
        return text;
    juce::StringArray lines;
    for (const auto& line : juce::StringArray::fromLines (text))
    {
        juce::StringArray words;
        for (const auto& word : juce::StringArray::fromTokens (line, " ", {}))
            words.add (font.getStringWidthFloat (word) > width ? brokenWord (word, font, width) : word);
        lines.add (words.joinIntoString (" "));
    }
    return lines.joinIntoString ("\n");
}

} // namespace

juce::TextLayout layOutText (const std::vector<ColouredText>& runs, float width, float fontHeight)
{
    const auto font = fonts::inter (fontHeight);
    juce::AttributedString attributed;
    for (const auto& run : runs)
        attributed.append (brokenToFit (run.text, font, width), font, run.colour);
    attributed.setLineSpacing (fontHeight < 13.0f ? 2.0f : 3.3f);
    attributed.setWordWrap (juce::AttributedString::WordWrap::byWord);
    juce::TextLayout layout;
    layout.createLayout (attributed, width);
    return layout;
}

} // namespace tessivar
