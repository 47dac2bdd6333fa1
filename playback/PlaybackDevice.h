#pragma once

#include "playback/DeviceCallback.h"
#include "playback/SoundLibraryMessages.h"

#include <juce_audio_devices/juce_audio_devices.h>
#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>

namespace tessivar
{

/** State of the sound device, seen from the Group. */
enum class DeviceStatus
{
    none,       // no device, or it can't be opened: everything but sound works
    running,    // at the Group's rate
    converting, // at another rate, see PlaybackDevice::statusText()
    lost        // died; reopen() tries again
};

/** The sound device that an engine plays through: its choice, settings file, rate and failures.

    Message thread only. The owner calls tick() four times a second. When a device dies, with or without a
    message, the transport stops within a second and keeps its position, and onLost is called.
*/
class PlaybackDevice
{
public:
    /** settingsFile holds the device's state as XML between runs ("AudioDeviceSetup.config"); it need not
        exist. Opens nothing yet, so that device types can be added to manager() first.
    */
    PlaybackDevice (PlaybackEngine& playbackEngine, const juce::File& settingsFile);
    ~PlaybackDevice();

    /** Opens the device in the settings file, or else the system's default. Fails with the reason when there
        is none.
    */
    juce::Result open();

    /** Opens an output by its name, as juce::AudioIODeviceType lists it; "type: name" picks the type too. */
    juce::Result openByName (const juce::String& name);

    /** All outputs that openByName() accepts, as "type: name"; scans for them. */
    [[nodiscard]] juce::StringArray outputNames();

    /** Closes what is left of a lost device and opens it again, or the system's default if it is gone for
        good.
    */
    juce::Result reopen();

    /** Writes the user's choice to the settings file, atomically. Does nothing when the user never chose. */
    [[nodiscard]] juce::Result save() const;

    /** Sets the device to the Group's rate if it can, or else converts. Call it after the engine got tracks
        of another rate, until which the device gets silence, or after the user changed the device. Does
        nothing when all is well.
    */
    void matchGroupRate();

    /** Checks on the device; milliseconds is any steady clock. */
    void tick (std::uint32_t milliseconds);
    void tick() { tick (juce::Time::getMillisecondCounter()); }

    [[nodiscard]] DeviceStatus status() const;

    /** One line for the user: "JACK: system, 48 kHz", "Device 44.1 kHz, group 48 kHz", "No audio device". */
    [[nodiscard]] juce::String statusText() const;

    /** How often the device went on without the next block while the engine played, since this object was
        made: the program, or the computer, was too slow. By the server's clock (JACK) or the device's count
        as tick() sees it.
    */
    [[nodiscard]] std::uint64_t numDropouts() const;

    [[nodiscard]] const DeviceCallback& callback() const { return deviceCallback; }
    [[nodiscard]] DeviceCallback& callback() { return deviceCallback; }

    /** For a settings page, which can also listen for changes here. */
    [[nodiscard]] juce::AudioDeviceManager& manager() { return deviceManager; }

    /** Called by tick() with the reason when a device was lost. */
    std::function<void (const juce::String& reason)> onLost;

private:
    [[nodiscard]] juce::Result checkOpened (const juce::String& error);
    [[nodiscard]] bool hasStarted (std::uint32_t now);
    [[nodiscard]] bool isAlive (std::uint32_t now);
    void countOverruns (bool isNew);
    void lose (const juce::String& reason);

    /** Keeps the device manager from scanning as soon as it is made. */
    struct Quiet
    {
        Quiet() { silenceSoundLibraries(); }
    };

    /** The toolkit's, except for how it asks about JACK. */
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
    std::uint64_t seenCallbacks = 0, seenStarts = 0, overruns = 0;
    int seenOverruns = 0;
    std::uint32_t lastSign = 0; // of life, in the clock of tick()
    bool hasCalledBack = false; // since the device was started

    JUCE_DECLARE_NON_COPYABLE (PlaybackDevice)
};

} // namespace tessivar
