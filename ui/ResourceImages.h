#pragma once

#include <juce_graphics/juce_graphics.h>
#include <juce_gui_basics/juce_gui_basics.h>

#include <map>

namespace tessivar
{

/** The images shipped with the program, read from its Resources folder by relative path.

    The folder is absolute: a file chooser may change the process's working directory, and an image at a
    relative path would then silently come out empty. A missing or unreadable file gives an empty image, which
    draws nothing and has no size. Each file is decoded once; copies share their pixels. Message thread only.
*/
class ResourceImages
{
public:
    explicit ResourceImages (const juce::File& resourcesFolder) : folder (resourcesFolder) {}

    /** @param path  below the folder, with "/" between its parts: "slider/slider knob.png" */
    juce::Image get (const juce::String& path) const;

private:
    juce::File folder;
    mutable std::map<juce::String, juce::Image> decoded;
};

/** The four images of a straight slider, and how to draw one with them. */
struct SliderArt
{
    explicit SliderArt (const ResourceImages& images);

    /** Draws a horizontal or vertical slider over its whole bounds: groove, fill up to the value, knob. */
    void paint (juce::Graphics& g, juce::Slider& slider) const;

    juce::Image path, pathVertical, pathFill, knob;
};

} // namespace tessivar
