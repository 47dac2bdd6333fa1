#pragma once

#include "ui/ResourceImages.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>
#include <vector>

namespace tessivar::test
{

/** One picture of the gallery: a component that owns all it shows. */
struct GalleryPage
{
    juce::String name;
    std::function<std::unique_ptr<juce::Component> (const ResourceImages&)> make;
};

std::vector<GalleryPage> galleryPages();

/** Writes wave-*.png: header and viewer of a track in their states. */
void writeWavePictures (const ResourceImages& images, const juce::File& folder);

std::unique_ptr<juce::Component> dialogsPage (const ResourceImages& images);
std::unique_ptr<juce::Component> menusPage (const ResourceImages& images);

/** A component that owns its children and fills its ground. */
class GallerySheet : public juce::Component
{
public:
    GallerySheet (int width, int height, juce::Colour colour) : ground (colour) { setSize (width, height); }

    template <typename ComponentType>
    ComponentType& add (std::unique_ptr<ComponentType> child)
    {
        auto& added = *child;
        addAndMakeVisible (added);
        children.push_back (std::move (child));
        return added;
    }

    void paint (juce::Graphics& g) override { g.fillAll (ground); }

    /** Paints over the children: the rings and frames that a parent draws. */
    std::function<void (juce::Graphics&)> over;
    void paintOverChildren (juce::Graphics& g) override
    {
        if (over != nullptr)
            over (g);
    }

private:
    juce::Colour ground;
    std::vector<std::unique_ptr<juce::Component>> children;
};

} // namespace tessivar::test
