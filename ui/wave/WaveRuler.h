#pragma once

#include "ui/wave/WaveGestures.h"
#include "ui/wave/WaveScene.h"

namespace tessivar
{

/** The time ruler above the plot, with the selection's band and grips and the playhead's flag. Dragging a
    grip moves that end; clicking or dragging elsewhere moves the playhead.
*/
class WaveRuler : public WavePart
{
public:
    using WavePart::WavePart;

    /** Repaints the flag around an x where the playhead was or is. */
    void repaintPlayhead (int x);

    void paint (juce::Graphics& g) override;
    void mouseMove (const juce::MouseEvent& event) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;

private:
    void drawTicks (juce::Graphics& g) const;
    void drawSelection (juce::Graphics& g) const;
    void drawFlag (juce::Graphics& g) const;

    LoopGrip heldGrip = LoopGrip::none;
};

} // namespace tessivar
