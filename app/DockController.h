#pragma once

#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/WaveController.h"
#include "ui/TessivarSuppressionMeterComponent.h"
#include "ui/dock/SettingDock.h"

namespace tessivar
{

/** The dock below the waveform and the suppression meter beside it: knobs, settings and what is listened to
    of the selected track, and how much is removed of it. Message thread.
*/
class DockController
{
public:
    DockController (TrackActions& tracksToUse,
                    const Player& playerToShow,
                    WaveController& waveToUse,
                    const ResourceImages& images);

    SettingDock view;
    MeterColumn meter;

    /** Shows the selected track; to be called after the waveform was shown. */
    void show();

    /** Called 30 times a second while something moves. */
    void tick();

private:
    void showSuppression();

    TrackActions& tracks;
    const Player& player;
    WaveController& wave;

    JUCE_DECLARE_NON_COPYABLE (DockController)
};

} // namespace tessivar
