#include "app/settings/AudioPageState.h"

#include "model/SampleRateText.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr int numOutputs = 2;

const juce::String dot = juce::String::fromUTF8 (" \xc2\xb7 ");
const juce::String enDash = juce::String::fromUTF8 (" \xe2\x80\x93 ");

/** A channel's name without its number at the end. */
juce::String stem (const juce::String& name)
{
    return name.trimCharactersAtEnd ("0123456789 _-#");
}

/** Whether a name only says that it is one of the outputs. */
bool isGeneric (const juce::String& name)
{
    static const juce::StringArray words{
        "", "channel", "output", "output channel", "out", "playback", "ch"
    };
    return words.contains (name.trim(), true);
}

juce::String milliseconds (int samples, double rate)
{
    return juce::String (1000.0 * samples / rate, 1) + " ms";
}

/** The device manager's state, so that it can be put back. */
std::unique_ptr<juce::XmlElement> stateOf (juce::AudioDeviceManager& manager)
{
    const auto setup = manager.getAudioDeviceSetup();
    auto state = std::make_unique<juce::XmlElement> ("DEVICESETUP");
    state->setAttribute ("deviceType", manager.getCurrentAudioDeviceType());
    state->setAttribute ("audioOutputDeviceName", setup.outputDeviceName);
    state->setAttribute ("audioDeviceRate", setup.sampleRate);
    state->setAttribute ("audioDeviceBufferSize", setup.bufferSize);

    if (! setup.useDefaultOutputChannels)
        state->setAttribute ("audioDeviceOutChans", setup.outputChannels.toString (2));

    return state;
}

/** Why it failed, and that the former device could not be reopened either, if so. */
juce::Result failure (PlaybackDevice& device, const juce::String& reason, const juce::XmlElement* before)
{
    if (before != nullptr)
    {
        const auto error = device.manager().initialise (0, numOutputs, before, false);

        if (device.manager().getCurrentAudioDevice() == nullptr)
            return juce::Result::fail (reason + " The device used before can't be opened either: " + error);
    }

    return juce::Result::fail (reason);
}

} // namespace

juce::String bufferSizeText (int samples, double rate)
{
    const auto count = juce::String (samples) + " samples";
    return rate > 0.0 ? count + dot + milliseconds (samples, rate) : count;
}

juce::StringArray outputPairTexts (const juce::StringArray& channelNames)
{
    juce::StringArray texts;

    for (int i = 0; i < channelNames.size(); i += 2)
    {
        const auto isPair = i + 1 < channelNames.size();
        auto text = isPair ? juce::String (i + 1) + enDash + juce::String (i + 2) : juce::String (i + 1);
        const auto name = stem (channelNames[i]);

        if (isPair && name == stem (channelNames[i + 1]) && ! isGeneric (name))
            text << " (" << name.trim() << ")";

        texts.add (text);
    }

    return texts;
}

juce::BigInteger outputPairChannels (int pair, int numChannels)
{
    juce::BigInteger channels;
    channels.setRange (2 * pair, std::clamp (numChannels - 2 * pair, 0, 2), true);
    return channels;
}

juce::String latencyText (int latencySamples, int bufferSamples, double rate)
{
    if (rate <= 0.0)
        return {};

    return "Output latency " + milliseconds (std::max (latencySamples, bufferSamples), rate);
}

Note deviceNote (DeviceStatus status, double deviceRate, double groupRate)
{
    if (status == DeviceStatus::none)
        return { NoteKind::warning, "No audio device. Everything but sound works." };

    if (status == DeviceStatus::lost)
        return { NoteKind::warning, "The audio device was lost. Open it again, or choose another." };

    if (groupRate <= 0.0)
        return { NoteKind::plain,
                 "No group is open. The device takes the rate of the next one where it can." };

    if (deviceRate == groupRate)
        return { NoteKind::good, "Matches the selected group. Playback is not resampled." };

    return { NoteKind::warning,
             "Device " + sampleRateText (deviceRate) + ", group " + sampleRateText (groupRate)
                 + ". Playback is resampled." };
}

juce::Result changeOutput (PlaybackDevice& device, const juce::String& type, const juce::String& name)
{
    auto& manager = device.manager();

    if (name.isEmpty())
    {
        auto setup = manager.getAudioDeviceSetup();
        setup.inputDeviceName = setup.outputDeviceName = {};
        const auto error = manager.setAudioDeviceSetup (setup, true);
        return error.isEmpty() ? device.save() : juce::Result::fail (error);
    }

    const auto before = manager.getCurrentAudioDevice() != nullptr ? stateOf (manager) : nullptr;

    if (const auto opened = device.openByName (type + ": " + name); opened.failed())
        return failure (device, opened.getErrorMessage(), before.get());

    return device.save();
}

juce::Result changeDeviceType (PlaybackDevice& device, const juce::String& typeName)
{
    for (auto* type : device.manager().getAvailableDeviceTypes())
    {
        if (type->getTypeName() != typeName)
            continue;

        type->scanForDevices();
        const auto names = type->getDeviceNames (false);

        if (names.isEmpty())
            return juce::Result::fail (typeName + " finds no audio device.");

        return changeOutput (device, typeName, names[std::max (0, type->getDefaultDeviceIndex (false))]);
    }

    return juce::Result::fail (typeName + " is not available.");
}

juce::Result changeSetup (PlaybackDevice& device, const juce::AudioDeviceManager::AudioDeviceSetup& setup)
{
    auto& manager = device.manager();
    const auto before = stateOf (manager);

    if (const auto error = manager.setAudioDeviceSetup (setup, true); error.isNotEmpty())
        return failure (device, error, before.get());

    return device.save();
}

} // namespace tessivar
