#include "ui/TessivarControls.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

constexpr int dotEdge = 20; // logical pixels; 40 in the images
constexpr float socketDiameter = 13.0f;

/** Replaces a missing image: lit must never look like unlit. */
void drawPlainDot (juce::Graphics& g, bool isLit, bool isActive, float opacity)
{
    const auto disc = juce::Rectangle<int> (2 * dotEdge, 2 * dotEdge).toFloat();
    const auto unlit = isActive ? palette::textLow : palette::line;
    g.setColour ((isLit ? palette::ice : unlit).withMultipliedAlpha (opacity));
    g.fillEllipse (disc.withSizeKeepingCentre (14.0f, 14.0f));
}

} // namespace

TessivarCheckBox::TessivarCheckBox (const ResourceImages& images, const juce::String& buttonText)
    : ToggleButton (buttonText), off (images.get ("mainKnob/main knob dot off.png")),
      on (images.get ("mainKnob/main knob dot on.png")), offHighlighted (on.createCopy()),
      onHighlighted (on.createCopy())
{
    if (offHighlighted.isValid())
        offHighlighted.multiplyAllAlphas (0.2f);
    setMouseClickGrabsKeyboardFocus (false);
    setHasFocusOutline (true);
}

void TessivarCheckBox::layOut (juce::Rectangle<int> area)
{
    dotArea = area.withWidth (dotEdge).withSizeKeepingCentre (dotEdge, dotEdge);
    setTransform (juce::AffineTransform::scale (0.5f));
    setBounds (dotArea.withWidth (std::max (dotEdge, area.getWidth())) * 2);
}

void TessivarCheckBox::paintButton (juce::Graphics& g, bool highlighted, bool down)
{
    const auto active = highlighted || down;
    const auto& image = getToggleState() ? (active ? onHighlighted : on) : (active ? offHighlighted : off);
    const auto opacity = isEnabled() ? 1.0f : 0.4f;
    g.setOpacity (opacity);
    if (image.isValid())
        g.drawImageAt (image, 0, 0);
    else
        drawPlainDot (g, getToggleState(), active, opacity);

    if (getButtonText().isNotEmpty())
    {
        g.setColour (juce::Colour (0xfff5f5f5).withMultipliedAlpha (opacity));
        g.setFont (fonts::inter (2.0f * 13.0f));
        const auto left =
            on.isValid() || off.isValid() ? std::max (off.getWidth(), on.getWidth()) : 2 * dotEdge;
        g.drawText (
            getButtonText(), left, 2, getWidth(), getHeight(), juce::Justification::centredLeft, false);
    }
}

void drawSocket (juce::Graphics& g, juce::Rectangle<int> dotArea, bool enabled)
{
    g.setColour (palette::outline.withMultipliedAlpha (enabled ? 1.0f : 0.4f));
    g.drawEllipse (dotArea.toFloat().withSizeKeepingCentre (socketDiameter, socketDiameter), 1.0f);
}

TessivarComboBox::TessivarComboBox (const juce::String& name) : ComboBox (name)
{
    setWantsKeyboardFocus (false);
    setMouseClickGrabsKeyboardFocus (false);
    setJustificationType (juce::Justification::centred);
    setEditableText (false);
    setTextWhenNoChoicesAvailable ("(no choices)");
    enabledAtConstruction = isEnabled();
}

void TessivarTooltipWindow::dismiss()
{
    hideTip();
    dismissedAt = juce::Desktop::getInstance().getMainMouseSource().getScreenPosition();
}

juce::String TessivarTooltipWindow::getTipFor (juce::Component& pointedAt)
{
    if (dismissedAt == juce::Desktop::getInstance().getMainMouseSource().getScreenPosition())
        return {};
    dismissedAt.reset();
    return TooltipWindow::getTipFor (pointedAt);
}

} // namespace tessivar
