#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/browser/BrowserRows.h"

namespace tessivar
{
namespace
{

struct MarkLook
{
    Icon icon;
    juce::Colour colour;
};

MarkLook lookOf (const GroupRowState& group)
{
    if (group.isReading())
        return { Icon::import, palette::ice };
    switch (group.mark)
    {
        case GroupRowState::Mark::analysed:
            return { Icon::tick, palette::green };
        case GroupRowState::Mark::changed:
            return { Icon::warning, palette::amber };
        case GroupRowState::Mark::notAnalysed:
            break;
    }
    return { Icon::ring, palette::textMid };
}

/** The facts, without the middle ones when space is short: the number of tracks and the length matter most.
*/
juce::String factsWithin (const juce::String& facts, float width)
{
    const auto dot = juce::String::fromUTF8 (" \xc2\xb7 ");
    auto parts = juce::StringArray::fromTokens (facts.replace (dot, "\n"), "\n", {});
    while (parts.size() > 1 && fonts::tabularWidth (fonts::inter (12.0f), parts.joinIntoString (dot)) > width)
        parts.remove (parts.size() > 2 ? 1 : parts.size() - 1);
    return parts.joinIntoString (dot);
}

juce::Font badgeFont()
{
    return fonts::inter (11.0f, fonts::Weight::semibold);
}

constexpr int textLeft = 34, closeRoom = 38, stopRoom = 26; // logical pixels
const juce::Colour trackSeam (0xff0f1316);                  // between rows of one Group

} // namespace

void ListRow::setSelected (bool isSelected, bool isLead)
{
    selected = isSelected;
    lead = isLead;
    repaint();
}

void ListRow::paintGround (juce::Graphics& g, juce::Colour rest) const
{
    g.setColour (selected ? palette::selected : rest.interpolatedWith (palette::hover, hover.amount()));
    g.fillRect (getLocalBounds().withTrimmedBottom (1));
}

void ListRow::paintSelection (juce::Graphics& g) const
{
    if (! selected)
        return;
    g.setColour (palette::ice.withAlpha (lead ? 0.55f : 0.25f));
    g.drawRect (getLocalBounds().withTrimmedBottom (1), 1);
}

void ListRow::mouseDown (const juce::MouseEvent& event)
{
    if (event.mods.isPopupMenu())
        call (callbacks.onMenu, group, track, event.getScreenPosition());
    else
        call (callbacks.onPress, group, track, event);
}

void ListRow::mouseDrag (const juce::MouseEvent& event)
{
    if (event.eventComponent == this && ! event.mods.isPopupMenu())
        call (callbacks.onDrag, group, track, event);
}

void ListRow::mouseUp (const juce::MouseEvent& event)
{
    if (event.eventComponent == this && ! event.mods.isPopupMenu())
        call (callbacks.onRelease, group, track, event);
}

std::unique_ptr<juce::AccessibilityHandler> ListRow::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::listItem);
}

GroupRow::GroupRow (const RowCallbacks& callbacksToUse, RowId groupId)
    : ListRow (callbacksToUse, groupId, 0), fold ("Fold or unfold", Icon::chevronDown),
      close ("Close group", Icon::close), stop ("Stop reading", Icon::stop)
{
    for (auto* button : { &fold, &close, &stop })
    {
        addAndMakeVisible (*button);
        button->addMouseListener (this, false);
        button->setWantsKeyboardFocus (false);
        button->setIconSize (13.0f);
    }
    fold.setInk (palette::textLow);
    close.setInk (palette::textMid);
    fold.onClick = [this] { call (callbacks.onFold, group); };
    close.onClick = [this] { call (callbacks.onClose, group); };
    stop.setInk (palette::textMid);
    stop.setTooltip ("Stop reading, and leave out these files [Escape]");
    stop.onClick = [this] { call (callbacks.onStopReading, group); };
}

void GroupRow::takeFrom (const BrowserState& browser)
{
    if (const auto* found = findGroup (browser, group))
        setState (*found);
}

void GroupRow::setState (const GroupRowState& newState)
{
    state = newState;
    fold.setIcon (state.open ? Icon::chevronDown : Icon::chevronRight);
    fold.setTitle ((state.open ? "Fold " : "Unfold ") + state.name);
    close.setTitle ("Close " + state.name);
    stop.setTitle ("Stop reading into " + state.name);
    stop.setVisible (state.isReading());
    setTitle (accessibleName (state));
    repaint();
}

void GroupRow::setFractions (const std::vector<ReadFraction>& fractions)
{
    const auto before = groupMarkText (state);
    for (auto& file : state.reading)
        for (const auto& each : fractions)
            if (each.id == file.id)
                file.fraction = each.fraction;
    if (groupMarkText (state) == before)
        return;
    setTitle (accessibleName (state));
    repaint();
}

