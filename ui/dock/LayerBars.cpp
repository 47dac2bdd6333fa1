#include "ui/dock/LayerBars.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

LayerBars::LayerBars() : DockSection ("Layers", false, true)
{
    setTooltip ("What each layer still carries: Focus takes the worst match away first");
}

void LayerBars::setState (const DockState& newState)
{
    available = newState.available;
    layers = newState.layers;
    repaint();
}

void LayerBars::paint (juce::Graphics& g)
{
    DockSection::paint (g);
    constexpr float top = 38.0f, height = 90.0f, width = 19.0f, restWidth = 23.0f, gap = 5.0f;
    auto x = static_cast<float> (contentLeft());
    for (std::size_t i = 0; i < layers.size(); ++i)
    {
        const auto isRest = i + 1 == layers.size();
        const juce::Rectangle<float> bar (x, top, isRest ? restWidth : width, height);
        paintBar (g, bar, layers[i]);
        g.setColour (available ? palette::textLow : palette::textDisabled);
        g.setFont (fonts::inter (11.0f));
        g.drawText (isRest ? juce::String ("Rest") : juce::String (i + 1),
                    bar.withY (top + height + 5.0f).withHeight (16.0f).expanded (6.0f, 0.0f),
                    juce::Justification::centred,
                    false);
        x += width + gap;
    }
    const juce::Rectangle<float> ends (static_cast<float> (contentLeft()),
                                       top + height + 24.0f,
                                       x - gap + restWidth - width - static_cast<float> (contentLeft()),
                                       16.0f);
    g.setColour (palette::textLow);
    g.drawText ("Best match", ends, juce::Justification::centredLeft, false);
    g.drawText ("Worst", ends, juce::Justification::centredRight, false);
}

void LayerBars::paintBar (juce::Graphics& g, juce::Rectangle<float> bar, const LayerWeight& weight) const
{
    if (! available)
    {
        g.setColour (palette::line);
        g.drawRoundedRectangle (bar.reduced (0.5f), 3.0f, 1.0f);
        return;
    }
    juce::Graphics::ScopedSaveState saved (g);
    juce::Path shape;
    shape.addRoundedRectangle (bar, 3.0f);
    g.setColour (juce::Colour (0xff2a1a14));
    g.fillPath (shape);
    g.setColour (palette::emberFill.withAlpha (0.6f));
    g.drawRoundedRectangle (bar.reduced (0.5f), 3.0f, 1.0f);

    g.reduceClipRegion (shape);
    const auto total = layerBarHeight (weight.kept + weight.blendedBack) * bar.getHeight();
    const auto kept = layerBarHeight (weight.kept) * bar.getHeight();
    g.setColour (juce::Colour (0xff6b4a3e));
    g.fillRect (bar.withTop (bar.getBottom() - total));
    g.setGradientFill (
        juce::ColourGradient::vertical (palette::ice, bar.getY(), palette::iceMid, bar.getBottom()));
    g.fillRect (bar.withTop (bar.getBottom() - kept));
}

} // namespace tessivar
