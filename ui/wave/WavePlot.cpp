#include "ui/wave/WavePlot.h"

#include "ui/wave/WaveRaster.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

/** Full scale at true level reaches this share of the way from the centre to the plot's edge. */
constexpr float fullScaleShare = 0.94f;
constexpr float closestFigures = 12.0f; // px

const juce::Colour levelLine = juce::Colours::white.withAlpha (0.05f);

} // namespace

void WavePlot::drawImage (juce::Image& image, const ImageKey& key)
{
    {
        juce::Graphics g (image);
        // One row is enough: the background consists of vertical stripes.
        g.reduceClipRegion (0, 0, key.width, 1);
        g.addTransform (juce::AffineTransform::scale (key.scale));
        drawGround (g);
    }
    drawLayers (image, key);
    juce::Graphics g (image);
    g.addTransform (juce::AffineTransform::scale (key.scale));
    drawOverlay (g);
}

void WavePlot::drawLayers (juce::Image& image, const ImageKey& key)
{
    const auto width = static_cast<std::size_t> (key.width);
    sourceColumns.resize (width);
    processedColumns.resize (width);
    scene.content.read (key.firstColumn, key.samplesPerColumn, sourceColumns, processedColumns);

    const auto colours = WaveLayerColours::forLook (scene.look, scene.content.track().colour);
    const auto centre = static_cast<float> (key.height) / 2.0f;
    const WaveRasterScale scale{ centre, centre * fullScaleShare * static_cast<float> (key.displayGain) };
    const auto line = 0.5f * key.scale;
    const auto hasTwoLayers = scene.hasTwoLayers();

    std::vector<WaveRasterLayer> layers;
    if (scene.showsRemoved || ! hasTwoLayers)
        layers.push_back (
            { sourceColumns, colours.source, colours.sourceEdge, juce::roundToInt (key.scale), line });
    if (scene.showsKept && hasTwoLayers)
        layers.push_back ({ processedColumns, colours.processed, {}, 0, line });
    juce::Image::BitmapData pixels (image, juce::Image::BitmapData::readWrite);
    fillWaveLayers (pixels, layers, scale);
}

void WavePlot::drawOverlay (juce::Graphics& g) const
{
    const auto& view = scene.view;
    const auto height = static_cast<float> (getHeight());
    const auto centre = height / 2.0f;
    g.setColour (juce::Colours::white.withAlpha (0.10f));
    g.fillRect (0, juce::roundToInt (centre), getWidth(), 1);

    // The two multiples of 6 dB that fit the plot best: -6 and -12 at true level.
    const auto gainDb = 20.0 * std::log10 (view.displayGain());
    const auto upper = 6.0 * std::floor (-gainDb / 6.0 + 1.0e-9) - 6.0;
    const auto distanceOf = [&] (double level)
    { return centre * fullScaleShare * static_cast<float> (std::pow (10.0, (level + gainDb) / 20.0)); };
    for (const auto level : { upper, upper - 6.0 })
    {
        const auto distance = distanceOf (level);
        const auto hasRoom = level == upper || distanceOf (upper) - distance >= closestFigures;
        const auto text =
            (level < 0.0 ? juce::String::fromUTF8 ("\xe2\x88\x92") : juce::String (level > 0.0 ? "+" : ""))
            + juce::String (juce::roundToInt (std::abs (level)));
        for (const auto y : { centre - distance, centre + distance })
        {
            g.setColour (levelLine);
            g.fillRect (0, juce::roundToInt (y), getWidth(), 1);
            if (hasRoom)
                drawFigure (g, text, y);
        }
    }

    drawSelectionEdges (g);
}

} // namespace tessivar
