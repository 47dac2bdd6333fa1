#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** Shows tooltips after 700 ms, or at once when another one closed less than a second ago.
    TessivarLookAndFeel draws them.
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
