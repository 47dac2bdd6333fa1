#pragma once

#include "playback/DeviceCallback.h"
#include "playback/SoundLibraryMessages.h"

#include <juce_audio_devices/juce_audio_devices.h>
#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>

namespace tessivar
{

/** How the sound device and the Group get along. */
enum class DeviceStatus
{
    none,       // there is none, or it can't be opened: everything but sound works
    running,    // at the Group's rate
    converting, // at another rate, see PlaybackDevice::statusText()
    lost        // it was there and died; reopen() tries again
};

/** The sound device that an engine plays through: its choice, its settings file, its rate, and what becomes
    of it.

    Message thread only. The owner calls tick() four times a second; a device that dies, with a word or
    without one, then stops the transport within a second, keeps its position, and onLost is called.
*/
class PlaybackDevice
{
public:
    /** settingsFile holds the device's state as XML between runs ("AudioDeviceSetup.config"); it need not
        exist. Nothing is opened yet: types of devices can be added to manager() first.
    */
    PlaybackDevice (PlaybackEngine& playbackEngine, const juce::File& settingsFile);
    ~PlaybackDevice();

    /** Opens the device of the settings file, or else the system's default. Fails with the reason when
        there is none.
    */
    juce::Result open();

    /** Opens an output by its name, as juce::AudioIODeviceType lists it; "type: name" picks the type too. */
    juce::Result openByName (const juce::String& name);

    /** All outputs that can be opened by name, as "type: name". Looks for them anew. */
    [[nodiscard]] juce::StringArray outputNames();

    /** Closes what is left of a lost device and opens it anew; where it is gone for good, the system's
        default.
    */
    juce::Result reopen();

    /** Writes the user's choice to the settings file, in one step. Nothing when the user never chose. */
    [[nodiscard]] juce::Result save() const;

    /** After the engine was given tracks of another rate: sets the device to it where it can, or else
        converts. Until then the device gets silence. Also worth a call after the user changed the device.
        Nothing when all is well.
    */
    void matchGroupRate();

    /** Looks after the device; milliseconds is any steady clock. */
    void tick (std::uint32_t milliseconds);
    void tick() { tick (juce::Time::getMillisecondCounter()); }

    [[nodiscard]] DeviceStatus status() const;

    /** One line for the user: "JACK: system, 48 kHz", "Device 44.1 kHz, group 48 kHz", "No audio device". */
    [[nodiscard]] juce::String statusText() const;

    [[nodiscard]] const DeviceCallback& callback() const { return deviceCallback; }
    [[nodiscard]] DeviceCallback& callback() { return deviceCallback; }

    /** For a page of settings; listeners of changes register there. */
    [[nodiscard]] juce::AudioDeviceManager& manager() { return deviceManager; }

    /** Called by tick() with the reason when a device was lost. */
    std::function<void (const juce::String& reason)> onLost;

private:
    [[nodiscard]] juce::Result checkOpened (const juce::String& error);
    [[nodiscard]] bool hasStarted (std::uint32_t now);
    [[nodiscard]] bool isAlive (std::uint32_t now);
    void lose (const juce::String& reason);

    /** The device manager looks around as soon as it is made. */
    struct Quiet
    {
        Quiet() { silenceSoundLibraries(); }
    };

    /** The toolkit's, but for the way in which JACK is asked. */
    struct DeviceManager : juce::AudioDeviceManager
    {
        void createAudioDeviceTypes (juce::OwnedArray<juce::AudioIODeviceType>& types) override;
    };

    const Quiet quiet;
    PlaybackEngine& engine;
    const juce::File file;
    DeviceCallback deviceCallback;
    DeviceManager deviceManager;

    bool isWatched = false, isLost = false;
    std::uint64_t seenCallbacks = 0, seenStarts = 0;
    std::uint32_t lastSign = 0; // of life, in the clock of tick()
    bool hasCalledBack = false; // since the device was started

    JUCE_DECLARE_NON_COPYABLE (PlaybackDevice)
};

} // namespace tessivar
