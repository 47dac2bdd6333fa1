#include "ui/Buttons.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

// The menus and the tooltip: everything of the look that floats over the window.

namespace tessivar
{
namespace
{

constexpr int itemHeight = 30;
constexpr int separatorHeight = 11;
constexpr float iconColumn = 44.0f; // of menus, from the edge to the words

constexpr int tipHeight = 32;
constexpr float tipInset = 10.0f;

juce::Font tipFont()
{
    return fonts::inter (12.0f);
}

/** "Ctrl+Shift+S" for the toolkit's "ctrl + shift + S", "Delete" for "delete". */
juce::String keyName (const juce::String& description)
{
    // Split only at plus signs between spaces: the key itself may be a plus sign.
    juce::StringArray parts;
    for (auto rest = description; rest.isNotEmpty();)
    {
        const auto part = rest.upToFirstOccurrenceOf (" + ", false, false);
        parts.add (part.substring (0, 1).toUpperCase() + part.substring (1));
        rest = rest.substring (part.length() + 3);
    }
    return parts.joinIntoString ("+");
}

} // namespace

void TessivarLookAndFeel::drawPopupMenuBackground (juce::Graphics& g, int width, int height)
{
    // The window is opaque, and without a compositor its corners can't be cut out: they take its colour.
    g.setColour (palette::window);
    g.fillRect (0, 0, width, height);
    drawFrame (g, juce::Rectangle<int> (width, height).toFloat(), palette::popup, palette::dialogEdge, 8.0f);
}

void TessivarLookAndFeel::drawPopupMenuItem (juce::Graphics& g,
                                             const juce::Rectangle<int>& area,
                                             bool isSeparator,
                                             bool isActive,
                                             bool isHighlighted,
                                             bool isTicked,
                                             bool hasSubMenu,
                                             const juce::String& text,
                                             const juce::String& shortcutKeyText,
                                             const juce::Drawable* icon,
                                             const juce::Colour* textColour)
{
    auto row = area.toFloat();
    if (isSeparator)
    {
        g.setColour (palette::line.brighter (0.06f));
        g.fillRect (row.reduced (12.0f, 0.0f).withSizeKeepingCentre (row.getWidth() - 24.0f, 1.0f));
        return;
    }
    if (isHighlighted && isActive)
    {
        g.setColour (palette::highlight);
        g.fillRoundedRectangle (row.reduced (6.0f, 0.0f), 6.0f);
    }
    const auto ink =
        ! isActive ? palette::textDisabled : (textColour != nullptr ? *textColour : palette::textHigh);
    const auto mark =
        row.removeFromLeft (iconColumn).withSizeKeepingCentre (16.0f, 16.0f).translated (3.0f, 0.0f);
    if (isTicked)
        drawIcon (g, Icon::tick, mark.reduced (1.0f), ink);
    else if (icon != nullptr)
        icon->drawWithin (g, mark, juce::RectanglePlacement::centred, isActive ? 1.0f : 0.4f);

    row.removeFromRight (16.0f);
    g.setColour (ink);
    g.setFont (getPopupMenuFont());
    g.drawText (text, row, juce::Justification::centredLeft, true);

    if (hasSubMenu)
    {
        drawIcon (g, Icon::chevronRight, row.removeFromRight (10.0f), palette::textLow);
    }
    else if (shortcutKeyText.isNotEmpty())
    {
        g.setColour (isActive ? palette::textLow : palette::textDisabled);
        g.setFont (fonts::inter (12.0f));
        g.drawText (keyName (shortcutKeyText), row, juce::Justification::centredRight, false);
    }
}

void TessivarLookAndFeel::getIdealPopupMenuItemSize (
    const juce::String& text, bool isSeparator, int, int& idealWidth, int& idealHeight)
{
    idealHeight = isSeparator ? separatorHeight : itemHeight;
    // The toolkit passes words and key as one text, so the key needs only a gap.
    idealWidth =
        isSeparator
            ? 50
            : juce::roundToInt (iconColumn + getPopupMenuFont().getStringWidthFloat (text) + 16.0f + 24.0f);
}

void TessivarLookAndFeel::drawMenuBarBackground (
    juce::Graphics& g, int width, int height, bool, juce::MenuBarComponent&)
{
    g.setColour (palette::window);
    g.fillRect (0, 0, width, height);
    g.setColour (palette::seam);
    g.fillRect (0, height - 1, width, 1);
}

void TessivarLookAndFeel::drawMenuBarItem (juce::Graphics& g,
                                           int width,
                                           int height,
                                           int index,
                                           const juce::String& text,
                                           bool isOverItem,
                                           bool isOpen,
                                           bool,
                                           juce::MenuBarComponent& bar)
{
    const auto area = juce::Rectangle<int> (width, height);
    if (isOpen || isOverItem)
    {
        g.setColour (isOpen ? palette::selected : palette::hover);
        g.fillRoundedRectangle (area.toFloat().reduced (2.0f, 3.0f), 4.0f);
    }
    g.setColour (bar.isEnabled() ? palette::textMid.interpolatedWith (palette::textHigh,
                                                                      isOverItem || isOpen ? 1.0f : 0.4f)
                                 : palette::textDisabled);
    g.setFont (getMenuBarFont (bar, index, text));
    g.drawText (text, area, juce::Justification::centred, false);
}

int TessivarLookAndFeel::getMenuBarItemWidth (juce::MenuBarComponent& bar,
                                              int index,
                                              const juce::String& text)
{
    return juce::roundToInt (getMenuBarFont (bar, index, text).getStringWidthFloat (text)) + 20;
}

TooltipParts splitTooltip (const juce::String& tip)
{
    const auto open = tip.lastIndexOf (" [");
    if (open < 0 || ! tip.endsWithChar (']'))
        return { tip, {} };
    return { tip.substring (0, open), tip.substring (open + 2).dropLastCharacters (1) };
}

void TessivarLookAndFeel::drawTooltip (juce::Graphics& g, const juce::String& text, int width, int height)
{
    g.setColour (palette::window);
    g.fillRect (0, 0, width, height);
    const auto frame = juce::Rectangle<int> (width, height).toFloat();
    drawFrame (g, frame, juce::Colour (0xff2a333b), palette::dialogEdge.brighter (0.15f), 5.0f);

    const auto parts = splitTooltip (text);
    auto row = frame.reduced (tipInset + 0.5f, 0.5f);
    if (parts.key.isNotEmpty())
        drawKeyCap (g, row.removeFromRight (keyCapWidth (parts.key)), parts.key, palette::textMid);
    g.setColour (palette::textHigh);
    g.setFont (tipFont());
    g.drawFittedText (parts.text, row.toNearestInt(), juce::Justification::centredLeft, 8, 1.0f);
}

juce::Rectangle<int> TessivarLookAndFeel::getTooltipBounds (const juce::String& text,
                                                            juce::Point<int> screenPosition,
                                                            juce::Rectangle<int> parentArea)
{
    const auto parts = splitTooltip (text);
    const auto words = tipFont().getStringWidthFloat (parts.text);
    const auto widest = 360.0f;
    auto width = std::min (words, widest) + 2.0f * tipInset + 3.0f;
    if (parts.key.isNotEmpty())
        width += keyCapWidth (parts.key) + 10.0f;
    const auto lines = static_cast<int> (std::ceil (words / widest));
    const juce::Rectangle<int> size (juce::roundToInt (std::ceil (width)),
                                     tipHeight + 16 * (std::max (1, lines) - 1));
    // Below and right of the pointer, or on its other side near the screen's end.
    const auto x = screenPosition.x > parentArea.getCentreX() ? screenPosition.x - size.getWidth() - 12
                                                              : screenPosition.x + 16;
    const auto y = screenPosition.y > parentArea.getCentreY() ? screenPosition.y - size.getHeight() - 6
                                                              : screenPosition.y + 12;
    return size.withPosition (x, y).constrainedWithin (parentArea);
}

} // namespace tessivar
