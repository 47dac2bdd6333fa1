#include "app/Player.h"

#include "app/EqualLoudness.h"
#include "terms/KnobValues.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr double defaultRate = 44100.0; // Hz, while there is neither a Group nor a device
constexpr auto deviceStateFile = "AudioDeviceSetup.config";
constexpr std::uint32_t lateNoticeInterval = 30000; // ms

/** "take.dls: reason", without the folder: a notice is one short line. */
juce::String readErrorOf (const TrackSamples& samples)
{
    const auto file = samples.location().file;
    return samples.lastError().replace (file.getFullPathName(), file.getFileName());
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
            onNotice (reason, NoticeAction::reopenDevice);
    };
}

Player::~Player() = default;

PlaybackTrack Player::playbackTrackOf (const TrackState& track) const
{
    auto result = PlaybackTrack::of (track);
    result.mix.gain = track.strip.gain();
    result.mix.solo = track.strip.solo;
    result.mix.mute = track.strip.mute;

    if (audition && track.id == shownSelection)
        result.mix.usesSettingB = *audition == KnobSetting::b;

    return result;
}

void Player::start()
{
    // If there is no device, the status at the top right says so.
    [[maybe_unused]] const auto opened = device.open();

    if (shownTracks.empty())
        show ({}, 0);
}

void Player::tick()
{
    device.tick();
    engine.collect();
    const auto counters = engine.counters();
    const auto late = counters.lateBlocks;
    const auto dropouts = device.numDropouts();
    const auto now = juce::Time::getMillisecondCounter();

    // What can't be read is late too, but then the speed of the disk is not to blame.
    if (const auto unreadable = engine.unreadableSamples();
        unreadable != nullptr && counters.failedReads > seenFailedReads && onNotice)
    {
        if (lastReadNotice == 0 || now - lastReadNotice > lateNoticeInterval)
        {
            lastReadNotice = now;
            onNotice ("Audio can't be read: " + readErrorOf (*unreadable), NoticeAction::none);
        }
    }
    else if (counters.failedReads == 0 && (late != seenLateBlocks || dropouts != seenDropouts)
             && (lastLateNotice == 0 || now - lastLateNotice > lateNoticeInterval))
    {
        lastLateNotice = now;
        juce::Logger::writeToLog ("Playback: " + juce::String (late) + " late reads, "
                                  + juce::String (dropouts) + " dropouts since the start");

        if (onNotice)
            onNotice (late != seenLateBlocks ? "Playback cannot keep up"
                                             : "The sound drops out: the computer is busy",
                      NoticeAction::showPerformance);
    }

    seenLateBlocks = late;
    seenFailedReads = counters.failedReads;
    seenDropouts = dropouts;
    matchLoudness (shownTracks); // the playhead may have left what was measured
}

void Player::show (const Group::Ptr& group, std::uint32_t selectedTrack)
{
    if (shownGroup != group)
        kitGains.reset();

    shownGroup = group;
    shownSelection = selectedTrack;
    std::vector<PlaybackTrack> tracks;

    if (group != nullptr)
        for (const auto& track : group->state().tracks)
            tracks.push_back (playbackTrackOf (track));

    matchLoudness (tracks);

    // Without tracks, the device's own rate: nothing is converted, and its status is fine.
    const auto deviceRate = device.callback().deviceRate();
    const auto sampleRate = group != nullptr && group->sampleRate() > 0.0 ? group->sampleRate()
                            : deviceRate > 0.0                            ? deviceRate
                                                                          : defaultRate;

    if (sampleRate != shownRate
        || ! std::equal (tracks.begin(), tracks.end(), shownTracks.begin(), shownTracks.end(), isSameSound))
    {
        const auto rateChanges = sampleRate != shownRate;
        const auto seconds = position();
        const auto loop = engine.loop();
        const auto oldRate = engine.sampleRate();
        engine.setTracks (tracks, sampleRate);

        if (rateChanges)
        {
            // The engine counts samples; what stays the same for the user is the time.
            const auto sampleOf = [&] (std::int64_t old)
            { return samplesAt (static_cast<double> (old) / oldRate); };

            if (loop)
                engine.setLoop (LoopRange{ sampleOf (loop->start), sampleOf (loop->end) });

            engine.seek (samplesAt (seconds));
            device.matchGroupRate();
        }
    }
    else
    {
        for (const auto& track : tracks)
            engine.setMix (track.id, track.mix);
    }

    shownTracks = std::move (tracks);
    shownRate = sampleRate;

    // What is removed from one drum is lost in the sound of all: it is heard alone.
    const PlaybackChoice choice{ listening, wholeGroup && listening != Listening::removed, selectedTrack };

    if (choice != std::exchange (shownChoice, choice))
        engine.setChoice (choice);
}

void Player::matchLoudness (std::vector<PlaybackTrack>& tracks)
{
    if (loudness == nullptr || tracks.empty())
        return;

    loudness->want (tracks,
                    shownGroup->sampleRate(),
                    { Listening::processed, wholeGroup, shownSelection },
                    samplesAt (position()),
                    shownGroup->lengthInSamples());

    auto gains = loudness->gains();

    if (wholeGroup)
    {
        // One gain for all, or their balance would change; and another row's is not known at once.
        if (loudness->isReady())
        {
            const auto selected = std::ranges::find (
                tracks, shownSelection, [] (const PlaybackTrack& track) { return track.id; });
            const auto usesSettingB = selected != tracks.end() && selected->mix.usesSettingB;
            gains.processed.fill (gains.processed[usesSettingB ? 1 : 0]);
            kitGains = gains;
        }

        gains = kitGains.value_or (MatchingGains{});

        if (! loudness->isReady())
            gains.removed = gains.within (1.0f).removed; // of another track, perhaps
    }

    for (auto& track : tracks)
        track.mix.matching = gains;
}

void Player::setListening (Listening newListening)
{
    listening = newListening;
    showAgain();
}

void Player::setMatchesLoudness (bool shouldMatch)
{
    if (shouldMatch == matchesLoudness())
        return;

    loudness.reset();
    kitGains.reset();

    if (shouldMatch)
    {
        loudness = std::make_unique<EqualLoudness>();
        loudness->onMatched = [this]
        {
            showAgain();

            if (onLoudnessMatched)
                onLoudnessMatched();
        };
    }

    showAgain();

    if (onLoudnessMatched)
        onLoudnessMatched();
}

bool Player::isLoudnessKnown() const
{
    return loudness != nullptr && loudness->isReady();
}

std::optional<float> Player::matchingGainDb() const
{
    for (const auto& track : shownTracks)
        if (track.id == shownSelection && loudness != nullptr
            && (wholeGroup ? kitGains.has_value() : loudness->hasGains()))
            return 20.0f * std::log10 (track.mix.matchingGain (listening));

    return std::nullopt;
}

void Player::setPlaysWholeGroup (bool shouldPlayAll)
{
    wholeGroup = shouldPlayAll;
    kitGains.reset();
    showAgain();
}

void Player::setAudition (std::optional<KnobSetting> setting)
{
    audition = setting;
    showAgain();
}

bool Player::canPlay() const
{
    const auto status = device.status();
    return engine.lengthInSamples() > 0 && status != DeviceStatus::none && status != DeviceStatus::lost;
}

void Player::play()
{
    if (! canPlay())
        return;

    dropoutsBefore = device.numDropouts();
    engine.play();
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