void GroupRow::setPinned (bool shouldBePinned)
{
    if (std::exchange (pinned, shouldBePinned) != shouldBePinned)
        repaint();
}

void GroupRow::resized()
{
    fold.setBounds (6, (getHeight() - 28) / 2, 28, 28);
    close.setBounds (getWidth() - 37, (getHeight() - 28) / 2, 28, 28);
    stop.setBounds (getWidth() - 37 - stopRoom, (getHeight() - 28) / 2, 28, 28);
    if (nameEditor != nullptr)
        nameEditor->setBounds (textLeft - 4, 4, getWidth() - textLeft - 40, 24);
}

int GroupRow::markRoom() const
{
    return closeRoom + (state.isReading() ? stopRoom : 0);
}

float GroupRow::badgeWidth() const
{
    return badgeFont().getStringWidthFloat (groupMarkText (state)) + 31.0f;
}

void GroupRow::paintBadge (juce::Graphics& g) const
{
    const auto right = static_cast<float> (getWidth() - markRoom());
    auto badge = juce::Rectangle<float> (
        right - badgeWidth(), 0.5f * static_cast<float> (getHeight()) - 10.5f, badgeWidth(), 20.0f);
    const auto [mark, colour] = lookOf (state);
    g.setColour (colour.withAlpha (0.12f));
    g.fillRoundedRectangle (badge, 10.0f);
    badge.removeFromLeft (8.0f);
    const auto icon = badge.removeFromLeft (10.0f).withSizeKeepingCentre (10.0f, 10.0f);
    drawIcon (g, mark, mark == Icon::ring ? icon.expanded (2.0f) : icon, colour);
    badge.removeFromLeft (5.0f);
    g.setColour (colour);
    g.setFont (badgeFont());
    g.drawText (groupMarkText (state), badge, juce::Justification::centredLeft, false);
}

void GroupRow::paint (juce::Graphics& g)
{
    g.fillAll (palette::panel);
    paintGround (g, juce::Colour (0xff171c21));
    // Below a folded Group the list draws the seam, if another Group follows.
    if (state.open || pinned)
    {
        g.setColour (pinned ? palette::seam : trackSeam);
        g.fillRect (0, getHeight() - 1, getWidth(), 1);
    }
    paintBadge (g);

    const auto width = getWidth() - markRoom() - juce::roundToInt (badgeWidth()) - textLeft - 6;
    if (nameEditor == nullptr)
    {
        const auto font = fonts::inter (13.0f, fonts::Weight::semibold);
        const auto dotRoom = state.unsaved ? 10 : 0;
        const juce::Rectangle<int> nameArea (textLeft, 5, width - dotRoom, 20);
        g.setColour (palette::textHigh);
        g.setFont (font);
        g.drawText (state.name, nameArea, juce::Justification::centredLeft, true);
        if (state.unsaved)
        {
            const auto drawn = std::min (font.getStringWidth (state.name), nameArea.getWidth());
            g.setColour (palette::amber);
            g.fillEllipse (juce::Rectangle<int> (nameArea.getX() + drawn + 4, nameArea.getCentreY() - 2, 5, 5)
                               .toFloat());
        }
    }
    g.setColour (palette::textLow);
    fonts::drawTabular (g,
                        fonts::inter (12.0f),
                        factsWithin (state.facts, static_cast<float> (width)),
                        juce::Rectangle<int> (textLeft, 23, width, 18).toFloat(),
                        juce::Justification::centredLeft);
    paintSelection (g);
}

void GroupRow::beginRename()
{
    nameEditor = std::make_unique<juce::TextEditor>();
    nameEditor->setFont (fonts::inter (13.0f, fonts::Weight::semibold));
    nameEditor->setText (state.name, false);
    nameEditor->setInputRestrictions (128);
    nameEditor->setTitle ("Name of the group");
    addAndMakeVisible (*nameEditor);
    resized();
    nameEditor->selectAll();
    nameEditor->grabKeyboardFocus();
    nameEditor->addListener (this);
    repaint();
}

void GroupRow::endRename (bool keep)
{
    if (nameEditor == nullptr)
        return;
    const auto name = nameEditor->getText().trim();
    auto leaving = std::move (nameEditor);
    leaving->removeListener (this);
    removeChildComponent (leaving.get());
    destroyLater (std::move (leaving));
    repaint();
    if (keep && name.isNotEmpty() && name != state.name)
        call (callbacks.onRename, group, name);
}

} // namespace tessivar
