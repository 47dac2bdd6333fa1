#pragma once

#include "ui/ResourceImages.h"
#include "ui/TessivarLookAndFeel.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar::test
{

inline juce::File shippedResources()
{
    return juce::File (juce::String (TESSIVAR_SOURCE_DIR) + "/Resources");
}

/** The toolkit with the program's look, for as long as a test paints components. Needs no display. */
struct PaintingFixture
{
    PaintingFixture() { juce::LookAndFeel::setDefaultLookAndFeel (&look); }
    ~PaintingFixture() { juce::LookAndFeel::setDefaultLookAndFeel (nullptr); }

    juce::ScopedJuceInitialiser_GUI toolkit;
    TessivarLookAndFeel look{ shippedResources() };
    ResourceImages images{ shippedResources() };
};

/** What a component shows of itself, on black. */
inline juce::Image snapshot (juce::Component& component, float scale = 1.0f)
{
    const auto bounds = component.getLocalBounds();
    juce::Image image (juce::Image::ARGB,
                       juce::roundToInt (static_cast<float> (bounds.getWidth()) * scale),
                       juce::roundToInt (static_cast<float> (bounds.getHeight()) * scale),
                       true);
    juce::Graphics g (image);
    g.fillAll (juce::Colours::black);
    g.addTransform (juce::AffineTransform::scale (scale));
    component.paintEntireComponent (g, true);
    return image;
}

/** Whether a pixel's red, green and blue are each within a distance of a colour's. */
inline bool isNear (juce::Colour pixel, juce::Colour expected, int distance = 24)
{
    return std::abs (pixel.getRed() - expected.getRed()) <= distance
           && std::abs (pixel.getGreen() - expected.getGreen()) <= distance
           && std::abs (pixel.getBlue() - expected.getBlue()) <= distance;
}

} // namespace tessivar::test
