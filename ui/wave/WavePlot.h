#pragma once

#include "ui/wave/StrongHits.h"
#include "ui/wave/WaveContent.h"
#include "ui/wave/WaveViewState.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

namespace tessivar
{

/** Everything the parts of the wave viewer draw from; owned by the viewer. */
struct WaveScene
{
    WaveViewState view;
    WaveContent content;
    WaveLook look = WaveLook::notAnalysed;
    bool showsKept = true;
    bool showsRemoved = true;
    bool isLooping = false;
    std::vector<double> hits; // s, ascending; found when first needed
    bool hitsAreKnown = false;
    std::uint64_t version = 0; // raised by every change of the columns or their colours

    /** Samples per column at a display scale, and the column at the left edge. */
    [[nodiscard]] double samplesPerColumn (double pixelScale) const noexcept;
    [[nodiscard]] std::int64_t firstColumn (double pixelScale) const noexcept;

    const std::vector<double>& strongHits();
};

/** A part of the viewer that draws the scene. It turns mouse events into calls and changes only the view and
    the selection itself.
*/
class WavePart : public juce::Component
{
public:
    explicit WavePart (WaveScene& sceneToDraw) : scene (sceneToDraw) { setOpaque (true); }

    std::function<void (double seconds)> onPlayheadMoved;
    std::function<void (bool isFinished)> onSelectionChanged;
    std::function<void()> onViewChanged;

    void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;

protected:
    /** Where in the plot the wheel holds the waveform while it zooms. */
    [[nodiscard]] virtual double zoomAnchor (const juce::MouseEvent& event) const
    {
        return static_cast<double> (event.position.x);
    }

    /** The time under the mouse, limited to the track. */
    [[nodiscard]] double timeAt (const juce::MouseEvent& event) const;
    /** A time pulled to what lies within 4 pixels, a hit above all; Alt leaves it where it is. */
    [[nodiscard]] double snapped (double seconds, const juce::MouseEvent& event) const;

    WaveScene& scene;
};

/** The waveform with grid, level lines and selection, drawn into an image that is kept until something
    changes; the playhead is a separate strip above it.
*/
class WavePlot : public WavePart
{
public:
    explicit WavePlot (WaveScene& sceneToDraw);

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
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseDoubleClick (const juce::MouseEvent& event) override;

private:
    enum class Drag
    {
        none,
        pending, // down, not yet moved far enough to select
        selecting,
        panning
    };

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

    [[nodiscard]] ImageKey keyFor (float scale) const;
    void drawImage (const ImageKey& key);
    /** What lies behind the waveform: vertical stripes only. */
    void drawGround (juce::Graphics& g) const;
    void drawLayers (const ImageKey& key);
    void drawOverlay (juce::Graphics& g) const;

    juce::Image image; // drawn for imageKey
    ImageKey imageKey;
    juce::Image fading;    // what was drawn before the last change of setting
    double fadeLeft = 0.0; // s
    std::vector<EnvelopeColumn> sourceColumns;
    std::vector<EnvelopeColumn> processedColumns;

    Drag drag = Drag::none;
    double dragAnchor = 0.0; // s
    double panStart = 0.0;   // s, the view's start at mouse down
};

} // namespace tessivar
