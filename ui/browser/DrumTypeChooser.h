#pragma once

#include "ui/DrumLook.h"
#include "ui/TessivarControls.h"

namespace tessivar
{

/** Chooses a track's drum type: glyph, name, and a list of the seven types with their keys. */
class DrumTypeChooser : public TessivarComboBox
{
public:
    DrumTypeChooser();

    /** Shows a type without calling back. An overhead shows a dash and isn't in the list. */
    void setType (DrumLook newType);
    DrumLook getType() const { return type; }

    /** The user chose a type. */
    std::function<void (DrumLook)> onChoose;

    void paint (juce::Graphics& g) override;
    void lookAndFeelChanged() override;

private:
    void hideLabel();

    DrumLook type = DrumLook::other;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DrumTypeChooser)
};

} // namespace tessivar
