#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** A panel that shows one image, stretched to its size. An empty image shows nothing. */
class TessivarComponent : public juce::Component
{
public:
    explicit TessivarComponent (const juce::Image& imageToShow) : image (imageToShow) {}

    void paint (juce::Graphics& g) override
    {
        if (image.isValid())
            g.drawImage (image, getLocalBounds().toFloat());
    }

private:
    juce::Image image;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarComponent)
};

} // namespace tessivar
