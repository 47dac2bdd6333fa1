#include "ui/dialogs/KeySheetDialog.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <algorithm>
#include <limits>

namespace tessivar
{

namespace
{
constexpr int lineHeight = 22, leastLineHeight = 17, captionHeight = 24, gap = 14, columnGap = 28,
              topInset = 8;

juce::String keysOf (const KeySheetLine& line)
{
    return line.keys.joinIntoString (line.keys.size() > 2 ? " " : ", ");
}
} // namespace

KeySheetDialog::KeySheetDialog (std::vector<KeySheetSection> sectionsToShow)
    : DialogContent (
        "Keys", { { .text = "Close", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true } }),
      sections (std::move (sectionsToShow))
{
}

juce::String KeySheetDialog::getMessage() const
{
    juce::String text;

    for (const auto& section : sections)
    {
        text << section.title << ". ";

        for (const auto& line : section.lines)
            text << line.text << ": " << keysOf (line) << ". ";
    }

    return text.trimEnd();
}

KeySheetDialog::Columns KeySheetDialog::columns() const
{
    // All ways to cut the row of sections in two places; the lowest sheet wins.
    Columns best{ { 0, 0, 0, sections.size() } };
    auto least = std::numeric_limits<int>::max();

    for (std::size_t first = 0; first <= sections.size(); ++first)
        for (auto second = first; second <= sections.size(); ++second)
        {
            const Columns tried{ { 0, first, second, sections.size() } };

            if (const auto height = heightOf (tried, lineHeight); height < least)
            {
                least = height;
                best = tried;
            }
        }

    return best;
}

int KeySheetDialog::heightOf (const Columns& cut, int heightOfLine) const
{
    auto highest = 0;

    for (std::size_t column = 0; column < numColumns; ++column)
    {
        auto height = -gap;

        for (auto i = cut[column]; i < cut[column + 1]; ++i)
            height += captionHeight + heightOfLine * static_cast<int> (sections[i].lines.size()) + gap;

        highest = std::max (highest, height);
    }

    return highest;
}

int KeySheetDialog::bodyHeight (int) const
{
    return topInset + heightOf (columns(), lineHeight);
}

void KeySheetDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    const auto starts = columns();
    auto body = bodyArea().withTrimmedTop (topInset);
    // In a low window the lines move together.
    auto height = lineHeight;
    while (height > leastLineHeight && heightOf (starts, height) > body.getHeight())
        --height;
    const auto width =
        (body.getWidth() - columnGap * static_cast<int> (numColumns - 1)) / static_cast<int> (numColumns);

    for (std::size_t column = 0; column < numColumns; ++column)
    {
        auto area = body.removeFromLeft (width);
        body.removeFromLeft (columnGap);

        for (auto i = starts[column]; i < starts[column + 1]; ++i)
        {
            g.setColour (palette::textLow);
            g.setFont (fonts::caption());
            g.drawText (sections[i].title.toUpperCase(),
                        area.removeFromTop (captionHeight),
                        juce::Justification::topLeft);
            g.setFont (fonts::inter (13.0f));

            for (const auto& line : sections[i].lines)
            {
                const auto row = area.removeFromTop (height);
                g.setColour (palette::textHigh);
                g.drawText (line.text, row, juce::Justification::centredLeft, true);
                g.setColour (palette::textMid);
                g.drawText (keysOf (line), row, juce::Justification::centredRight, true);
            }

            area.removeFromTop (gap);
        }
    }
}

} // namespace tessivar
