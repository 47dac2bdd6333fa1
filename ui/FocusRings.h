#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** Whether the keyboard's focus is drawn: not from a press of the mouse until a key is used again. Without a
    watch it always is. Message thread.
*/
[[nodiscard]] bool areFocusRingsShown();

/** A key was pressed. */
void showFocusRings();

/** Looks after the mouse and the focus as long as it lives; one at a time. */
class FocusRingWatch : private juce::MouseListener, private juce::FocusChangeListener
{
public:
    FocusRingWatch();
    ~FocusRingWatch() override;

private:
    void mouseDown (const juce::MouseEvent& event) override;
    void globalFocusChanged (juce::Component* focused) override;

    juce::uint32 lastPress = 0; // ms

    JUCE_DECLARE_NON_COPYABLE (FocusRingWatch)
};

} // namespace tessivar
