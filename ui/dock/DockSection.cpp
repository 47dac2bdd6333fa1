#include "ui/dock/DockSection.h"

#include "ui/Buttons.h"
#include "ui/FocusRings.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"

#include <utility>

namespace tessivar
{

DockSection::DockSection (const juce::String& captionText, bool takesKeyboard, bool hasLineAtLeft)
    : caption (captionText), lineAtLeft (hasLineAtLeft)
{
    setTitle (captionText);
    setWantsKeyboardFocus (takesKeyboard);
    setMouseClickGrabsKeyboardFocus (false);
}

void DockSection::setCompact (bool shouldBeCompact)
{
    compact = shouldBeCompact;
    resized();
    repaint();
}

void DockSection::paint (juce::Graphics& g)
{
    if (lineAtLeft)
    {
        g.setColour (palette::seam.withAlpha (0.45f));
        g.fillRect (0, 0, 1, getHeight());
        g.setColour (palette::line.withAlpha (0.7f));
        g.fillRect (1, 0, 1, getHeight());
    }
    g.setColour (palette::textLow);
    g.setFont (fonts::caption());
    g.drawText (caption.toUpperCase(),
                contentLeft(),
                11,
                getWidth() - contentLeft(),
                16,
                juce::Justification::centredLeft,
                false);
}

void DockSection::paintOverChildren (juce::Graphics& g)
{
    if (areFocusRingsShown() && hasKeyboardFocus (false))
        drawFocusRing (g, getLocalBounds().toFloat().reduced (8.0f));
}

std::unique_ptr<juce::AccessibilityHandler> DockSection::createAccessibilityHandler()
{
    return makeSpokenHandler (*this, juce::AccessibilityRole::group, [this] { return spokenValue(); });
}

void DockSection::tellValue()
{
    auto value = spokenValue();
    if (value == std::exchange (told, value))
        return;
    if (auto* handler = getAccessibilityHandler())
        handler->notifyAccessibilityEvent (juce::AccessibilityEvent::valueChanged);
}

} // namespace tessivar
