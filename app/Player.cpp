#include "app/Player.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr auto deviceStateFile = "AudioDeviceSetup.config";
constexpr std::uint32_t lateNoticeInterval = 30000; // ms

SuppressionSetting settingOf (KnobValues values)
{
    return { values.focus, values.fine };
}

PlaybackTrack playbackTrackOf (const TrackState& track)
{
    PlaybackTrack result;
    result.id = track.id;
    result.samples = track.hasProcessedOutput() ? track.rendered : track.source;
    result.mix.settingA = settingOf (track.record.knobs (KnobSetting::a));
    result.mix.settingB = settingOf (track.record.knobs (KnobSetting::b));
    result.mix.usesSettingB = track.record.selected() == KnobSetting::b;
    return result;
}

bool isSameSound (const PlaybackTrack& a, const PlaybackTrack& b)
{
    return a.id == b.id && a.samples == b.samples;
}
} // namespace

Player::Player (TessivarWorkspace& workspace, const ReadAheadSettings& readAhead)
    : engine (workspace.readAheadThread(), readAhead),
      device (engine, workspace.folders().settings.getChildFile (deviceStateFile))
{
    device.onLost = [this] (const juce::String& reason)
    {
        if (onNotice)
            onNotice (reason, true);
    };
}

void Player::start()
{
    // Without a device there is nothing to be told: the status at the top right says so.
    [[maybe_unused]] const auto opened = device.open();
}

void Player::tick()
{
    device.tick();
    engine.collect();
    const auto late = engine.counters().lateBlocks;
    const auto now = juce::Time::getMillisecondCounter();

    if (late != seenLateBlocks && (lastLateNotice == 0 || now - lastLateNotice > lateNoticeInterval))
    {
        lastLateNotice = now;

        if (onNotice)
            onNotice ("Playback cannot keep up", false);
    }

    seenLateBlocks = late;
}

void Player::show (const Group::Ptr& group, std::uint32_t selectedTrack)
{
    std::vector<PlaybackTrack> tracks;

    if (group != nullptr)
        for (const auto& track : group->state().tracks)
            tracks.push_back (playbackTrackOf (track));

    const auto sampleRate = group != nullptr && group->sampleRate() > 0.0 ? group->sampleRate() : 44100.0;

    if (! sameAsShown (tracks, sampleRate))
    {
        const auto rateChanges = sampleRate != shownRate;
        engine.setTracks (tracks, sampleRate);

        if (rateChanges)
            device.matchGroupRate();
    }
    else
    {
        for (const auto& track : tracks)
            engine.setMix (track.id, track.mix);
    }

    shownTracks = std::move (tracks);
    shownRate = sampleRate;

    if (selectedTrack != shownSelection)
        engine.selectTrack (selectedTrack);

    shownSelection = selectedTrack;
}

bool Player::sameAsShown (const std::vector<PlaybackTrack>& tracks, double sampleRate) const
{
    return sampleRate == shownRate
           && std::equal (tracks.begin(), tracks.end(), shownTracks.begin(), shownTracks.end(), isSameSound);
}

void Player::setListening (Listening listening)
{
    currentListening = listening;
    engine.setListening (listening);
}

bool Player::canPlay() const
{
    const auto status = device.status();
    return engine.lengthInSamples() > 0 && status != DeviceStatus::none && status != DeviceStatus::lost;
}

void Player::play()
{
    if (canPlay())
        engine.play();
}

void Player::stop()
{
    engine.stop();
}

void Player::playOrStop()
{
    if (isPlaying())
        stop();
    else
        play();
}

void Player::seek (double seconds)
{
    engine.seek (samplesAt (seconds));
}

void Player::setLoop (std::optional<juce::Range<double>> range)
{
    if (range)
        engine.setLoop (LoopRange{ samplesAt (range->getStart()), samplesAt (range->getEnd()) });
    else
        engine.setLoop (std::nullopt);
}

void Player::setVolumeDb (float levelDb)
{
    engine.setVolume (levelDb <= -80.0f ? 0.0f : std::pow (10.0f, levelDb / 20.0f));
}

double Player::position() const
{
    return static_cast<double> (engine.position()) / engine.sampleRate();
}

double Player::duration() const
{
    return static_cast<double> (engine.lengthInSamples()) / engine.sampleRate();
}

std::int64_t Player::samplesAt (double seconds) const
{
    return static_cast<std::int64_t> (std::llround (std::max (0.0, seconds) * engine.sampleRate()));
}

} // namespace tessivar
