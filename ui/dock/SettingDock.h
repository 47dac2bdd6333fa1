#pragma once

#include "terms/KnobValues.h"
#include "ui/dock/DockSection.h"
#include "ui/dock/DockState.h"
#include "ui/dock/KnobSection.h"
#include "ui/dock/ListenSection.h"
#include "ui/dock/SettingSwitch.h"

namespace tessivar
{

/** Six bars, one per layer: how much of it is heard. */
class LayerBars : public DockSection, public juce::SettableTooltipClient
{
public:
    LayerBars();

    void setState (const DockState& newState);
    void paint (juce::Graphics& g) override;

private:
    void paintBar (juce::Graphics& g, juce::Rectangle<float> bar, const LayerWeight& weight) const;

    bool available = false;
    std::array<LayerWeight, 6> layers{};

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (LayerBars)
};

/** The dock below the waveform: Setting, Focus, Fine, Layers, Listen to.

    It shows a DockState and reports what the user does; the owner updates its model and passes the new state
    back. Message thread only.
*/
class SettingDock : public juce::Component
{
public:
    explicit SettingDock (const ResourceImages& images);

    void setState (const DockState& newState);

    /** 166 pixels high, with smaller knobs and without Layers, Copy and Reset. */
    void setCompact (bool shouldBeCompact);

    /** A knob of the sounding setting moved. Focus is 0 to 5, Fine 0 to 1. */
    std::function<void (float)> onFocusChange, onFineChange;
    /** The user grabbed or released a knob. */
    std::function<void()> onGestureStart, onGestureEnd;
    std::function<void (KnobSetting, bool wholeGroup)> onChooseSetting;
    /** Copies the sounding setting to the other one. */
    std::function<void()> onCopy;
    /** Resets both knobs to their defaults. */
    std::function<void()> onReset;
    /** The menu of presets is wanted at this place on the screen. */
    std::function<void (juce::Point<int>)> onPresets;
    std::function<void (ListenMode)> onListeningChange;
    /** The user wants equal loudness on or off, or the blind test. */
    std::function<void()> onEqualLoudness, onBlindTest;

    KnobSection& getFocus() { return focus; }
    KnobSection& getFine() { return fine; }
    ListenSection& getListen() { return listen; }
    SettingSwitch& getSetting() { return setting; }

    /** One step of the value labels' fade; called 30 times a second. */
    void fadeTick();

    /** Whether a value label needs these steps. */
    bool isFading() const { return focus.isFading() || fine.isFading(); }

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    void wireKnobs();
    void showKnobs();

    DockState state;
    bool compact = false;
    SettingSwitch setting;
    KnobSection focus, fine;
    LayerBars layers;
    ListenSection listen;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SettingDock)
};

} // namespace tessivar
