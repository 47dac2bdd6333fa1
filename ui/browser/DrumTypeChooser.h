#pragma once

#include "ui/DrumLook.h"
#include "ui/TessivarComboBox.h"

namespace tessivar
{

/** The drum type of a track: glyph, name and the list of the seven types with their keys. */
class DrumTypeChooser : public TessivarComboBox
{
public:
    DrumTypeChooser();

    /** Shows a type; calls nothing back. An overhead shows a dash and stands in no list. */
    void setType (DrumLook newType);
    DrumLook getType() const { return type; }

    /** The user has chosen a type. */
    std::function<void (DrumLook)> onChoose;

    void paint (juce::Graphics& g) override;
    void lookAndFeelChanged() override;

private:
    void hideLabel();

    DrumLook type = DrumLook::other;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DrumTypeChooser)
};

} // namespace tessivar
