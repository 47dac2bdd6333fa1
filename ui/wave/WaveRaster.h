#pragma once

#include "ui/wave/WaveData.h"

namespace tessivar
{

/** One envelope as it is filled into an image, one column for each pixel column from the left edge on. */
struct WaveRasterLayer
{
    std::span<const EnvelopeColumn> columns;
    juce::Colour fill;     // with alpha it lets through what lies behind
    juce::Colour edge;     // transparent: no edge
    int edgeWidth = 1;     // image pixels
    float thinnest = 0.0f; // image pixels on both sides of the centre that are filled even in silence
};

/** Where amplitudes lie: `centre` is the row of 0, `unit` the rows of amplitude 1, image pixels. */
struct WaveRasterScale
{
    float centre = 0.0f;
    float unit = 1.0f;
};

/** Lays row 0 of the image, which holds the ground, into every row, and fills the layers over it, back to
    front, column by column. Upper and lower ends are soft; neighbouring columns are drawn so far towards each
    other that a shape hangs together even where a column holds few samples. The image is RGB, its pixels stay
    opaque.
*/
void fillWaveLayers (juce::Image::BitmapData& pixels,
                     std::span<const WaveRasterLayer> layers,
                     WaveRasterScale scale);

/** The colours of both layers for a look and the colour of a drum type. A layer that is not drawn is
    transparent. */
struct WaveLayerColours
{
    juce::Colour source;
    juce::Colour sourceEdge;
    juce::Colour processed;

    [[nodiscard]] static WaveLayerColours forLook (WaveLook look, juce::Colour typeColour) noexcept;
};

} // namespace tessivar
