#pragma once

#include "app/settings/SettingsDialog.h"
#include "app/settings/SettingsPage.h"
#include "ui/Buttons.h"

namespace tessivar
{

/** Driver, output, channels, buffer and rate of the sound device. Each change reopens it at once. */
class AudioPage : public SettingsPage, private juce::ChangeListener
{
public:
    explicit AudioPage (const SettingsDialogContext& contextToUse);

    void resized() override;

protected:
    void enter() override;
    void leave() override;

private:
    void changeListenerCallback (juce::ChangeBroadcaster*) override { refresh(); }

    void refresh();
    void showDrivers();
    void showOutputs();
    void showDevice();
    void showNote();

    void chooseDriver();
    void chooseOutput();
    void choosePair();
    void chooseBuffer();
    void chooseRate();
    void playOrReopen();
    void finish (const juce::Result& result);

    const SettingsDialogContext& context;

    TextBlock driverLabel{ TextBlock::Kind::label, "Driver" };
    TextBlock outputLabel{ TextBlock::Kind::label, "Output device" };
    TextBlock pairLabel{ TextBlock::Kind::label, "Outputs" };
    TextBlock bufferLabel{ TextBlock::Kind::label, "Buffer size" };
    TextBlock rateLabel{ TextBlock::Kind::label, "Sample rate" };
    SettingsCombo driver{ "Driver" }, output{ "Output device" }, pair{ "Outputs" }, buffer{ "Buffer size" },
        rate{ "Sample rate" };
    NoteBox note;
    ActionButton tone{ "Play test tone", ButtonLook::standard, Icon::speaker };
    TextBlock latency{ TextBlock::Kind::hint };

    juce::String failure; // of the last change
    bool listening = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (AudioPage)
};

} // namespace tessivar
