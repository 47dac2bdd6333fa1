#include "app/settings/AudioPageState.h"
#include "app/settings/SettingsPage.h"
#include "model/SampleRateText.h"
#include "ui/Buttons.h"

namespace tessivar
{

namespace
{
constexpr auto noOutput = "No output";
constexpr int rowPitch = 71; // logical pixels

class AudioPage final : public SettingsPage, private juce::ChangeListener
{
public:
    explicit AudioPage (const SettingsDialogContext& contextToUse)
        : SettingsPage ("Audio device"), context (contextToUse), device (context.device),
          manager (device.manager())
    {
        driver.setTextWhenNothingSelected ("None chosen");
        driver.onChange = [this] { finish (changeDeviceType (device, driver.getText())); };
        output.onChange = [this] { chooseOutput(); };
        pair.onChange = [this]
        {
            change (
                [this] (auto& setup, auto& open)
                {
                    setup.useDefaultOutputChannels = false;
                    setup.outputChannels =
                        outputPairChannels (pair.getSelectedItemIndex(), open.getOutputChannelNames().size());
                });
        };
        buffer.onChoose = [this] (int samples)
        { change ([samples] (auto& setup, auto&) { setup.bufferSize = samples; }); };
        // Holds until a Group of another rate is played: the device then follows the Group where it can.
        rate.onChoose = [this] (double hz) { change ([hz] (auto& setup, auto&) { setup.sampleRate = hz; }); };
        tone.onClick = [this] { playOrReopen(); };
        add (driver, output, pair, buffer, rate, note, tone, latency);
    }

    void resized() override
    {
        auto area = contentArea();
        const auto place = [] (SettingsCombo& combo, juce::Rectangle<int> cell)
        { combo.setBounds (takeRow (combo.label, cell)); };
        const auto left = area.withWidth (columnWidth()),
                   right = area.withLeft (area.getRight() - columnWidth());
        place (driver, left);
        place (output, right);
        place (pair, left.translated (0, rowPitch));
        place (buffer, right.translated (0, rowPitch));
        area.removeFromTop (2 * rowPitch);
        rate.setBounds (takeRow (rate.label, area));
        area.removeFromTop (16);
        note.setBounds (area.removeFromTop (38));
        area.removeFromTop (18);
        auto row = area.removeFromTop (smallButtonHeight);
        tone.setSize (80, smallButtonHeight);
        tone.setBounds (row.removeFromLeft (tone.idealWidth()));
        latency.setBounds (row.withTrimmedLeft (13).withSizeKeepingCentre (row.getWidth() - 13, 17));
    }

private:
    void enter() override
    {
        failure = {};
        manager.addChangeListener (this);
        refresh();
    }

    void leave() override { manager.removeChangeListener (this); }
    void changeListenerCallback (juce::ChangeBroadcaster*) override { refresh(); }

    void refresh()
    {
        auto* open = manager.getCurrentAudioDevice();
        showNames (open != nullptr);
        showDevice (open);
        const auto deviceRate = open != nullptr ? open->getCurrentSampleRate() : 0.0;
        note.show (failure.isNotEmpty() ? Note{ NoteKind::failure, failure }
                                        : deviceNote (device.status(), deviceRate, context.groupRate()));
    }

    void showNames (bool isOpen)
    {
        juce::StringArray drivers, outputs;

        for (auto* type : manager.getAvailableDeviceTypes())
            drivers.add (type->getTypeName());

        if (auto* type = manager.getCurrentDeviceTypeObject())
            outputs = type->getDeviceNames (false);

        const auto index =
            isOpen ? outputs.indexOf (manager.getAudioDeviceSetup().outputDeviceName) : outputs.size();
        outputs.add (noOutput);
        driver.setChoices (drivers, drivers.indexOf (manager.getCurrentAudioDeviceType()));
        output.setChoices (outputs, index);
    }

    void showDevice (juce::AudioIODevice* open)
    {
        const auto status = device.status();
        tone.setButtonText (status == DeviceStatus::none   ? "Open default device"
                            : status == DeviceStatus::lost ? "Open device again"
                                                           : "Play test tone");
        const auto hasDevice = status != DeviceStatus::none && status != DeviceStatus::lost;
        tone.setIcon (hasDevice ? Icon::speaker : Icon::none);
        resized();

        for (auto* combo : std::initializer_list<SettingsCombo*>{ &pair, &buffer, &rate })
        {
            combo->setEnabled (open != nullptr);

            if (open == nullptr)
                combo->setChoices ({}, -1);
        }

        if (open == nullptr)
            return latency.setText ({});

        const auto hz = open->getCurrentSampleRate();
        const auto samples = open->getCurrentBufferSizeSamples();
        const auto sizes = open->getAvailableBufferSizes();
        const auto rates = open->getAvailableSampleRates();
        pair.setChoices (outputPairTexts (open->getOutputChannelNames()),
                         open->getActiveOutputChannels().findNextSetBit (0) / 2);
        buffer.show (choicesOf (std::vector (sizes.begin(), sizes.end()),
                                samples,
                                [hz] (int n) { return bufferSizeText (n, hz); }));
        rate.show (choicesOf (std::vector (rates.begin(), rates.end()), hz, sampleRateText));
        latency.setText (latencyText (open->getOutputLatencyInSamples(), samples, hz));
    }

    void chooseOutput()
    {
        const auto isNone = output.getSelectedItemIndex() == output.getNumItems() - 1;
        finish (changeOutput (
            device, manager.getCurrentAudioDeviceType(), isNone ? juce::String() : output.getText()));
    }

    /** Gives the open device a changed setup. @param edit  (AudioDeviceSetup&, AudioIODevice&) */
    template <typename Edit>
    void change (const Edit& edit)
    {
        if (auto* open = manager.getCurrentAudioDevice())
        {
            auto setup = manager.getAudioDeviceSetup();
            edit (setup, *open);
            finish (changeSetup (device, setup));
        }
    }

    void playOrReopen()
    {
        const auto type = manager.getCurrentAudioDeviceType();

        switch (device.status())
        {
            case DeviceStatus::lost:
                return finish (device.reopen());
            case DeviceStatus::none:
                return finish (type.isEmpty() ? device.reopen() : changeDeviceType (device, type));
            case DeviceStatus::running:
            case DeviceStatus::converting:
                return manager.playTestSound();
        }
    }

    void finish (const juce::Result& result)
    {
        failure = result.getErrorMessage();
        refresh();

        if (result.failed())
            juce::AccessibilityHandler::postAnnouncement (
                failure, juce::AccessibilityHandler::AnnouncementPriority::high);
    }

    const SettingsDialogContext& context;
    PlaybackDevice& device;
    juce::AudioDeviceManager& manager;

    SettingsCombo driver{ "Driver" }, output{ "Output device" }, pair{ "Outputs" };
    ValueCombo<int> buffer{ "Buffer size" };
    ValueCombo<double> rate{ "Sample rate" };
    NoteBox note;
    ActionButton tone{ "Play test tone", ButtonLook::standard, Icon::speaker };
    TextBlock latency{ TextBlock::Kind::hint };

    juce::String failure; // of the last change
};
} // namespace

std::unique_ptr<SettingsPage> makeAudioPage (const SettingsDialogContext& context)
{
    return std::make_unique<AudioPage> (context);
}

} // namespace tessivar
