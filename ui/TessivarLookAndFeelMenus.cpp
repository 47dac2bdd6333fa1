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

constexpr int tipHeight = 32, tipLineHeight = 15; // of a tooltip with one line, and that line's
constexpr int tipGap = 6, largestAbout = 80;
constexpr float tipInset = 10.0f, widestTip = 360.0f;

/** A tooltip's words, wrapped. */
juce::TextLayout tipLayout (const juce::String& text)
{
    juce::AttributedString words;
    words.append (text, fonts::inter (12.0f), palette::textHigh);
    juce::TextLayout layout;
    layout.createLayoutWithBalancedLineLengths (words, widestTip);
    return layout;
}

/** The place on the screen of what is under the mouse and has this tooltip; empty when nothing has. */
juce::Rectangle<int> controlUnderMouse (const juce::String& tip)
{
    for (auto* each = juce::Desktop::getInstance().getMainMouseSource().getComponentUnderMouse();
         each != nullptr;
         each = each->getParentComponent())
        if (auto* client = dynamic_cast<juce::TooltipClient*> (each);
            client != nullptr && client->getTooltip() == tip)
            return each->getScreenBounds();
    return {};
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
    const auto stands = isHighlighted && isActive;
    if (stands)
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
        drawIcon (
            g, Icon::chevronRight, row.removeFromRight (10.0f), stands ? palette::textMid : palette::textLow);
    }
    else if (shortcutKeyText.isNotEmpty())
    {
        g.setColour (! isActive ? palette::textDisabled : stands ? palette::textMid : palette::textLow);
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
    const auto font = getMenuBarFont (bar, index, text);
    g.setFont (font);
    g.drawText (text, area, juce::Justification::centred, false);

    // The letter that opens it together with Alt, while that is held.
    if (bar.isEnabled() && juce::ModifierKeys::currentModifiers.isAltDown())
    {
        const auto left = 0.5f * (static_cast<float> (width) - font.getStringWidthFloat (text));
        g.fillRect (left,
                    0.5f * (static_cast<float> (height) + font.getHeight()),
                    font.getStringWidthFloat (text.substring (0, 1)),
                    1.0f);
    }
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
    auto area = frame.reduced (tipInset, 0.0f);
    if (parts.key.isNotEmpty())
        drawKeyCap (g, area.removeFromRight (keyCapWidth (parts.key)), parts.key, palette::textMid);
    const auto words = tipLayout (parts.text);
    words.draw (g, area.withSizeKeepingCentre (area.getWidth(), words.getHeight()));
}

juce::Rectangle<int> TessivarLookAndFeel::getTooltipBounds (const juce::String& text,
                                                            juce::Point<int> position,
                                                            juce::Rectangle<int> parentArea)
{
    const auto parts = splitTooltip (text);
    const auto words = tipLayout (parts.text);
    auto width = words.getWidth() + 2.0f * tipInset + 1.0f;
    if (parts.key.isNotEmpty())
        width += keyCapWidth (parts.key) + 10.0f;
    const juce::Rectangle<int> size (juce::roundToInt (std::ceil (width)),
                                     juce::roundToInt (std::ceil (words.getHeight())) + tipHeight
                                         - tipLineHeight);

    // Below what it is about, or above it near the lower end; beside the pointer where that is large.
    auto about = juce::Rectangle<int> (position, position).expanded (16, 12);
    if (const auto control = controlUnderMouse (text); control.getHeight() <= largestAbout)
        about = control + (position - juce::Desktop::getMousePosition());
    const auto below = about.getBottom() + tipGap, above = about.getY() - tipGap - size.getHeight();
    const auto x = position.x > parentArea.getCentreX() ? position.x - size.getWidth() + 12 : position.x - 12;
    return size.withPosition (x, below + size.getHeight() <= parentArea.getBottom() ? below : above)
        .constrainedWithin (parentArea);
}

} // namespace tessivar
