#include "ui/ResourceImages.h"

namespace tessivar
{
namespace
{

constexpr float thickness = 6.0f; // logical pixels of the groove
constexpr float knobSize = 16.0f;

} // namespace

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

SliderArt::SliderArt (const ResourceImages& images)
    : path (images.get ("slider/slider path.png")),
      pathVertical (images.get ("slider/slider path vertical.png")),
      pathFill (images.get ("slider/slider path fill.png")), knob (images.get ("slider/slider knob.png"))
{
}

void SliderArt::paint (juce::Graphics& g, juce::Slider& slider) const
{
    const auto bounds = slider.getLocalBounds().toFloat();
    const auto position = slider.getPositionOfValue (slider.getValue());
    const auto knobAt = [&] (juce::Point<float> centre)
    { g.drawImage (knob, juce::Rectangle<float> (knobSize, knobSize).withCentre (centre)); };
    g.setOpacity (slider.isEnabled() ? 1.0f : 0.4f);

    if (slider.isHorizontal())
    {
        const auto groove = bounds.withSizeKeepingCentre (bounds.getWidth() - knobSize, thickness);
        g.drawImage (path, groove);
        g.drawImage (pathFill, groove.withRight (std::max (position, groove.getX())));
        knobAt ({ position, bounds.getCentreY() });
        return;
    }
    const auto groove = bounds.withSizeKeepingCentre (thickness, bounds.getHeight() - knobSize);
    g.drawImage (pathVertical, groove);
    if (pathFill.isValid() && position < groove.getBottom())
    {
        // The fill runs along the slider: stretched to its length, rotated to run upwards.
        const auto length = (groove.getBottom() - position) / static_cast<float> (pathFill.getWidth());
        const auto across = thickness / static_cast<float> (pathFill.getHeight());
        g.drawImageTransformed (pathFill,
                                juce::AffineTransform::scale (length, across)
                                    .rotated (-juce::MathConstants<float>::halfPi)
                                    .translated (groove.getX(), groove.getBottom()));
    }
    knobAt ({ bounds.getCentreX(), position });
}

} // namespace tessivar
