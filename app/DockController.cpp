#include "app/DockController.h"

#include "app/TrackPresenter.h"

#include <algorithm>

namespace tessivar
{

DockController::DockController (TrackActions& tracksToUse,
                                const Player& playerToShow,
                                WaveController& waveToUse,
                                const ResourceImages& images)
    : view (images), meter (images), tracks (tracksToUse), player (playerToShow), wave (waveToUse)
{
    view.onFocusChange = [this] (float focus) { tracks.turnKnobs (focus, {}); };
    view.onFineChange = [this] (float fine) { tracks.turnKnobs ({}, fine); };
    view.onGestureStart = [this] { tracks.startKnobGesture(); };
    view.onGestureEnd = [this] { tracks.startKnobGesture(); };
    view.onChooseSetting = [this] (KnobSetting setting, bool ofWholeGroup)
    { tracks.chooseSetting (setting, ofWholeGroup); };
    view.onCopy = [this] { tracks.copySoundingSetting(); };
    view.onReset = [this] { tracks.resetKnobs(); };
    view.onListeningChange = [this] (ListenMode mode) { wave.setListening (mode); };
}

void DockController::show()
{
    const auto track = tracks.track();
    view.setVisible (track != nullptr);
    meter.setVisible (track != nullptr);
    meter.setTake (wave.view.reductionOfTake());

    if (track == nullptr)
        return;

    auto state = dockFor (&track->state(), wave.listening());
    state.equalLoudness = player.matchesLoudness();
    state.matchingGainDb = player.matchingGainDb();
    view.setState (state);
}

void DockController::tick()
{
    view.fadeTick();
    showSuppression();
}

void DockController::showSuppression()
{
    constexpr auto range = static_cast<float> (SuppressionMeterState::numLeds); // dB
    const auto track = tracks.track();

    if (track == nullptr || ! player.isPlaying() || wave.listening() == ListenMode::bypass
        || ! track->state().hasProcessedOutput())
        return meter.getMeter().setLevel (0.0f, 0.0f, range, true);

    const auto levels = player.levels (track->id());
    const auto suppression =
        levels.source > 0.0f ? levelDbOf (levels.source) - levelDbOf (levels.processed) : 0.0f;
    // A hair more, so that a whole dB always lights its LED.
    const auto fraction = std::clamp (suppression / range + 0.0005f, 0.0f, 1.0f);
    meter.getMeter().setLevel (fraction, 0.0f, range, false);
}

} // namespace tessivar
