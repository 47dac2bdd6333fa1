#include "ui/wave/WaveBanner.h"

#include "ui/Buttons.h"
#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

namespace
{

const juce::Colour removedGround (0xff2b150c);
const juce::Colour removedText (0xffffa87f);
const juce::Colour hintGround (0xff181e25);
constexpr int iconSpace = 22;

juce::Font buttonFont()
{
    return fonts::inter (13.0f, fonts::Weight::semibold);
}

} // namespace

WaveBanner::FilledButton::FilledButton() : Button ({})
{
    setWantsKeyboardFocus (false);
}

void WaveBanner::FilledButton::paintButton (juce::Graphics& g, bool isOver, bool isDown)
{
    const auto area = getLocalBounds().toFloat();
    const auto top = isDown   ? palette::ice.darker (0.1f)
                     : isOver ? palette::iceHover
                              : palette::ice.brighter (0.2f);
    g.setGradientFill (juce::ColourGradient::vertical (top, juce::Colour (0xff9fdaf7), area));
    g.fillRoundedRectangle (area, area.getHeight() / 2.0f);
    g.setColour (palette::textOnFill);
    g.setFont (buttonFont());
    g.drawText (getButtonText(), area, juce::Justification::centred, false);
}

WaveBanner::WaveBanner()
{
    addChildComponent (button);
    button.onClick = [this] { call (onButtonClick); };
    setVisible (false);
}

void WaveBanner::show (Kind newKind,
                       Icon newIcon,
                       const juce::String& newText,
                       const juce::String& buttonText)
{
    kind = newKind;
    icon = newIcon;
    text = newText;
    button.setButtonText (buttonText);
    button.setTitle (buttonText);
    button.setVisible (buttonText.isNotEmpty());
    setInterceptsMouseClicks (false, buttonText.isNotEmpty());
    setTitle (newText);
    setVisible (newText.isNotEmpty());
    repaint();
}

juce::Font WaveBanner::font() const
{
    return fonts::inter (13.0f, kind == Kind::hint ? fonts::Weight::regular : fonts::Weight::semibold);
}

juce::Rectangle<int> WaveBanner::idealSize() const
{
    const auto textWidth = juce::roundToInt (font().getStringWidthFloat (text));
    if (kind == Kind::hint)
        return { 0,
                 0,
                 16 + textWidth + 14
                     + (button.isVisible()
                            ? juce::roundToInt (buttonFont().getStringWidthFloat (button.getButtonText()))
                                  + 26 + 6
                            : 2),
                 38 };
    return { 0, 0, 14 + (icon == Icon::none ? 0 : iconSpace) + textWidth + 14, 26 };
}

void WaveBanner::resized()
{
    const auto width = juce::roundToInt (buttonFont().getStringWidthFloat (button.getButtonText())) + 26;
    button.setBounds (getLocalBounds().reduced (6).removeFromRight (width));
}

void WaveBanner::paint (juce::Graphics& g)
{
    const auto isRemoved = kind == Kind::removed;
    auto area = getLocalBounds().toFloat();
    drawFrame (g,
               area,
               isRemoved ? removedGround : hintGround,
               isRemoved ? palette::emberLine : palette::lineStrong,
               0.5f * (area.getHeight() - 1.0f));
    g.setColour (isRemoved ? removedText : kind == Kind::hint ? palette::textMid : palette::textHigh);
    area.removeFromLeft (kind == Kind::hint ? 16.0f : 14.0f);
    if (icon != Icon::none)
        drawIcon (g,
                  icon,
                  area.removeFromLeft (static_cast<float> (iconSpace)).removeFromLeft (14.0f),
                  isRemoved ? removedText : palette::textHigh);
    g.setFont (font());
    g.drawText (text, area, juce::Justification::centredLeft, false);
}

} // namespace tessivar
