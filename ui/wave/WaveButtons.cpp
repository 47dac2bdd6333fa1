#include "ui/wave/WaveButtons.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

constexpr float legendSquare = 11.0f;
constexpr float legendGap = 7.0f;

} // namespace

WaveIconButton::WaveIconButton (const juce::String& name,
                                Icon glyph,
                                float glyphSize,
                                juce::Colour restColour)
    : Button (name), icon (glyph), size (glyphSize), rest (restColour)
{
    setTitle (name);
    setTooltip (name);
    setWantsKeyboardFocus (false);
}

void WaveIconButton::paintButton (juce::Graphics& g, bool isOver, bool isDown)
{
    if (isOver || isDown || getToggleState())
    {
        g.setColour (isDown || getToggleState() ? palette::selected : palette::hover);
        g.fillRoundedRectangle (getLocalBounds().toFloat().reduced (1.0f), 6.0f);
    }
    const auto colour = ! isEnabled()      ? palette::textDisabled
                        : getToggleState() ? palette::ice
                        : isOver           ? palette::textHigh
                                           : rest;
    drawIcon (g, icon, getLocalBounds().toFloat().withSizeKeepingCentre (size, size), colour);
}

WaveLegendButton::WaveLegendButton (const juce::String& name) : Button (name)
{
    setTitle (name);
    setTooltip ("Show or hide this layer");
    setClickingTogglesState (true);
    setToggleState (true, juce::dontSendNotification);
    setWantsKeyboardFocus (false);
}

void WaveLegendButton::setColours (juce::Colour squareFill, juce::Colour squareEdge)
{
    if (fill == squareFill && edge == squareEdge)
        return;
    fill = squareFill;
    edge = squareEdge;
    repaint();
}

int WaveLegendButton::idealWidth() const
{
    return juce::roundToInt (legendSquare + legendGap
                             + fonts::inter (12.0f).getStringWidthFloat (getButtonText()) + 1.0f);
}

void WaveLegendButton::paintButton (juce::Graphics& g, bool isOver, bool)
{
    const auto isShown = getToggleState();
    auto area = getLocalBounds().toFloat();
    const auto square = area.removeFromLeft (legendSquare).withSizeKeepingCentre (legendSquare, legendSquare);

    // A hidden layer keeps its outline, so that the place to click stays visible.
    if (isShown)
    {
        g.setColour (fill);
        g.fillRoundedRectangle (square, 3.0f);
    }
    if (! isShown || ! edge.isTransparent())
    {
        g.setColour (isShown ? edge : palette::outline);
        g.drawRoundedRectangle (square.reduced (0.75f), 2.5f, 1.5f);
    }
    area.removeFromLeft (legendGap);
    g.setColour (isOver ? palette::textHigh : isShown ? palette::textMid : palette::textLow);
    g.setFont (fonts::inter (12.0f));
    g.drawText (getButtonText(), area, juce::Justification::centredLeft, false);
}

void replaceSlider (juce::Component& parent,
                    juce::Component::SafePointer<juce::Slider>& held,
                    juce::Slider* newSlider)
{
    if (held != nullptr)
        parent.removeChildComponent (held);
    held = newSlider;
    if (held != nullptr)
        parent.addAndMakeVisible (held);
    parent.resized();
}

WaveZoomColumn::WaveZoomColumn()
{
    setOpaque (true);
    addAndMakeVisible (larger);
    addAndMakeVisible (smaller);
    larger.onClick = [this] { onZoomSteps (1); };
    smaller.onClick = [this] { onZoomSteps (-1); };
}

void WaveZoomColumn::setSlider (juce::Slider* newSlider)
{
    replaceSlider (*this, slider, newSlider);
}

void WaveZoomColumn::resized()
{
    auto area = getLocalBounds();
    larger.setBounds (area.removeFromTop (28));
    smaller.setBounds (area.removeFromBottom (30));
    if (slider != nullptr)
        slider->setBounds (area.withTrimmedTop (-2).withTrimmedBottom (-7));
}

} // namespace tessivar
