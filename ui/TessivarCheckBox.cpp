#include "ui/TessivarCheckBox.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

constexpr int dotEdge = 20; // logical pixels; 40 in the images
constexpr float socketDiameter = 13.0f;

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
    g.setOpacity (isEnabled() ? 1.0f : 0.4f);
    g.drawImageAt (image, 0, 0);

    if (getButtonText().isNotEmpty())
    {
        g.setColour (juce::Colour (0xfff5f5f5).withMultipliedAlpha (isEnabled() ? 1.0f : 0.4f));
        g.setFont (fonts::inter (2.0f * 13.0f));
        const auto left = std::max (off.getWidth(), on.getWidth());
        g.drawText (
            getButtonText(), left, 2, getWidth(), getHeight(), juce::Justification::centredLeft, false);
    }
}

void drawSocket (juce::Graphics& g, juce::Rectangle<int> dotArea, bool enabled)
{
    g.setColour (palette::outline.withMultipliedAlpha (enabled ? 1.0f : 0.4f));
    g.drawEllipse (dotArea.toFloat().withSizeKeepingCentre (socketDiameter, socketDiameter), 1.0f);
}

} // namespace tessivar
