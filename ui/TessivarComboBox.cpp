#include "ui/TessivarComboBox.h"

namespace tessivar
{

TessivarComboBox::TessivarComboBox (const juce::String& name) : ComboBox (name)
{
    setWantsKeyboardFocus (false);
    setMouseClickGrabsKeyboardFocus (false);
    setJustificationType (juce::Justification::centred);
    setEditableText (false);
    setTextWhenNoChoicesAvailable ("(no choices)");
    enabledAtConstruction = isEnabled();
}

} // namespace tessivar
