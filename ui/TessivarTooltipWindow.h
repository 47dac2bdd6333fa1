#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The tooltip window: after 700 ms over a component, at once when another tip went less than a second ago. The look
    and feel draws it; a key at the end of a tip in square brackets, "Hear only what is removed [R]", is shown as a
    key cap.
*/
class TessivarTooltipWindow : public juce::TooltipWindow
{
public:
    explicit TessivarTooltipWindow (juce::Component* parent = nullptr, int delayMs = 700)
        : TooltipWindow (parent, delayMs)
    {
    }

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarTooltipWindow)
};

} // namespace tessivar
