#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

/** How the interface moves: briefly, and not at all where the user wants no motion. Message thread. */
namespace tessivar::motion
{

inline constexpr int hoverMs = 80, fadeMs = 120, disclosureMs = 140;

/** With reduced motion every change is immediate; only playhead, meters and the value label still move. True
    until the program sets it, so that pictures and tests show how a change ends.
*/
[[nodiscard]] bool isReduced();
void setReduced (bool shouldBeReduced);

/** Fades a component in; shows it at once when motion is reduced or nobody would see the fade. */
void fadeIn (juce::Component& component);

/** How far a component is from its resting look to its hovered look; repaints it on the way. */
class HoverFade : private juce::Timer
{
public:
    explicit HoverFade (juce::Component& componentToRepaint) : component (componentToRepaint) {}

    void setOver (bool shouldBeOver);
    [[nodiscard]] bool isOver() const { return over; }
    /** 0 at rest to 1 hovered. */
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
