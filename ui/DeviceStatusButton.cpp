#include "ui/DeviceStatusButton.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

constexpr int dotColumn = 14;
constexpr int inset = 12;

juce::Font statusFont()
{
    return fonts::inter (12.0f);
}

} // namespace

DeviceStatusButton::DeviceStatusButton() : Button ("Audio device")
{
    setTooltip ("Audio settings");
    setMouseClickGrabsKeyboardFocus (false);
    setHasFocusOutline (true);
}

void DeviceStatusButton::setStatus (const juce::String& words, bool warns)
{
    warning = warns;
    setButtonText (words);
    setTitle ("Audio device, " + words);
    repaint();
}

int DeviceStatusButton::idealWidth() const
{
    return juce::roundToInt (std::ceil (fonts::tabularWidth (statusFont(), getButtonText()))) + dotColumn
           + 2 * inset;
}

void DeviceStatusButton::paintButton (juce::Graphics& g, bool over, bool)
{
    auto area = getLocalBounds().reduced (inset, 0).toFloat();
    g.setColour (warning ? palette::amber : palette::green);
    g.fillEllipse (area.removeFromLeft (6.0f).withSizeKeepingCentre (6.0f, 6.0f));
    area.removeFromLeft (static_cast<float> (dotColumn - 6));
    g.setColour (warning ? palette::amber : (over ? palette::textHigh : palette::textLow));
    fonts::drawTabular (g, statusFont(), getButtonText(), area, juce::Justification::centredLeft);
}

} // namespace tessivar
