#include "app/Player.h"

#include "playback/LoudnessMatch.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

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

void putInto (std::set<std::uint32_t>& ids, std::uint32_t id, bool shouldBeIn)
{
    if (shouldBeIn)
        ids.insert (id);
    else
        ids.erase (id);
}
} // namespace

/** Measures one track at a time on its own thread; a newer request stops the one before it. */
class Player::LoudnessWorker
{
public:
    explicit LoudnessWorker (Player& playerToTell) : player (playerToTell) {}
    ~LoudnessWorker() { end(); }

    void measure (const PlaybackTrack& track, double sampleRate, std::int64_t position)
    {
        const Wish wish{ track.id, track.mix.settingA, track.mix.settingB };

        if (track.samples == nullptr || track.samples->numChannels() != channelLayout::numRendered
            || wish == current)
            return;

        end();
        current = wish;
        stop = false;
        thread = std::thread (
            [this, track, sampleRate, position]
            {
                const auto range =
                    LoudnessMatch::rangeAround (position, track.samples->lengthInFrames(), sampleRate);
                const auto match = LoudnessMatch::measure (
                    *track.samples,
                    sampleRate,
                    track.mix.settingA,
                    track.mix.settingB,
                    range,
                    { .shouldStop = [this] { return stop.load(); }, .setProgress = {} });

                if (match)
                    juce::MessageManager::callAsync (
                        [worker = juce::WeakReference<LoudnessWorker> (this), id = track.id, found = *match]
                        {
                            if (worker != nullptr && worker->current.trackId == id)
                                worker->apply (found);
                        });
            });
    }

    [[nodiscard]] LoudnessMatch gainsOf (std::uint32_t trackId) const
    {
        return trackId == current.trackId ? gains : LoudnessMatch();
    }

private:
    struct Wish
    {
        std::uint32_t trackId = 0;
        KnobValues a, b;

        bool operator== (const Wish&) const = default;
    };

    void apply (const LoudnessMatch& found)
    {
        gains = found;

        for (auto& track : player.shownTracks)
            if (track.id == current.trackId)
            {
                track.mix.matchingGainA = gains.gainA;
                track.mix.matchingGainB = gains.gainB;
                player.engine.setMix (track.id, track.mix);
            }
    }

    void end()
    {
        stop = true;

        if (thread.joinable())
            thread.join();
    }

    Player& player;
    Wish current;
    LoudnessMatch gains;
    std::atomic<bool> stop{ false };
    std::thread thread;

    JUCE_DECLARE_WEAK_REFERENCEABLE (LoudnessWorker)
    JUCE_DECLARE_NON_COPYABLE (LoudnessWorker)
};

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
    result.mix.solo = isSolo (track.id);
    result.mix.mute = isMuted (track.id);

    if (loudness != nullptr)
    {
        const auto gains = loudness->gainsOf (track.id);
        result.mix.matchingGainA = gains.gainA;
        result.mix.matchingGainB = gains.gainB;
    }

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
}

void Player::show (const Group::Ptr& group, std::uint32_t selectedTrack)
{
    std::vector<PlaybackTrack> tracks;

    if (group != nullptr)
        for (const auto& track : group->state().tracks)
            tracks.push_back (playbackTrackOf (track));

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

    if (selectedTrack != shownSelection)
        engine.selectTrack (selectedTrack);

    shownSelection = selectedTrack;
    measureLoudness();
}

void Player::measureLoudness()
{
    if (loudness == nullptr)
        return;

    for (const auto& track : shownTracks)
        if (track.id == shownSelection)
            loudness->measure (track, shownRate, engine.position());
}

void Player::setMatchesLoudness (bool shouldMatch)
{
    loudness = shouldMatch ? std::make_unique<LoudnessWorker> (*this) : nullptr;

    for (auto& track : shownTracks)
    {
        track.mix.matchingGainA = track.mix.matchingGainB = 1.0f;
        engine.setMix (track.id, track.mix);
    }

    measureLoudness();
}

void Player::setPlaysWholeGroup (bool shouldPlayAll)
{
    wholeGroup = shouldPlayAll;
    engine.setPlaysWholeGroup (shouldPlayAll);
}

void Player::setSolo (std::uint32_t trackId, bool solo)
{
    putInto (soloTracks, trackId, solo);
    applySoloAndMute();
}

void Player::setMute (std::uint32_t trackId, bool mute)
{
    putInto (mutedTracks, trackId, mute);
    applySoloAndMute();
}

void Player::applySoloAndMute()
{
    for (auto& track : shownTracks)
    {
        track.mix.solo = isSolo (track.id);
        track.mix.mute = isMuted (track.id);
        engine.setMix (track.id, track.mix);
    }
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
