#include "playback/PlaybackEngine.h"

#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr float highestVolume = 4.0f;
constexpr double loopReach = 0.05; // s
} // namespace

PlaybackEngine::PlaybackEngine (juce::TimeSliceThread& readAheadThread,
                                const ReadAheadSettings& readAheadSettings)
    : thread (readAheadThread), settings (readAheadSettings.sanitised()),
      readAhead (settings,
                 { [this] { return position(); },
                   [this] { return status.nextSample.load (std::memory_order_relaxed); },
                   [this] { return isPlaying(); } })
{
    thread.addTimeSliceClient (&readAhead);
}

PlaybackEngine::~PlaybackEngine()
{
    thread.removeTimeSliceClient (&readAhead);

    for (auto* set : { incoming.load(), retired.load(), current, next })
        delete set;
}

std::shared_ptr<PlayingTrack> PlaybackEngine::makeTrack (const PlaybackTrack& track, double newRate) const
{
    const auto numChannels = track.samples != nullptr ? track.samples->numChannels() : 0;

    if (numChannels != channelLayout::numUnrendered && numChannels != channelLayout::numRendered)
        return nullptr;

    return std::make_shared<PlayingTrack> (track,
                                           newRate,
                                           settings.numPages (newRate),
                                           VoiceTarget::forTrack (track, playbackTracks, choice),
                                           choice.isHeard (track, playbackTracks));
}

void PlaybackEngine::setTracks (std::span<const PlaybackTrack> tracks, double newRate)
{
    jassert (newRate > 0.0);
    const auto sameRate = newRate == sampleRate();
    auto oldTracks = std::move (playingTracks);
    playbackTracks.assign (tracks.begin(), tracks.end());
    playingTracks.clear();

    auto set = std::make_unique<TrackSet>();
    set->sampleRate = newRate;

    for (const auto& track : playbackTracks)
    {
        const auto kept = std::find_if (oldTracks.begin(),
                                        oldTracks.end(),
                                        [&] (const auto& old) {
                                            return sameRate && old != nullptr && old->id == track.id
                                                   && old->samples == track.samples;
                                        });
        playingTracks.push_back (kept != oldTracks.end() ? *kept : makeTrack (track, newRate));

        if (playingTracks.back() == nullptr)
            continue;

        set->tracks.push_back (playingTracks.back());
        set->length = std::max (set->length, track.samples->lengthInFrames());
    }

    rate.store (newRate, std::memory_order_relaxed);
    length.store (set->length, std::memory_order_relaxed);
    updateTargets();
    readAhead.setTracks (set->tracks, newRate);
    publishTracks (std::move (set));
    setLoop (request.loop);

    if (position() > lengthInSamples())
        seek (lengthInSamples());

    sendRequest();
}

void PlaybackEngine::publishTracks (std::unique_ptr<TrackSet> set)
{
    collect();
    delete incoming.exchange (set.release(), std::memory_order_acq_rel); // one that was never adopted
}

void PlaybackEngine::collect()
{
    delete retired.exchange (nullptr, std::memory_order_acq_rel);
}

void PlaybackEngine::updateTargets()
{
    for (std::size_t i = 0; i < playingTracks.size(); ++i)
    {
        if (playingTracks[i] == nullptr)
            continue;

        const auto& track = playbackTracks[i];
        playingTracks[i]->isAudible.store (choice.isHeard (track, playbackTracks), std::memory_order_relaxed);
        playingTracks[i]->voice.setTarget (VoiceTarget::forTrack (track, playbackTracks, choice));
    }
}

void PlaybackEngine::setMix (std::uint32_t trackId, const PlaybackMix& mix)
{
    for (auto& track : playbackTracks)
        if (track.id == trackId)
            track.mix = mix;

    updateTargets();
}

void PlaybackEngine::setChoice (const PlaybackChoice& newChoice)
{
    choice = newChoice;
    updateTargets();
    wakeReadAhead();
}

void PlaybackEngine::setListening (Listening newListening)
{
    setChoice ({ newListening, choice.playsWholeGroup, choice.selectedTrack });
}

void PlaybackEngine::setPlaysWholeGroup (bool shouldPlayAll)
{
    setChoice ({ choice.listening, shouldPlayAll, choice.selectedTrack });
}

void PlaybackEngine::selectTrack (std::uint32_t trackId)
{
    setChoice ({ choice.listening, choice.playsWholeGroup, trackId });
}

