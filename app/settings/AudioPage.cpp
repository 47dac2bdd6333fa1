#include "app/settings/AudioPage.h"

#include "app/settings/AudioPageState.h"

namespace tessivar
{

namespace
{
constexpr auto noOutput = "No output";
} // namespace

AudioPage::AudioPage (const SettingsDialogContext& contextToUse)
    : SettingsPage ("Audio device"), context (contextToUse)
{
    driver.onChange = [this] { chooseDriver(); };
    output.onChange = [this] { chooseOutput(); };
    pair.onChange = [this] { choosePair(); };
    buffer.onChange = [this] { chooseBuffer(); };
    rate.onChange = [this] { chooseRate(); };
    tone.onClick = [this] { playOrReopen(); };

    for (auto* component : std::initializer_list<juce::Component*>{ &driverLabel,
                                                                    &driver,
                                                                    &outputLabel,
                                                                    &output,
                                                                    &pairLabel,
                                                                    &pair,
                                                                    &bufferLabel,
                                                                    &buffer,
                                                                    &rateLabel,
                                                                    &rate,
                                                                    &note,
                                                                    &tone,
                                                                    &latency })
        addAndMakeVisible (component);
}

void AudioPage::enter()
{
    failure = {};
    context.device.manager().addChangeListener (this);
    listening = true;
    refresh();
}

void AudioPage::leave()
{
    if (std::exchange (listening, false))
        context.device.manager().removeChangeListener (this);
}

void AudioPage::refresh()
{
    showDrivers();
    showOutputs();
    showDevice();
    showNote();
}

void AudioPage::showDrivers()
{
    juce::StringArray names;

    for (auto* type : context.device.manager().getAvailableDeviceTypes())
        names.add (type->getTypeName());

    driver.setChoices (names, names.indexOf (context.device.manager().getCurrentAudioDeviceType()));
}

void AudioPage::showOutputs()
{
    auto& manager = context.device.manager();
    auto* type = manager.getCurrentDeviceTypeObject();
    juce::StringArray names;

    if (type != nullptr)
        names = type->getDeviceNames (false);

    const auto index = manager.getCurrentAudioDevice() != nullptr
                           ? names.indexOf (manager.getAudioDeviceSetup().outputDeviceName)
                           : names.size();
    names.add (noOutput);
    output.setChoices (names, index);
}

void AudioPage::showDevice()
{
    auto& manager = context.device.manager();
    auto* device = manager.getCurrentAudioDevice();

    for (auto* combo : { &pair, &buffer, &rate })
    {
        combo->setEnabled (device != nullptr);

        if (device == nullptr)
            combo->setChoices ({}, -1);
    }

    const auto status = context.device.status();
    tone.setButtonText (status == DeviceStatus::none   ? "Open default device"
                        : status == DeviceStatus::lost ? "Open device again"
                                                       : "Play test tone");
    const auto hasDevice = status != DeviceStatus::none && status != DeviceStatus::lost;
    tone.setIcon (hasDevice ? Icon::speaker : Icon::none);
    resized();
    latency.setText ({});

    if (device == nullptr)
        return;

    const auto names = device->getOutputChannelNames();
    pair.setChoices (outputPairTexts (names), device->getActiveOutputChannels().findNextSetBit (0) / 2);

    const auto currentRate = device->getCurrentSampleRate();
    juce::StringArray bufferTexts, rateTexts;

    for (const auto size : device->getAvailableBufferSizes())
        bufferTexts.add (bufferSizeText (size, currentRate));

    for (const auto available : device->getAvailableSampleRates())
        rateTexts.add (sampleRateText (available));

    buffer.setChoices (bufferTexts,
                       device->getAvailableBufferSizes().indexOf (device->getCurrentBufferSizeSamples()));
    rate.setChoices (rateTexts, device->getAvailableSampleRates().indexOf (currentRate));
    latency.setText (latencyText (
        device->getOutputLatencyInSamples(), device->getCurrentBufferSizeSamples(), currentRate));
}

void AudioPage::showNote()
{
    if (failure.isNotEmpty())
        return note.show (NoteKind::failure, failure);

    auto* device = context.device.manager().getCurrentAudioDevice();
    const auto shown = deviceNote (context.device.status(),
                                   device != nullptr ? device->getCurrentSampleRate() : 0.0,
                                   context.groupRate ? context.groupRate() : 0.0);
    note.show (shown.kind, shown.text);
}

void AudioPage::chooseDriver()
{
    finish (changeDeviceType (context.device, driver.getText()));
}

void AudioPage::chooseOutput()
{
    const auto name =
        output.getSelectedItemIndex() == output.getNumItems() - 1 ? juce::String() : output.getText();
    finish (changeOutput (context.device, context.device.manager().getCurrentAudioDeviceType(), name));
}

void AudioPage::choosePair()
{
    auto* device = context.device.manager().getCurrentAudioDevice();

    if (device == nullptr)
        return;

    auto setup = context.device.manager().getAudioDeviceSetup();
    setup.useDefaultOutputChannels = false;
    setup.outputChannels =
        outputPairChannels (pair.getSelectedItemIndex(), device->getOutputChannelNames().size());
    finish (changeSetup (context.device, setup));
}

void AudioPage::chooseBuffer()
{
    if (auto* device = context.device.manager().getCurrentAudioDevice())
    {
        auto setup = context.device.manager().getAudioDeviceSetup();
        setup.bufferSize = device->getAvailableBufferSizes()[buffer.getSelectedItemIndex()];
        finish (changeSetup (context.device, setup));
    }
}

void AudioPage::chooseRate()
{
    // Holds until a Group of another rate is played: the device then follows the Group where it can.
    if (auto* device = context.device.manager().getCurrentAudioDevice())
    {
        auto setup = context.device.manager().getAudioDeviceSetup();
        setup.sampleRate = device->getAvailableSampleRates()[rate.getSelectedItemIndex()];
        finish (changeSetup (context.device, setup));
    }
}

void AudioPage::playOrReopen()
{
    auto& manager = context.device.manager();
    const auto type = manager.getCurrentAudioDeviceType();

    switch (context.device.status())
    {
        case DeviceStatus::lost:
            return finish (context.device.reopen());
        case DeviceStatus::none:
            return finish (type.isEmpty() ? context.device.reopen()
                                          : changeDeviceType (context.device, type));
        case DeviceStatus::running:
        case DeviceStatus::converting:
            return manager.playTestSound();
    }
}

void AudioPage::finish (const juce::Result& result)
{
    failure = result.wasOk() ? juce::String() : result.getErrorMessage();
    refresh();

    if (result.failed())
        juce::AccessibilityHandler::postAnnouncement (failure,
                                                      juce::AccessibilityHandler::AnnouncementPriority::high);
}

void AudioPage::resized()
{
    const auto area = contentArea();
    const auto columnWidth = (area.getWidth() - columnGap) / 2;
    const auto left = area.withWidth (columnWidth),
               right = area.withTrimmedLeft (area.getWidth() - columnWidth);
    placeField (driverLabel, driver, left);
    placeField (outputLabel, output, right);
    placeField (pairLabel, pair, left.translated (0, rowPitch));
    placeField (bufferLabel, buffer, right.translated (0, rowPitch));
    auto below =
        area.withTop (placeField (rateLabel, rate, area.translated (0, 2 * rowPitch)).getBottom() + 16);
    note.setBounds (below.removeFromTop (38));
    below.removeFromTop (18);
    auto row = below.removeFromTop (smallButtonHeight);
    tone.setSize (80, smallButtonHeight);
    tone.setBounds (row.removeFromLeft (tone.idealWidth()));
    latency.setBounds (row.withTrimmedLeft (13).withSizeKeepingCentre (row.getWidth() - 13, 17));
}

} // namespace tessivar
