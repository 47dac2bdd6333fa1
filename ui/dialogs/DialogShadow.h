#pragma once

#include <juce_graphics/juce_graphics.h>

#include <vector>

namespace tessivar
{

/** The soft shadow below a dialog's card. Blurring one takes longer than painting all the rest of the window, and a dialog
    is repainted for as long as it is open; so the shadow of each size of card is kept as an image, in pixels of the
    display.
*/
class DialogShadow
{
public:
    static constexpr float cornerRadius = 12.0f; // of the card, logical pixels

    /** Draws the shadow around a card; below the card itself, whose middle covers it, nothing is drawn. */
    void draw (juce::Graphics& g, juce::Rectangle<int> card);

private:
    struct Kept
    {
        int width = 0, height = 0; // of the card, logical pixels
        float scale = 1.0f;        // pixels of the display per logical pixel
        juce::Image image;
    };

    const juce::Image& imageFor (int width, int height, float scale);

    std::vector<Kept> kept; // the one drawn last at the end
};

} // namespace tessivar
