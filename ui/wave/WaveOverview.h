#pragma once

#include "ui/wave/WaveGestures.h"
#include "ui/wave/WaveScene.h"

namespace tessivar
{

/** The whole track below the plot, with a frame around what the plot shows. Dragging the frame scrolls;
    clicking outside jumps there. The waveform is drawn into images when track, knobs or size change; moving
    the frame only copies them.
*/
class WaveOverview : public WavePart
{
public:
    using WavePart::WavePart;

    /** x of a time, logical pixels. */
    [[nodiscard]] int xForTime (double seconds) const noexcept;
    /** The frame around the visible stretch, at least 8 pixels wide. */
    [[nodiscard]] juce::Rectangle<int> frameBounds() const noexcept;
    void repaintPlayhead (int x) { repaint (x - 1, 0, 3, getHeight()); }

    void paint (juce::Graphics& g) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;

private:
    struct ImageKey
    {
        int width = 0;
        int height = 0;
        std::uint64_t version = 0;
        std::int64_t readySamples = 0;

        bool operator== (const ImageKey&) const = default;
    };

    /** The middle of the frame. */
    [[nodiscard]] double zoomAnchor (const juce::MouseEvent&) const override
    {
        return scene.view.plotWidth() / 2.0;
    }

    void drawImages (const ImageKey& key, float scale);

    juce::Image dim;    // outside the frame
    juce::Image bright; // inside it
    ImageKey imageKey;
    OverviewDrag drag;
};

} // namespace tessivar
