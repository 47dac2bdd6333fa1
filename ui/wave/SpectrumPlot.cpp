#include "ui/wave/SpectrumPlot.h"

#include "ui/Palette.h"
#include "ui/wave/WaveTimeText.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

const juce::Colour frequencyLine = juce::Colours::white.withAlpha (0.07f);
constexpr double quietestPeak = 0.01;   // what is softer is hiss, and stays dark
constexpr double closestFigures = 15.0; // px

juce::String decibels (double levelDb)
{
    const auto whole = juce::roundToInt (levelDb);
    return (whole < 0 ? juce::String::fromUTF8 ("\xe2\x88\x92") : juce::String())
           + juce::String (std::abs (whole)) + " dB";
}

juce::String frequencyText (double frequency)
{
    if (frequency < 1000.0)
        return juce::String (juce::roundToInt (frequency)) + " Hz";
    return juce::String (frequency / 1000.0, frequency < 9950.0 ? 2 : 1) + " kHz";
}

/** "500 Hz", "2 kHz" */
juce::String figureText (int frequency)
{
    return frequency < 1000 ? juce::String (frequency) + " Hz" : juce::String (frequency / 1000) + " kHz";
}

} // namespace

void SpectrumPlot::drawImage (juce::Image& image, const ImageKey& key)
{
    // As bright as the track's own peak allows, so that quiet tracks are no darker than others.
    const auto& track = scene.content.track();
    const auto peak = track.source != nullptr ? track.source->range (0, track.lengthInSamples).peak() : 1.0f;
    const auto gainDb =
        20.0 * std::log10 (key.displayGain / std::max (static_cast<double> (peak), quietestPeak));
    const SpectrumColours::Settings wanted{ scene.look,      track.colour,       scene.hasTwoLayers(),
                                            scene.showsKept, scene.showsRemoved, gainDb };
    if (! colours || settings != wanted)
    {
        colours.emplace (wanted);
        settings = wanted;
    }
    if (levels.width != static_cast<std::size_t> (image.getWidth()))
        levels = SpectrumLevels (static_cast<std::size_t> (image.getWidth()));
    scene.spectrum.read (key.firstColumn, key.samplesPerColumn, levels);
    {
        juce::Image::BitmapData pixels (image, juce::Image::BitmapData::writeOnly);
        fillSpectrum (pixels, levels, *colours);
    }
    juce::Graphics g (image);
    g.addTransform (juce::AffineTransform::scale (key.scale));
    dimUnselected (g);
    drawAxis (g);
    drawSelectionEdges (g);
}

void SpectrumPlot::dimUnselected (juce::Graphics& g) const
{
    // A tint over the selection would change the colours, which have a meaning.
    if (const auto selection = scene.view.selection())
    {
        const auto left = juce::roundToInt (scene.view.xForTime (selection->start));
        const auto right = juce::roundToInt (scene.view.xForTime (selection->end));
        g.setColour (palette::wave.withAlpha (scene.isLooping ? 0.45f : 0.3f));
        g.fillRect (juce::Rectangle<int>::leftTopRightBottom (0, 0, std::max (left, 0), getHeight()));
        g.fillRect (juce::Rectangle<int>::leftTopRightBottom (
            std::min (right, getWidth()), 0, getWidth(), getHeight()));
    }
}

void SpectrumPlot::drawAxis (juce::Graphics& g) const
{
    auto above = static_cast<double> (getHeight()) + closestFigures; // the last figure's place
    for (const auto frequency : { 100, 200, 500, 1000, 2000, 5000, 10000 })
    {
        const auto y = spectrumHeightOf (scene.spectrum.grid().bandOf (frequency)) * getHeight();
        g.setColour (frequencyLine);
        g.fillRect (0, juce::roundToInt (y), getWidth(), 1);
        if (above - y < closestFigures || y < closestFigures / 2.0 || y > getHeight() - closestFigures / 2.0)
            continue;
        drawFigure (g, figureText (frequency), static_cast<float> (y));
        above = y;
    }
}

juce::String SpectrumPlot::describe (juce::Point<float> place)
{
    const auto& view = scene.view;
    const auto seconds = view.timeForX (static_cast<double> (place.x));
    const auto band = spectrumBandAt (static_cast<double> (place.y) / getHeight());
    const auto nearest = static_cast<std::size_t> (
        std::clamp (std::round (band), 0.0, static_cast<double> (SpectrumGrid::numBands - 1)));
    SpectrumLevels here (1);
    const auto perColumn = scene.samplesPerColumn (1.0);
    const auto isKnown = scene.spectrum.read (
        static_cast<std::int64_t> (std::floor (seconds * view.sampleRate() / perColumn)), perColumn, here);

    const auto dot = juce::String::fromUTF8 (" \xc2\xb7 ");
    auto text = waveTimeText (seconds, 3) + dot + frequencyText (scene.spectrum.grid().frequencyOf (band));
    if (! isKnown)
        return text;
    if (here.source[nearest] == 0)
        return text + dot + "silent";
    text << dot << decibels (static_cast<double> (SpectrumTile::levelDbOf (here.source[nearest])));
    if (scene.hasTwoLayers())
    {
        const auto removed = (std::max (here.source[nearest], here.kept[nearest]) - here.kept[nearest]) / 2;
        text << ", " << (here.kept[nearest] == 0 ? juce::String ("all") : juce::String (removed) + " dB")
             << " removed";
    }
    return text;
}

} // namespace tessivar
