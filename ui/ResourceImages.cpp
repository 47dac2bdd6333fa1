#include "ui/ResourceImages.h"

namespace tessivar
{

juce::Image ResourceImages::get (const juce::String& path) const
{
    if (const auto found = decoded.find (path); found != decoded.end())
        return found->second;

    juce::Image image;
    if (const auto file = folder.getChildFile (path); file.existsAsFile())
        image = juce::ImageFileFormat::loadFrom (file);

    decoded[path] = image;
    return image;
}

} // namespace tessivar
