#pragma once

#include "ui/ResourceImages.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The four images of a straight slider, and how they make one. */
struct SliderArt
{
    explicit SliderArt (const ResourceImages& images);

    /** Draws a horizontal or vertical slider over its whole bounds: the groove, the fill up to the value, the knob. */
    void paint (juce::Graphics& g, juce::Slider& slider) const;

    juce::Image path, pathVertical, pathFill, knob;
};

} // namespace tessivar
