#pragma once

#include "ui/wave/WaveBanner.h"
#include "ui/wave/WaveScene.h"

#include <functional>
#include <optional>

namespace tessivar
{

/** A part of the viewer through which the track runs from left to right. What it shows is drawn into an image
    that is kept until something changes; the playhead is a separate strip above it. The mouse moves the
    playhead, selects, pans and zooms, equally in every lane.
*/
class WaveLane : public WavePart
{
public:
    explicit WaveLane (WaveScene& sceneToDraw);

    /** A finished drag or a double-click has selected another stretch. */
    std::function<void()> onSelectionMade;

    /** Display pixels per logical pixel; called when painting finds a new value. */
    std::function<void (double)> onPixelScaleFound;

    /** Fades over 90 ms from the current drawing to the one after the changes that follow. The owner's timer
        calls advanceFade(), which returns false once the fade has ended. */
    void beginFade();
    bool advanceFade (double seconds);

    /** Repaints around an x where the playhead was or is. */
    void repaintPlayhead (int x) { repaint (x - 4, 0, 10, getHeight()); }

    void paint (juce::Graphics& g) override;
    void mouseMove (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseDoubleClick (const juce::MouseEvent& event) override;

    /** Tells what is under the mouse, anew after what is drawn has changed. */
    void updateReadout();

    /** What is under the mouse there, in words; nothing to say is an empty text. */
    [[nodiscard]] virtual juce::String describe (juce::Point<float>) { return {}; }

protected:
    struct ImageKey
    {
        int width = 0;
        int height = 0;
        float scale = 0.0f;
        std::int64_t firstColumn = 0;
        double samplesPerColumn = 0.0;
        double displayGain = 0.0;
        std::optional<WaveRange> selection;
        bool isLooping = false;
        std::uint64_t version = 0;

        bool operator== (const ImageKey&) const = default;
    };

    /** Draws all of the image, which has the size of the key. */
    virtual void drawImage (juce::Image& image, const ImageKey& key) = 0;

    /** Raised by every change of what is drawn. */
    [[nodiscard]] virtual std::uint64_t contentVersion() const { return scene.version; }

    /** Vertical stripes only: the ground, the selection and the grid of time. */
    void drawGround (juce::Graphics& g) const;
    void drawSelectionEdges (juce::Graphics& g) const;

    /** A figure of the scale at the left edge, legible over whatever is drawn. */
    static void drawFigure (juce::Graphics& g, const juce::String& text, float y);

private:
    enum class Drag
    {
        none,
        pending, // down, not yet moved far enough to select
        selecting,
        panning
    };

    [[nodiscard]] ImageKey keyFor (float scale) const;

    juce::Image drawn; // for imageKey
    ImageKey imageKey;
    juce::Image fading;    // what was drawn before the last change of setting
    double fadeLeft = 0.0; // s

    WaveBanner readout;                              // what is under the mouse
    std::optional<juce::Point<float>> mousePosition; // while it is here and no button is down
    Drag drag = Drag::none;
    double dragAnchor = 0.0; // s
    double panStart = 0.0;   // s, the view's start at mouse down
};

} // namespace tessivar
