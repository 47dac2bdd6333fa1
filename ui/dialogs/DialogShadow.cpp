#include "ui/dialogs/DialogShadow.h"

#include <algorithm>

namespace tessivar
{

namespace
{

constexpr int blur = 28, drop = 10; // logical pixels
constexpr int margin = blur + drop; // from the card to the image's edge, on each side
constexpr std::size_t mostKept = 3; // dialogs that are ever stacked

/** At one pixel per logical pixel: a shadow this soft has no detail that more would show. */
juce::Image blurred (int width, int height)
{
    juce::Image image (juce::Image::ARGB, width + 2 * margin, height + 2 * margin, true);
    juce::Graphics g (image);
    juce::Path card;
    card.addRoundedRectangle (juce::Rectangle<int> (margin, margin, width, height).toFloat(),
                              DialogShadow::cornerRadius);
    juce::DropShadow (juce::Colours::black.withAlpha (0.5f), blur, { 0, drop }).drawForPath (g, card);
    return image;
}

juce::Image scaled (const juce::Image& image, float scale)
{
    const auto pixels = [scale] (int logical)
    { return juce::roundToInt (std::ceil (static_cast<float> (logical) * scale)); };
    juce::Image result (juce::Image::ARGB, pixels (image.getWidth()), pixels (image.getHeight()), true);
    juce::Graphics g (result);
    g.setImageResamplingQuality (juce::Graphics::highResamplingQuality);
    g.drawImageTransformed (image, juce::AffineTransform::scale (scale));
    return result;
}

} // namespace

const juce::Image& DialogShadow::imageFor (int width, int height, float scale)
{
    const auto found = std::find_if (kept.begin(),
                                     kept.end(),
                                     [&] (const Kept& one) {
                                         return one.width == width && one.height == height
                                                && juce::approximatelyEqual (one.scale, scale);
                                     });
    if (found != kept.end())
    {
        std::rotate (found, found + 1, kept.end());
        return kept.back().image;
    }
    if (kept.size() == mostKept)
        kept.erase (kept.begin());
    const auto image = blurred (width, height);
    kept.push_back (
        { width, height, scale, juce::approximatelyEqual (scale, 1.0f) ? image : scaled (image, scale) });
    return kept.back().image;
}

void DialogShadow::draw (juce::Graphics& g, juce::Rectangle<int> card)
{
    const juce::Graphics::ScopedSaveState state (g);
    g.excludeClipRegion (card.reduced (static_cast<int> (cornerRadius), 1));
    g.excludeClipRegion (card.reduced (1, static_cast<int> (cornerRadius)));
    if (! g.clipRegionIntersects (card.expanded (margin)))
        return;
    const auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    const auto corner = card.getPosition().translated (-margin, -margin).toFloat();
    g.setOpacity (1.0f);
    g.drawImageTransformed (imageFor (card.getWidth(), card.getHeight(), scale),
                            juce::AffineTransform::scale (1.0f / scale).translated (corner));
}

} // namespace tessivar
