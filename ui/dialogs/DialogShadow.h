#pragma once

#include <juce_graphics/juce_graphics.h>

#include <vector>

namespace tessivar
{

/** The soft shadow under a dialog's card. Blurring it takes longer than painting the rest of the window, and
    an open dialog is repainted all the time, so the shadow for each size of card is kept as an image in
    display pixels.
*/
class DialogShadow
{
public:
    static constexpr float cornerRadius = 12.0f; // of the card, logical pixels

    /** Draws the shadow around a card, but not under it, where the card would cover it. */
    void draw (juce::Graphics& g, juce::Rectangle<int> card);

private:
    struct Kept
    {
        int width = 0, height = 0; // of the card, logical pixels
        float scale = 1.0f;        // display pixels per logical pixel
        juce::Image image;
    };

    const juce::Image& imageFor (int width, int height, float scale);

    std::vector<Kept> kept; // the most recently drawn last
};

} // namespace tessivar
