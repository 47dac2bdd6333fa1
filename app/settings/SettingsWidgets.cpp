#include "app/settings/SettingsWidgets.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr float hintSize = 12.0f, valueSize = 13.0f;
constexpr float hintLineSpacing = 2.5f; // lines of 17 px

struct NoteLook
{
    Icon icon;
    juce::Colour colour;
};

NoteLook lookOf (NoteKind kind)
{
    switch (kind)
    {
        case NoteKind::good:
            return { Icon::tick, palette::green };
        case NoteKind::warning:
            return { Icon::warning, palette::amber };
        case NoteKind::failure:
            return { Icon::cross, palette::red };
        case NoteKind::plain:
            break;
    }

    return { Icon::ring, palette::textLow };
}

juce::TextLayout layOut (const juce::String& text, const juce::Font& font, juce::Colour colour, float width)
{
    juce::AttributedString attributed;
    attributed.append (text, font, colour);
    attributed.setLineSpacing (hintLineSpacing);
    juce::TextLayout layout;
    layout.createLayout (attributed, width);
    return layout;
}

std::unique_ptr<juce::AccessibilityHandler> staticText (juce::Component& component, const juce::String& text)
{
    component.setTitle (text);
    return std::make_unique<juce::AccessibilityHandler> (component, juce::AccessibilityRole::staticText);
}
} // namespace

TextBlock::TextBlock (Kind kindToUse, const juce::String& words) : kind (kindToUse), text (words)
{
    setInterceptsMouseClicks (false, false);
    setTitle (words);
}

void TextBlock::setText (const juce::String& words)
{
    if (words == text)
        return;

    text = words;
    setTitle (words);
    repaint();
}

void TextBlock::setWarning (bool shouldWarn)
{
    if (std::exchange (warns, shouldWarn) != shouldWarn)
        repaint();
}

juce::Colour TextBlock::ink() const
{
    if (warns)
        return palette::amber;

    return kind == Kind::value   ? palette::textHigh
           : kind == Kind::label ? palette::textMid
                                 : palette::textLow;
}

juce::Font TextBlock::font() const
{
    if (kind == Kind::value)
        return fonts::inter (valueSize);

    return fonts::inter (hintSize, kind == Kind::label ? fonts::Weight::medium : fonts::Weight::regular);
}

int TextBlock::idealWidth() const
{
    return juce::roundToInt (std::ceil (font().getStringWidthFloat (text))) + 1;
}

void TextBlock::paint (juce::Graphics& g)
{
    if (kind == Kind::hint)
    {
        layOut (text, font(), ink(), static_cast<float> (getWidth())).draw (g, getLocalBounds().toFloat());
        return;
    }

    g.setColour (ink());
    g.setFont (font());
    g.drawText (text, getLocalBounds(), juce::Justification::centredLeft, true);
}

std::unique_ptr<juce::AccessibilityHandler> TextBlock::createAccessibilityHandler()
{
    return staticText (*this, text);
}

void NoteBox::show (NoteKind newKind, const juce::String& words)
{
    kind = newKind;
    text = words;
    setTitle (words);
    repaint();
}

void NoteBox::paint (juce::Graphics& g)
{
    const auto look = lookOf (kind);
    auto area = getLocalBounds().toFloat();
    g.setColour (look.colour.withAlpha (0.1f));
    g.fillRoundedRectangle (area, 8.0f);
    drawIcon (g, look.icon, area.removeFromLeft (40.0f).withSizeKeepingCentre (16.0f, 16.0f), look.colour);

    // Two lines at most: the reason why a device can't be opened may be a long one.
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (valueSize));
    g.drawFittedText (
        text, area.withTrimmedRight (10.0f).toNearestInt(), juce::Justification::centredLeft, 2, 1.0f);
}

std::unique_ptr<juce::AccessibilityHandler> NoteBox::createAccessibilityHandler()
{
    return staticText (*this, text);
}

SettingsCombo::SettingsCombo (const juce::String& title)
{
    setTitle (title);
    setWantsKeyboardFocus (true);
    setHasFocusOutline (true);
    setTextWhenNoChoicesAvailable ("(no choices)");
}

void SettingsCombo::setChoices (const juce::StringArray& choices, int selectedIndex)
{
    clear (juce::dontSendNotification);
    addItemList (choices, 1);
    setSelectedItemIndex (selectedIndex, juce::dontSendNotification);
}

PathField::PathField (const juce::String& title, const juce::String& whenEmpty)
{
    setTitle (title);
    setReadOnly (true);
    setCaretVisible (false);
    setEscapeAndReturnKeysConsumed (false);
    setHasFocusOutline (true);
    setTextToShowWhenEmpty (whenEmpty, palette::textMid);
    prepareTextField (*this);
}

void drawCard (juce::Graphics& g, juce::Rectangle<int> area)
{
    const auto card = area.toFloat();
    g.setColour (palette::well);
    g.fillRoundedRectangle (card, 8.0f);
    g.setColour (palette::line);
    g.drawRoundedRectangle (card.reduced (0.5f), 8.0f, 1.0f);
}

void drawDivider (juce::Graphics& g, juce::Rectangle<int> area, int y)
{
    g.setColour (palette::line);
    g.fillRect (area.getX(), y, area.getWidth(), 1);
}

} // namespace tessivar
