#pragma once

#include "ui/Icons.h"
#include "ui/Palette.h"

#include <functional>

namespace tessivar
{

/** A frameless glyph that lights up under the mouse, and in ice while it is switched on: the buttons around
    the waveform. */
class WaveIconButton : public juce::Button
{
public:
    /** `name` is read by assistive technology; `glyphSize` is in logical pixels; `restColour` applies while
        the mouse is elsewhere. */
    WaveIconButton (const juce::String& name, Icon glyph, float glyphSize, juce::Colour restColour);

    void paintButton (juce::Graphics& g, bool isOver, bool isDown) override;

private:
    Icon icon;
    float size;
    juce::Colour rest;
};

/** A coloured square with a layer's name; a click hides or shows the layer. */
class WaveLegendButton : public juce::Button
{
public:
    explicit WaveLegendButton (const juce::String& name);

    /** A transparent edge isn't drawn. */
    void setColours (juce::Colour squareFill, juce::Colour squareEdge);

    /** Width of square and name, in logical pixels. */
    [[nodiscard]] int idealWidth() const;

    void paintButton (juce::Graphics& g, bool isOver, bool isDown) override;

private:
    juce::Colour fill;
    juce::Colour edge;
};

/** Puts another slider, which it doesn't own, into a component; null leaves it without one. */
void replaceSlider (juce::Component& parent,
                    juce::Component::SafePointer<juce::Slider>& held,
                    juce::Slider* newSlider);

/** The column right of the waveform: zoom in, the vertical zoom slider, zoom out. */
class WaveZoomColumn : public juce::Component
{
public:
    WaveZoomColumn();

    std::function<void (int steps)> onZoomSteps;

    /** The slider between the buttons. Not owned; removed by null or by its own end. */
    void setSlider (juce::Slider* newSlider);

    void paint (juce::Graphics& g) override { g.fillAll (palette::panel); }
    void resized() override;

private:
    WaveIconButton larger{ "Zoom in vertically", Icon::plus, 11.0f, palette::outline };
    WaveIconButton smaller{ "Zoom out vertically", Icon::minus, 11.0f, palette::outline };
    juce::Component::SafePointer<juce::Slider> slider;
};

} // namespace tessivar
