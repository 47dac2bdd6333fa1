#pragma once

#include "ui/Icons.h"

namespace tessivar
{

/** A glyph without a frame that lights up under the mouse: the zoom buttons around the waveform. */
class WaveIconButton : public juce::Button
{
public:
    /** `name` is what assistive technology reads; `glyphSize` in logical pixels; `restColour` while the mouse
        is elsewhere. */
    WaveIconButton (const juce::String& name, Icon glyph, float glyphSize, juce::Colour restColour);

    void paintButton (juce::Graphics& g, bool isOver, bool isDown) override;

private:
    Icon icon;
    float size;
    juce::Colour rest;
};

/** A coloured square with the name of a layer; a click hides the layer and shows it again. */
class WaveLegendButton : public juce::Button
{
public:
    explicit WaveLegendButton (const juce::String& name);

    /** An edge that is transparent is not drawn. */
    void setColours (juce::Colour squareFill, juce::Colour squareEdge);

    /** Width that square and name take, logical pixels. */
    [[nodiscard]] int idealWidth() const;

    void paintButton (juce::Graphics& g, bool isOver, bool isDown) override;

private:
    juce::Colour fill;
    juce::Colour edge;
};

} // namespace tessivar
