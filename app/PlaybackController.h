#pragma once

#include "app/DialogPrompts.h"
#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/WaveController.h"
#include "app/settings/SettingsDialog.h"
#include "ui/Buttons.h"
#include "ui/transport/TransportBar.h"

#include <functional>

namespace tessivar
{

/** What the window shows and does of playback: the transport with its notices, the volume, the output meter,
    and the sound device's state in the menu bar. Message thread.
*/
class PlaybackController
{
public:
    PlaybackController (Player& playerToUse,
                        WaveController& waveToUse,
                        const TrackActions& tracksToShow,
                        DialogPrompts& promptsToUse,
                        juce::PropertySet& settingsToUse,
                        const ResourceImages& images);
    ~PlaybackController();

    TransportBar transport;
    DeviceStatusButton deviceStatus;

    void show();
    void showDevice();

    void playOrStop();
    void changeVolume (float byDb);

    /** Shows a notice for some seconds; the action is a link at its end and may be empty. */
    void
    tell (const juce::String& notice, const juce::String& action, std::function<void()> onAction, bool warns);

    /** Called at display rate while something moves. @param elapsed  seconds since the last call */
    void updateMeter (double elapsed);

    std::function<void (double seconds)> onAnimate; // something moves for so long
    std::function<void (SettingsPageId)> onSettings;
    std::function<void()> onDeviceTextChanged;

private:
    void wireTransport();
    void wireNotices();
    void reopenDevice();

    Player& player;
    WaveController& wave;
    const TrackActions& tracks;
    DialogPrompts& prompts;
    juce::PropertySet& settings;
    float volumeDb = 0.0f;
    juce::String loggedDevice;

    JUCE_DECLARE_NON_COPYABLE (PlaybackController)
};

} // namespace tessivar
