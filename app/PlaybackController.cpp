#include "app/PlaybackController.h"

#include "app/AppSettings.h"
#include "app/TrackPresenter.h"
#include "model/SampleRateText.h"

#include <utility>

namespace tessivar
{

namespace
{
constexpr double noticeStays = 5.0; // s

const auto dot = juce::String::fromUTF8 (" \xc2\xb7 ");

/** "Studio Interface · 48 kHz · 256 samples", the device by its own name and, where that says little, its
    kind's.
*/
juce::String deviceText (juce::AudioIODevice& device)
{
    const auto isJack = device.getTypeName() == "JACK";
    return (isJack ? "JACK " + device.getName() : device.getName()) + dot
           + sampleRateText (device.getCurrentSampleRate()) + dot
           + juce::String (device.getCurrentBufferSizeSamples()) + " samples";
}
} // namespace

PlaybackController::PlaybackController (Player& playerToUse,
                                        WaveController& waveToUse,
                                        const TrackActions& tracksToShow,
                                        DialogPrompts& promptsToUse,
                                        juce::PropertySet& settingsToUse,
                                        const ResourceImages& images)
    : transport (images), player (playerToUse), wave (waveToUse), tracks (tracksToShow),
      prompts (promptsToUse), settings (settingsToUse),
      volumeDb (static_cast<float> (settings.getDoubleValue (appSettingsKeys::volume, 0.0)))
{
    player.setVolumeDb (volumeDb);
    deviceStatus.onClick = [this] { onSettings (SettingsPageId::audioDevice); };
    wireTransport();
    wireNotices();
}

PlaybackController::~PlaybackController()
{
    settings.setValue (appSettingsKeys::volume, static_cast<double> (volumeDb));
}

void PlaybackController::wireTransport()
{
    transport.onToStart = [this] { wave.seek (0.0); };
    transport.onPlayOrStop = [this] { playOrStop(); };
    transport.onLoop = [this] (bool shouldLoop) { wave.setLooping (shouldLoop); };
    transport.onFollow = [this] (bool shouldFollow) { wave.setFollowing (shouldFollow); };
    transport.onVolume = [this] (float levelDb) { changeVolume (levelDb - volumeDb); };
    transport.onLoopTyped = [this] (juce::Range<double> range) { wave.select (range); };
}

void PlaybackController::wireNotices()
{
    player.onNotice = [this] (const juce::String& text, Player::NoticeAction action)
    {
        switch (action)
        {
            case Player::NoticeAction::none:
                return tell (text, {}, {}, true);
            case Player::NoticeAction::showPerformance:
                return tell (
                    text, "Performance", [this] { onSettings (SettingsPageId::performance); }, true);
            case Player::NoticeAction::reopenDevice:
                return tell (
                    text, "Reopen", [this] { reopenDevice(); }, true);
        }
    };
}

void PlaybackController::reopenDevice()
{
    if (const auto opened = player.device.reopen(); opened.failed())
        prompts.warn ("The audio device can't be opened.", opened.getErrorMessage());

    showDevice();
}

void PlaybackController::playOrStop()
{
    player.playOrStop();
    onAnimate (1.0);
}

void PlaybackController::changeVolume (float byDb)
{
    volumeDb = juce::jlimit (volumeDbForPosition (0.0), volumeDbForPosition (1.0), volumeDb + byDb);
    player.setVolumeDb (volumeDb);
    show();
}

void PlaybackController::tell (const juce::String& notice,
                               const juce::String& action,
                               std::function<void()> onAction,
                               bool warns)
{
    transport.showNotice (notice, action, std::move (onAction), warns);
    onAnimate (noticeStays);
}

void PlaybackController::updateMeter (double elapsed)
{
    const auto peaks = player.engine.takeOutputPeaks();
    transport.getMeter().update ({ levelDbOf (peaks[0]), levelDbOf (peaks[1]) }, elapsed);
}

void PlaybackController::show()
{
    TransportState state;
    state.hasTrack = tracks.track() != nullptr;
    state.playable = player.canPlay();
    state.playing = player.isPlaying();
    state.looping = wave.isLooping();
    state.following = wave.isFollowing();
    state.wholeGroup = player.playsWholeGroup();
    state.position = player.position();
    state.duration = player.duration();
    state.volumeDb = volumeDb;
    state.loop = wave.selection();
    transport.setState (state);
    wave.header.setCanZoomToSelection (state.loop.has_value());
}

void PlaybackController::showDevice()
{
    auto* device = player.device.manager().getCurrentAudioDevice();
    const auto status = player.device.status();
    // Without a Group there is no rate to differ from.
    const auto isRunning =
        status == DeviceStatus::running || (status == DeviceStatus::converting && tracks.group() == nullptr);
    const auto name = isRunning && device != nullptr ? deviceText (*device) : player.device.statusText();
    auto text = name;
    const auto dropouts = player.numDropouts();

    if (dropouts > 0)
        text << dot << juce::String (dropouts) << (dropouts == 1 ? " dropout" : " dropouts");

    if (deviceStatus.getButtonText() == text)
        return;

    // Not every dropout has a line of its own.
    if (std::exchange (loggedDevice, name) != name)
        juce::Logger::writeToLog ("Audio device: " + name);

    deviceStatus.setStatus (text, ! isRunning || dropouts > 0);
    onDeviceTextChanged();
}

} // namespace tessivar
