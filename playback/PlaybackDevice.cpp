#include "playback/PlaybackDevice.h"

#include "model/SampleRateText.h"
#include "platform/AtomicFile.h"
#include "playback/JackDevices.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr int numOutputs = 2;
constexpr juce::int64 largestSettingsFile = 1 << 20; // bytes; real ones have a few hundred

// Names in the state as the device manager writes it.
constexpr const char* stateTag = "DEVICESETUP";
constexpr const char* typeAttribute = "deviceType";

// A device that has called back once must go on; the first call may take a sound server some seconds.
constexpr std::uint32_t longestSilence = 600, longestStart = 4000; // ms
} // namespace

void PlaybackDevice::DeviceManager::createAudioDeviceTypes (juce::OwnedArray<juce::AudioIODeviceType>& types)
{
    juce::AudioDeviceManager::createAudioDeviceTypes (types);

    for (auto index = types.size(); --index >= 0;)
        if (types[index]->getTypeName() == "JACK")
            types.set (index, createJackDevices().release());
}

PlaybackDevice::PlaybackDevice (PlaybackEngine& playbackEngine, const juce::File& settingsFile)
    : engine (playbackEngine), file (settingsFile), deviceCallback (engine)
{
    deviceManager.addAudioCallback (&deviceCallback);
}

PlaybackDevice::~PlaybackDevice()
{
    deviceManager.removeAudioCallback (&deviceCallback);
    deviceManager.closeAudioDevice();
}

juce::Result PlaybackDevice::checkOpened (const juce::String& error)
{
    isLost = false;

    if (deviceManager.getCurrentAudioDevice() == nullptr)
        return juce::Result::fail (error.isNotEmpty() ? error : juce::String ("There is no audio device."));

    matchGroupRate();
    return juce::Result::ok();
}

juce::Result PlaybackDevice::open()
{
    std::unique_ptr<juce::XmlElement> state;

    if (file.getSize() <= largestSettingsFile)
        state = juce::parseXML (file);

    // Damaged settings count as no choice; a type without a device means the user chose none.
    if (state != nullptr && (! state->hasTagName (stateTag) || ! state->hasAttribute (typeAttribute)))
        state.reset();

    return checkOpened (deviceManager.initialise (0, numOutputs, state.get(), true));
}

juce::StringArray PlaybackDevice::outputNames()
{
    juce::StringArray names;

    for (auto* type : deviceManager.getAvailableDeviceTypes())
    {
        type->scanForDevices();

        for (const auto& device : type->getDeviceNames (false))
            names.add (type->getTypeName() + ": " + device);
    }

    return names;
}

juce::Result PlaybackDevice::openByName (const juce::String& name)
{
    for (const auto& full : outputNames())
    {
        const auto type = full.upToFirstOccurrenceOf (": ", false, false);
        const auto device = full.fromFirstOccurrenceOf (": ", false, false);

        if (name != device && name != full)
            continue;

        // A state as in a settings file: unlike a change of type by hand, it doesn't stop at another device
        // first.
        juce::XmlElement state (stateTag);
        state.setAttribute (typeAttribute, type);
        state.setAttribute ("audioOutputDeviceName", device);
        return checkOpened (deviceManager.initialise (0, numOutputs, &state, false));
    }

    return juce::Result::fail ("There is no audio device \"" + name + "\".");
}

juce::Result PlaybackDevice::reopen()
{
    const auto setup = deviceManager.getAudioDeviceSetup();

    if (setup.outputDeviceName.isEmpty())
        return open();

    deviceManager.closeAudioDevice();

    if (auto* type = deviceManager.getCurrentDeviceTypeObject())
        type->scanForDevices();

    auto error = deviceManager.setAudioDeviceSetup (setup, false);

    if (error.isNotEmpty())
        error = deviceManager.initialise (0, numOutputs, deviceManager.createStateXml().get(), true);

    return checkOpened (error);
}

juce::Result PlaybackDevice::save() const
{
    const auto state = deviceManager.createStateXml();

    if (state == nullptr)
        return juce::Result::ok();

    AtomicFile target (file);

    if (auto opened = target.open(); opened.failed())
        return opened;

    state->writeTo (target);
    return target.commit();
}

