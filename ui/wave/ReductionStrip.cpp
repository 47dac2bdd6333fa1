#include "ui/wave/ReductionStrip.h"

#include "ui/Palette.h"
#include "ui/wave/WaveTimeText.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

const juce::Colour levelLine = juce::Colours::white.withAlpha (0.08f);

} // namespace

ReductionCurve::Stretch ReductionStrip::reductionOf (double from, double to)
{
    const auto& curve = scene.reduction();
    const auto step = static_cast<double> (scene.reductionStep());
    if (from < 0.0)
        return {};
    const auto first = static_cast<std::size_t> (from / step);
    auto stretch = curve.over (first, std::max (first + 1, static_cast<std::size_t> (to / step)));

    // Where a step is many columns wide, a line leads from the middle of one to the middle of the next.
    if (const auto position = (from + to) / 2.0 / step - 0.5;
        to - from < step / 2.0 && stretch.numSteps > 0 && position > 0.0)
    {
        const auto before = static_cast<std::size_t> (position);
        const auto here = curve.over (before, before + 1), next = curve.over (before + 1, before + 2);
        const auto share = static_cast<float> (position - static_cast<double> (before));
        if (here.numSteps > 0 && next.numSteps > 0)
            stretch.meanDb = stretch.maximumDb = here.meanDb * (1.0f - share) + next.meanDb * share;
    }
    return stretch;
}

void ReductionStrip::drawImage (juce::Image& image, const ImageKey& key)
{
    juce::Graphics g (image);
    {
        const juce::Graphics::ScopedSaveState unscaled (g);
        g.addTransform (juce::AffineTransform::scale (key.scale));
        drawGround (g);
    }

    // Where nothing is removed from what is heard, it is told more quietly.
    const auto strength = scene.look == WaveLook::bypassed ? 0.5f : 1.0f;
    const auto height = static_cast<float> (key.height);
    for (int x = 0; x < key.width; ++x)
    {
        const auto from = static_cast<double> (key.firstColumn + x) * key.samplesPerColumn;
        const auto stretch = reductionOf (from, from + key.samplesPerColumn);
        const auto bar = [&] (juce::Colour colour, float levelDb, float top)
        {
            const auto bottom = std::min (levelDb / lowestDb, 1.0f) * height;
            g.setColour (colour.withMultipliedAlpha (strength));
            g.fillRect (juce::Rectangle<float>::leftTopRightBottom (
                static_cast<float> (x), std::min (top, bottom), static_cast<float> (x + 1), bottom));
            return bottom;
        };
        const auto mean = bar (palette::emberLine, stretch.meanDb, 0.0f);
        bar (palette::emberFill, stretch.maximumDb, mean);
        if (stretch.meanDb > 0.0f)
            bar (palette::ember, stretch.meanDb, mean - key.scale);
    }

    g.addTransform (juce::AffineTransform::scale (key.scale));
    for (const auto level : { 10, 20 })
    {
        const auto y = static_cast<float> (level) / lowestDb * static_cast<float> (getHeight());
        g.setColour (levelLine);
        g.fillRect (0, juce::roundToInt (y), getWidth(), 1);
        drawFigure (g, juce::String::fromUTF8 ("\xe2\x88\x92") + juce::String (level) + " dB", y);
    }
    drawSelectionEdges (g);
}

juce::String ReductionStrip::describe (juce::Point<float> place)
{
    const auto& view = scene.view;
    const auto seconds = view.timeForX (static_cast<double> (place.x));
    const auto from = seconds * view.sampleRate();
    const auto stretch = reductionOf (from, from + scene.samplesPerColumn (1.0));
    auto text = waveTimeText (seconds, 3) + juce::String::fromUTF8 (" \xc2\xb7 ");
    if (stretch.numSteps == 0)
        return text + "silent";
    text << juce::String (stretch.meanDb, 1) << " dB removed";
    if (juce::roundToInt (stretch.maximumDb) > juce::roundToInt (stretch.meanDb))
        text << ", at most " << juce::String (juce::roundToInt (stretch.maximumDb)) << " dB";
    return text;
}

} // namespace tessivar