void PlaybackEngine::setVolume (float linearGain)
{
    volume.store (std::isfinite (linearGain) ? std::clamp (linearGain, 0.0f, highestVolume) : 0.0f,
                  std::memory_order_relaxed);
}

void PlaybackEngine::play()
{
    const auto at = position();

    if (const auto& loop = request.loop; loop && ! isPlaying() && (at < loop->start || at >= loop->end))
        seek (loop->start);
    else if (at >= lengthInSamples())
        seek (0);

    request.play = true;
    ++request.playSerial;
    sendRequest();
}

void PlaybackEngine::stop()
{
    request.play = false;
    ++request.playSerial;
    sendRequest();
}

void PlaybackEngine::seek (std::int64_t positionInSamples)
{
    request.seekTo = std::clamp<std::int64_t> (positionInSamples, 0, lengthInSamples());
    ++request.seekSerial;
    sendRequest();
}

void PlaybackEngine::setLoop (const std::optional<LoopRange>& newLoop)
{
    const auto before = std::exchange (request.loop, std::nullopt);

    if (newLoop)
    {
        const LoopRange range{ std::clamp<std::int64_t> (newLoop->start, 0, lengthInSamples()),
                               std::clamp<std::int64_t> (newLoop->end, 0, lengthInSamples()) };

        if (static_cast<double> (range.length()) >= Transport::shortestLoopSeconds * sampleRate())
            request.loop = range;
    }

    readAhead.setLoop (request.loop);
    sendRequest();

    // Behind its end, or so close before it that what plays gets there first, it would never be heard.
    const auto reach = isPlaying() ? std::llround (loopReach * sampleRate()) : 0;

    if (request.loop && request.loop != before && position() + reach >= request.loop->end)
        seek (request.loop->start);
}

void PlaybackEngine::sendRequest()
{
    requestedPosition.store (request.seekTo, std::memory_order_relaxed);
    requestedPlay.store (request.play, std::memory_order_relaxed);
    requestedSeekSerial.store (request.seekSerial, std::memory_order_release);
    requestedPlaySerial.store (request.playSerial, std::memory_order_release);
    requests.write (request);
    wakeReadAhead();
}

void PlaybackEngine::wakeReadAhead()
{
    readAhead.requestSlice();
    thread.moveToFrontOfQueue (&readAhead);
}

bool PlaybackEngine::isPlaying() const
{
    // A command not carried out yet counts as done.
    if (status.playSerial.load (std::memory_order_acquire)
        != requestedPlaySerial.load (std::memory_order_acquire))
        return requestedPlay.load (std::memory_order_relaxed);

    return status.playing.load (std::memory_order_relaxed);
}

std::int64_t PlaybackEngine::position() const
{
    if (status.seekSerial.load (std::memory_order_acquire)
        != requestedSeekSerial.load (std::memory_order_acquire))
        return requestedPosition.load (std::memory_order_relaxed);

    return status.position.load (std::memory_order_relaxed);
}

TrackLevels PlaybackEngine::levels (std::uint32_t trackId) const
{
    for (const auto& track : playingTracks)
        if (track != nullptr && track->id == trackId)
            return track->voice.levels();

    return {};
}

PlaybackCounters PlaybackEngine::counters() const
{
    PlaybackCounters result;
    result.lateBlocks = lateBlocks.load (std::memory_order_relaxed);
    result.mutedSamples = mutedSamples.load (std::memory_order_relaxed);
    result.clippedSamples = clippedSamples.load (std::memory_order_relaxed);

    for (const auto& track : playingTracks)
    {
        if (track == nullptr)
            continue;

        result.mutedSamples += track->voice.numMutedSamples();
        result.failedReads += track->failedReads.load (std::memory_order_relaxed);
    }

    return result;
}

std::shared_ptr<TrackSamples> PlaybackEngine::unreadableSamples() const
{
    for (const auto& track : playingTracks)
        if (track != nullptr && track->failedReads.load (std::memory_order_relaxed) > 0)
            return track->samples;

    return nullptr;
}

std::array<float, 2> PlaybackEngine::takeOutputPeaks()
{
    return { outputPeaks[0].exchange (0.0f, std::memory_order_relaxed),
             outputPeaks[1].exchange (0.0f, std::memory_order_relaxed) };
}

} // namespace tessivar
