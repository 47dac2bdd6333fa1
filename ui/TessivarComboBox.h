#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** A combo box that leaves the keyboard to the window: its list opens on a click. */
class TessivarComboBox : public juce::ComboBox
{
public:
    explicit TessivarComboBox (const juce::String& name = {});

    /** Whether the box could be used when it was made. */
    bool wasEnabledAtConstruction() const { return enabledAtConstruction; }

private:
    bool enabledAtConstruction = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarComboBox)
};

} // namespace tessivar
