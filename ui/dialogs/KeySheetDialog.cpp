#include "ui/dialogs/KeySheetDialog.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr int lineHeight = 22, captionHeight = 24, gap = 14, columnGap = 28;

int heightOf (const KeySheetSection& section)
{
    return captionHeight + lineHeight * static_cast<int> (section.lines.size()) + gap;
}

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

std::array<std::size_t, KeySheetDialog::numColumns + 1> KeySheetDialog::columnStarts() const
{
    auto total = 0;

    for (const auto& section : sections)
        total += heightOf (section);

    std::array<std::size_t, numColumns + 1> starts{};
    starts.fill (sections.size());
    starts[0] = 0;
    auto filled = 0;
    std::size_t column = 0;

    // A section goes where its middle falls when all of them stand below each other and are cut into equal
    // columns.
    for (std::size_t i = 0; i < sections.size(); ++i)
    {
        const auto middle = filled + heightOf (sections[i]) / 2;

        while (column + 1 < numColumns
               && middle * static_cast<int> (numColumns) > total * static_cast<int> (column + 1))
            starts[++column] = i;

        filled += heightOf (sections[i]);
    }

    return starts;
}

int KeySheetDialog::bodyHeight (int) const
{
    const auto starts = columnStarts();
    auto highest = 0;

    for (std::size_t column = 0; column < numColumns; ++column)
    {
        auto height = -gap;

        for (auto i = starts[column]; i < starts[column + 1]; ++i)
            height += heightOf (sections[i]);

        highest = std::max (highest, height);
    }

    return highest + 8;
}

void KeySheetDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    const auto starts = columnStarts();
    auto body = bodyArea().withTrimmedTop (8);
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
                const auto row = area.removeFromTop (lineHeight);
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