void PlaybackDevice::matchGroupRate()
{
    auto* device = deviceManager.getCurrentAudioDevice();

    if (device == nullptr || isLost)
        return;

    const auto groupRate = engine.sampleRate();

    if (device->getCurrentSampleRate() != groupRate && device->getAvailableSampleRates().contains (groupRate))
    {
        const auto before = deviceManager.getAudioDeviceSetup();
        auto setup = before;
        setup.sampleRate = groupRate;

        // Not the user's choice, so it stays out of the settings file.
        if (deviceManager.setAudioDeviceSetup (setup, false).isNotEmpty())
            (void) deviceManager.setAudioDeviceSetup (before, false);
    }

    // The Group's rate has changed while the device stayed the same.
    if (deviceCallback.groupRate() != groupRate)
    {
        deviceManager.removeAudioCallback (&deviceCallback);
        deviceManager.addAudioCallback (&deviceCallback);
    }
}

bool PlaybackDevice::hasStarted (std::uint32_t now)
{
    // No matter who started it, this object or a settings page.
    if (deviceCallback.numStarts() == seenStarts)
        return false;

    seenStarts = deviceCallback.numStarts();
    seenCallbacks = deviceCallback.numCallbacks();
    hasCalledBack = false;
    lastSign = now;
    isWatched = true;
    isLost = false;
    return true;
}

bool PlaybackDevice::isAlive (std::uint32_t now)
{
    if (const auto callbacks = deviceCallback.numCallbacks(); callbacks != seenCallbacks)
    {
        seenCallbacks = callbacks;
        hasCalledBack = true;
        lastSign = now;
    }

    return now - lastSign < (hasCalledBack ? longestSilence : longestStart);
}

void PlaybackDevice::tick (std::uint32_t now)
{
    engine.collect();
    const auto isNew = hasStarted (now);
    countOverruns (isNew);

    if (! isWatched || isLost)
        return;

    auto* device = deviceManager.getCurrentAudioDevice();

    if (device == nullptr)
    {
        // Users who choose no device while nothing plays need no message.
        isWatched = false;
        return engine.isPlaying() ? lose ("The audio device is gone.") : void();
    }

    if (! device->isOpen() || ! device->isPlaying())
    {
        const auto error = device->getLastError();
        lose (error.isNotEmpty() ? error : device->getName() + " has stopped.");
    }
    else if (! isNew && ! isAlive (now))
    {
        lose (device->getName() + " no longer answers.");
    }
}

void PlaybackDevice::countOverruns (bool isNew)
{
    const auto* device = deviceManager.getCurrentAudioDevice();
    const auto count =
        device != nullptr ? std::max (0, device->getXRunCount()) : 0; // begins anew with every opening

    if (! isNew && count > seenOverruns && engine.isPlaying() && ! deviceCallback.hasClock())
        overruns += static_cast<std::uint64_t> (count - seenOverruns);

    seenOverruns = count;
}

std::uint64_t PlaybackDevice::numDropouts() const
{
    return overruns + deviceCallback.numMissedBlocks();
}

void PlaybackDevice::lose (const juce::String& reason)
{
    isLost = true;

    // A dead device takes no more blocks; the position is that of its last one.
    if (engine.isPlaying())
        engine.stop();

    if (onLost)
        onLost (reason);
}

DeviceStatus PlaybackDevice::status() const
{
    if (isLost)
        return DeviceStatus::lost;

    if (deviceManager.getCurrentAudioDevice() == nullptr)
        return DeviceStatus::none;

    return deviceCallback.isConverting() ? DeviceStatus::converting : DeviceStatus::running;
}

juce::String PlaybackDevice::statusText() const
{
    const auto rate = sampleRateText (deviceCallback.deviceRate());

    switch (status())
    {
        case DeviceStatus::none:
            break;
        case DeviceStatus::lost:
            return "Audio device lost";
        case DeviceStatus::converting:
            return "Device " + rate + ", group " + sampleRateText (engine.sampleRate());
        case DeviceStatus::running:
            auto* device = deviceManager.getCurrentAudioDevice();
            return device->getTypeName() + ": " + device->getName() + ", " + rate;
    }

    return "No audio device";
}

} // namespace tessivar
