#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/** How the interface moves: short, and not at all where the user wants no motion. Message thread. */
namespace tessivar::motion
{

inline constexpr int hoverMs = 80, fadeMs = 120, disclosureMs = 140;

/** With reduced motion everything is in its place at once; only playhead, meters and the value label still move.
    True until the program says otherwise, so that pictures and tests see how a change ends.
*/
[[nodiscard]] bool isReduced();
void setReduced (bool shouldBeReduced);

/** Shows a component by a short fade; at once where motion is reduced or nobody would see it. */
void fadeIn (juce::Component& component);

/** How far a component has gone from its look at rest to its look under the mouse; repaints it on the way. */
class HoverFade : private juce::Timer
{
public:
    explicit HoverFade (juce::Component& componentToRepaint) : component (componentToRepaint) {}

    void setOver (bool shouldBeOver);
    [[nodiscard]] bool isOver() const { return over; }
    /** 0 at rest to 1 under the mouse. */
    [[nodiscard]] float amount() const { return share; }

private:
    void timerCallback() override;

    juce::Component& component;
    bool over = false;
    float share = 0.0f;
    double lastTick = 0.0; // ms

    JUCE_DECLARE_NON_COPYABLE (HoverFade)
};

} // namespace tessivar::motion
