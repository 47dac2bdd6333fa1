#pragma once

#include "app/settings/SettingsWidgets.h"
#include "playback/PlaybackDevice.h"

namespace tessivar
{

/** "256 samples · 5.3 ms" */
[[nodiscard]] juce::String bufferSizeText (int samples, double rate);

/** The outputs of a device two by two: "1 – 2", with their common name behind them where they have one that
    tells something, "3 – 4 (Monitors)"; the last one alone where their number is odd.
*/
[[nodiscard]] juce::StringArray outputPairTexts (const juce::StringArray& channelNames);

/** The channels of a pair, as bits. */
[[nodiscard]] juce::BigInteger outputPairChannels (int pair, int numChannels);

/** "Output latency 9.3 ms"; what the device doesn't tell is at least its buffer. */
[[nodiscard]] juce::String latencyText (int latencySamples, int bufferSamples, double rate);

/** How the device and the Group get along. @param groupRate  Hz; 0: no Group is open */
[[nodiscard]] Note deviceNote (DeviceStatus status, double deviceRate, double groupRate);

/** Opens an output; an empty name closes the device and means to have none. When it can't be opened, the one
    that was open before is opened again as it was and the result says why. The new choice is saved.
*/
[[nodiscard]] juce::Result
changeOutput (PlaybackDevice& device, const juce::String& type, const juce::String& name);

/** Opens the type's own choice of output, as changeOutput() does. */
[[nodiscard]] juce::Result changeDeviceType (PlaybackDevice& device, const juce::String& type);

/** Changes rate, buffer or channels of the open device; if it refuses, all stays as it was. Saved. */
[[nodiscard]] juce::Result changeSetup (PlaybackDevice& device,
                                        const juce::AudioDeviceManager::AudioDeviceSetup& setup);

} // namespace tessivar
