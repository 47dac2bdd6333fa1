#pragma once

#include "ui/ResourceImages.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The four images of a straight slider, and how to draw one with them. */
struct SliderArt
{
    explicit SliderArt (const ResourceImages& images);

    /** Draws a horizontal or vertical slider over its whole bounds: groove, fill up to the value, knob. */
    void paint (juce::Graphics& g, juce::Slider& slider) const;

    juce::Image path, pathVertical, pathFill, knob;
};

} // namespace tessivar
