#pragma once

#include "ui/wave/WaveContent.h"

namespace tessivar
{

/** An envelope to fill into an image, one column per pixel column from the left edge. */
struct WaveRasterLayer
{
    std::span<const EnvelopeColumn> columns;
    juce::Colour fill;     // with alpha, what lies behind shows through
    juce::Colour edge;     // transparent: no edge
    int edgeWidth = 1;     // image pixels
    float thinnest = 0.0f; // image pixels filled on both sides of the centre, even in silence
};

/** Where amplitudes lie: `centre` is the row of 0, `unit` the rows per amplitude of 1, in image pixels. */
struct WaveRasterScale
{
    float centre = 0.0f;
    float unit = 1.0f;
};

/** Copies row 0, which holds the background, into every row and fills the layers over it, back to front,
    column by column. Upper and lower ends are soft; neighbouring columns extend towards each other so far
    that a shape holds together even where columns hold few samples. The image is RGB; its pixels stay opaque.
*/
void fillWaveLayers (juce::Image::BitmapData& pixels,
                     std::span<const WaveRasterLayer> layers,
                     WaveRasterScale scale);

/** Colours of both layers for a look and the colour of a drum type. A layer that isn't drawn is transparent.
*/
struct WaveLayerColours
{
    juce::Colour source;
    juce::Colour sourceEdge;
    juce::Colour processed;

    [[nodiscard]] static WaveLayerColours forLook (WaveLook look, juce::Colour typeColour) noexcept;
};

} // namespace tessivar
