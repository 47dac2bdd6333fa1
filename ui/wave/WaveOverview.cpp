#include "ui/wave/WaveOverview.h"

#include "ui/Palette.h"
#include "ui/wave/WaveRaster.h"

#include <algorithm>

namespace tessivar
{

namespace
{

const juce::Colour ground (0xff0a0d10);
constexpr float fullScaleShare = 0.9f;
constexpr float quietestPeak = 0.001f; // what is softer is hiss, and stays low

} // namespace

int WaveOverview::xForTime (double seconds) const noexcept
{
    const auto length = scene.view.lengthSeconds();
    return length > 0.0 ? juce::roundToInt (seconds / length * getWidth()) : 0;
}

juce::Rectangle<int> WaveOverview::frameBounds() const noexcept
{
    const auto left = xForTime (scene.view.viewStart());
    const auto right = xForTime (scene.view.viewStart() + scene.view.visibleLength());
    const auto missing = std::max (8 - (right - left), 0);
    return juce::Rectangle<int>::leftTopRightBottom (
               left - missing / 2, 1, right + (missing + 1) / 2, getHeight() - 1)
        .getIntersection ({ 0, 1, getWidth(), getHeight() - 2 });
}

void WaveOverview::paint (juce::Graphics& g)
{
    // The images are a cache of the scene; only painting knows the display's scale for certain.
    const auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    const auto& source = scene.content.track().source;
    const ImageKey key{ juce::roundToInt (static_cast<float> (getWidth()) * scale),
                        juce::roundToInt (static_cast<float> (getHeight()) * scale),
                        scene.version,
                        source != nullptr ? source->readySamples() : 0 };
    if (key != imageKey || dim.isNull())
    {
        drawImages (key, scale);
        imageKey = key;
    }

    const auto toLogical = juce::AffineTransform::scale (1.0f / scale);
    g.drawImageTransformed (dim, toLogical);
    if (source != nullptr)
    {
        const auto frame = frameBounds();
        {
            juce::Graphics::ScopedSaveState state (g);
            g.reduceClipRegion (frame);
            g.drawImageTransformed (bright, toLogical);
        }
        g.setColour (palette::ice);
        g.drawRoundedRectangle (frame.toFloat().reduced (0.75f), 3.0f, 1.5f);
        g.setColour (juce::Colours::white.withAlpha (0.9f));
        g.fillRect (xForTime (scene.view.playhead()), 0, 1, getHeight());
    }
}

void WaveOverview::drawImages (const ImageKey& key, float scale)
{
    const auto width = std::max (key.width, 1);
    const auto height = std::max (key.height, 1);
    const auto samplesPerColumn = scene.view.lengthSeconds() * scene.view.sampleRate() / width;
    std::vector<EnvelopeColumn> source (static_cast<std::size_t> (width)), processed (source.size());
    if (samplesPerColumn > 0.0)
        scene.content.read (0, samplesPerColumn, source, processed);

    const auto colours = WaveLayerColours::forLook (scene.look, scene.content.track().colour);
    const auto hasTwoLayers = scene.hasTwoLayers();
    const auto centre = static_cast<float> (height) / 2.0f;
    // It fills the strip, however softly its microphone was recorded.
    auto loudest = quietestPeak;
    for (const auto& column : source)
        loudest = std::max (loudest, column.peak());
    const WaveRasterScale rows{ centre, centre * fullScaleShare / loudest };
    const auto draw = [&] (juce::Image& image, juce::Colour back, float strength)
    {
        image = juce::Image (juce::Image::RGB, width, height, false, juce::SoftwareImageType());
        juce::Graphics (image).fillAll (back);
        const auto blended = [&] (juce::Colour colour)
        { return back.interpolatedWith (colour.withAlpha (1.0f), colour.getFloatAlpha() * strength); };
        std::vector<WaveRasterLayer> layers;
        if (scene.showsRemoved || ! hasTwoLayers)
            layers.push_back ({ source, blended (colours.source), {}, 0, 0.5f * scale });
        if (scene.showsKept && hasTwoLayers)
            layers.push_back ({ processed, blended (colours.processed), {}, 0, 0.5f * scale });
        juce::Image::BitmapData pixels (image, juce::Image::BitmapData::readWrite);
        fillWaveLayers (pixels, layers, rows);
    };
    draw (dim, ground, 0.5f);
    draw (bright, juce::Colour (0xff0d1114), 1.0f);
}

void WaveOverview::mouseDown (const juce::MouseEvent& event)
{
    drag = OverviewDrag::begin (scene.view, static_cast<double> (event.position.x), getWidth());
    onViewChanged();
}

void WaveOverview::mouseDrag (const juce::MouseEvent& event)
{
    drag.moveTo (scene.view, static_cast<double> (event.position.x), getWidth());
    onViewChanged();
}

} // namespace tessivar
