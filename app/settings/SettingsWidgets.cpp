#include "app/settings/SettingsWidgets.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

#include <array>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr float hintLineSpacing = 2.5f; // lines of 17 px

struct NoteLook
{
    Icon icon;
    juce::Colour colour;
};

// In the order of NoteKind.
const std::array<NoteLook, 4> noteLooks{ { { Icon::ring, palette::textLow },
                                           { Icon::tick, palette::green },
                                           { Icon::warning, palette::amber },
                                           { Icon::cross, palette::red } } };

juce::Font fontOf (TextBlock::Kind kind)
{
    return fonts::inter (kind == TextBlock::Kind::value ? 13.0f : 12.0f,
                         kind == TextBlock::Kind::label ? fonts::Weight::medium : fonts::Weight::regular);
}
} // namespace

std::unique_ptr<juce::AccessibilityHandler> StaticText::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::staticText);
}

TextBlock::TextBlock (Kind kind, const juce::String& words)
    : font (fontOf (kind)), usualInk (kind == Kind::value   ? palette::textHigh
                                      : kind == Kind::label ? palette::textMid
                                                            : palette::textLow),
      wraps (kind == Kind::hint)
{
    setInterceptsMouseClicks (false, false);
    setTitle (words);
}

void TextBlock::setText (const juce::String& words)
{
    if (words == getTitle())
        return;

    setTitle (words);
    repaint();
}

void TextBlock::setWarning (bool shouldWarn)
{
    if (std::exchange (warns, shouldWarn) != shouldWarn)
        repaint();
}

int TextBlock::idealWidth() const
{
    return juce::roundToInt (std::ceil (font.getStringWidthFloat (getTitle()))) + 1;
}

void TextBlock::paint (juce::Graphics& g)
{
    const auto ink = warns ? palette::amber : usualInk;

    if (wraps)
    {
        juce::AttributedString words;
        words.append (getTitle(), font, ink);
        words.setLineSpacing (hintLineSpacing);
        juce::TextLayout layout;
        layout.createLayout (words, static_cast<float> (getWidth()));
        layout.draw (g, getLocalBounds().toFloat());
        return;
    }

    g.setColour (ink);
    g.setFont (font);
    g.drawText (getTitle(), getLocalBounds(), juce::Justification::centredLeft, true);
}

void NoteBox::show (const Note& note)
{
    kind = note.kind;
    setTitle (note.text);
    repaint();
}

void NoteBox::paint (juce::Graphics& g)
{
    const auto look = noteLooks[static_cast<std::size_t> (kind)];
    auto area = getLocalBounds().toFloat();
    g.setColour (look.colour.withAlpha (0.1f));
    g.fillRoundedRectangle (area, 8.0f);
    drawIcon (g, look.icon, area.removeFromLeft (40.0f).withSizeKeepingCentre (16.0f, 16.0f), look.colour);

    // Two lines at most: the reason why a device can't be opened may be a long one.
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (13.0f));
    g.drawFittedText (
        getTitle(), area.withTrimmedRight (10.0f).toNearestInt(), juce::Justification::centredLeft, 2, 1.0f);
}

SettingsCombo::SettingsCombo (const juce::String& title) : label (TextBlock::Kind::label, title)
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
    : label (TextBlock::Kind::label, title)
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

} // namespace tessivar
