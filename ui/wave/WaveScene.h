#pragma once

#include "terms/ReductionCurve.h"
#include "ui/wave/SpectrumContent.h"
#include "ui/wave/StrongHits.h"
#include "ui/wave/WaveContent.h"
#include "ui/wave/WaveViewState.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <vector>

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
    SpectrumContent spectrum;
    bool showsSpectrum = false;
    std::vector<double> hits; // s, ascending; found when first needed
    bool hitsAreKnown = false;
    std::uint64_t version = 0; // raised by every change of the columns or their colours

    /** Samples per column at a display scale, and the column at the left edge. */
    [[nodiscard]] double samplesPerColumn (double pixelScale) const noexcept;
    [[nodiscard]] std::int64_t firstColumn (double pixelScale) const noexcept;

    /** Whether there are two layers to draw: what is kept, and what is removed. */
    [[nodiscard]] bool hasTwoLayers() const noexcept
    {
        return content.isAnalysed()
               && (look == WaveLook::processed || look == WaveLook::bypassed || look == WaveLook::removed);
    }

    const std::vector<double>& strongHits();

    /** How much is removed, as far as the track has been read; without a step where nothing is. */
    const ReductionCurve& reduction();
    /** Samples of its steps. */
    [[nodiscard]] std::int64_t reductionStep() const;

    /** After a change of track, weights or what has been read of it. */
    void forgetFindings()
    {
        hitsAreKnown = false;
        reductionIsKnown = false;
    }

private:
    ReductionCurve curve;
    bool reductionIsKnown = false;
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

} // namespace tessivar
