#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** Gives the interface the size that settings and screen ask for. */
void applyInterfaceSize (const juce::PropertySet& settings);

/** The desktop's frame around a window, in the window's own pixels; empty until the desktop has told. */
[[nodiscard]] juce::BorderSize<int> frameAround (const juce::Component& window);

/** Makes a window small enough for the part of its screen that is free for windows, but not smaller than its
    least size, and moves it in there with its frame.
*/
void fitToScreen (juce::Component& window, int leastWidth, int leastHeight);

} // namespace tessivar
