#pragma once

#include "terms/KnobValues.h"
#include "ui/Buttons.h"
#include "ui/dock/DockSection.h"
#include "ui/dock/DockState.h"

namespace tessivar
{

/** Cells A and B with the values of both settings, equal loudness above, and Copy, Reset and the blind test
    below them.
*/
class SettingSwitch : public DockSection, public juce::SettableTooltipClient
{
public:
    SettingSwitch();

    /** Shows a state without calling back. */
    void setState (const DockState& newState);

    /** The user chose a cell; with Shift, for every track of the Group. */
    std::function<void (KnobSetting, bool wholeGroup)> onChoose;
    std::function<void()> onCopy, onReset, onEqualLoudness, onBlindTest;
    /** The menu of presets is wanted at this place on the screen. */
    std::function<void (juce::Point<int>)> onPresets;

    bool keyPressed (const juce::KeyPress& key) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseMove (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    juce::String spokenValue() const override { return settingDescription (state); }
    juce::Rectangle<int> frame() const;
    juce::Rectangle<int> cell (KnobSetting letter) const;
    std::optional<KnobSetting> cellAt (juce::Point<int> position) const;
    void paintCell (juce::Graphics& g, KnobSetting letter) const;
    void choose (KnobSetting letter, bool wholeGroup);
    void layOutEqual();

    DockState state;
    std::optional<KnobSetting> hovered;
    ActionButton equal{ "Equal", ButtonLook::bare, Icon::equalLoudness }, copy{ "Copy A" }, reset{ "Reset" },
        blindTest{ juce::String::fromUTF8 ("Blind test\xe2\x80\xa6"), ButtonLook::text },
        presets{ "Preset", ButtonLook::text };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SettingSwitch)
};

} // namespace tessivar
