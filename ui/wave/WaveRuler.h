#pragma once

#include "ui/wave/WaveGestures.h"
#include "ui/wave/WavePlot.h"

namespace tessivar
{

/** The time ruler over the plot, with the band and the grips of the selection and the flag of the playhead.
    Dragging a grip moves that end; a click elsewhere, or a drag from there, moves the playhead.
*/
class WaveRuler : public juce::Component
{
public:
    explicit WaveRuler (WaveScene& sceneToDraw);

    std::function<void (double seconds)> onPlayheadMoved;
    std::function<void (bool isFinished)> onSelectionChanged;
    std::function<void()> onViewChanged;

    /** Repaints the flag around an x where the playhead was or is. */
    void repaintPlayhead (int x);

    void paint (juce::Graphics& g) override;
    void mouseMove (const juce::MouseEvent& event) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;

private:
    void drawTicks (juce::Graphics& g) const;
    void drawSelection (juce::Graphics& g) const;
    void drawFlag (juce::Graphics& g) const;
    void movePlayhead (const juce::MouseEvent& event);

    WaveScene& scene;
    LoopGrip heldGrip = LoopGrip::none;
};

} // namespace tessivar
