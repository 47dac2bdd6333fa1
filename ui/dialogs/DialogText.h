#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace tessivar
{

/** A run of text in one colour. */
struct ColouredText
{
    juce::String text;
    juce::Colour colour;
};

/** Text with its words wrapped. A word that is wider than a line, as paths are, is broken behind a slash, or
    where there is none, wherever the line ends.
    @param fontHeight  12 or 13 px: lines are 17 or 19 px apart
*/
[[nodiscard]] juce::TextLayout
layOutText (const std::vector<ColouredText>& runs, float width, float fontHeight = 13.0f);

[[nodiscard]] inline juce::TextLayout
layOutText (const juce::String& text, juce::Colour colour, float width, float fontHeight = 13.0f)
{
    return layOutText ({ { text, colour } }, width, fontHeight);
}

} // namespace tessivar
