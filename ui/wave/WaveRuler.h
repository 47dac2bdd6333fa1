#pragma once

#include "ui/wave/WaveGestures.h"
#include "ui/wave/WavePlot.h"

namespace tessivar
{

/** The time ruler above the plot, with the selection's band and grips and the playhead's flag. Dragging a
    grip moves that end; clicking or dragging elsewhere moves the playhead.
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
