// The rendering thread's part of PlaybackEngine: no lock, no allocation, no file from here on.
#include "playback/PlaybackEngine.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tessivar
{

namespace
{
// Buffered before the clock starts: what a disk may stall, plus half the time it has taken so far, so that a
// barely fast enough disk gets a head start.
constexpr double stallSeconds = 0.5;
constexpr double shareOfWait = 0.5;
constexpr double longestWaitSeconds = 5.0;
} // namespace

void PlaybackEngine::prepare()
{
    transport.reset (requests.read());
    adoptTracks();
    currentVolume = volumeAim = volume.load (std::memory_order_relaxed);
    volumeRamp = 0;

    if (current != nullptr)
    {
        for (auto& track : current->tracks)
        {
            track->voice.jumpToTarget();
            track->voice.clearLevels();
        }
    }

    wasSilent = true;
    publishStatus();
}

void PlaybackEngine::render (float* const* outputs, int numOutputs, int numSamples)
{
    if (outputs == nullptr || numOutputs <= 0 || numSamples <= 0)
        return;

    adoptTracks();
    transport.adopt (requests.read());

    if (current != nullptr)
        for (auto& track : current->tracks)
            track->voice.update();

    for (int done = 0; done < numSamples;)
    {
        std::array<float, TrackVoice::maxFrames> mono;
        const auto count = std::min (numSamples - done, TrackVoice::maxFrames);
        renderChunk (mono.data(), count);

        for (int i = 0; i < numOutputs; ++i)
        {
            if (outputs[i] != nullptr && i < 2)
                std::copy_n (mono.data(), count, outputs[i] + done);
            else if (outputs[i] != nullptr)
                std::fill_n (outputs[i] + done, count, 0.0f);
        }

        done += count;
    }

    publishStatus();
}

void PlaybackEngine::adoptTracks()
{
    if (next == nullptr)
        next = incoming.exchange (nullptr, std::memory_order_acq_rel);

    // The message thread must have collected the previous tracks before these can retire.
    if (next == nullptr || retired.load (std::memory_order_acquire) != nullptr)
        return;

    if (! transport.isSilent() && silencesSoundingTrack (*next))
        transport.interrupt();
    else
        installTracks();
}

bool PlaybackEngine::silencesSoundingTrack (const TrackSet& nextTracks) const
{
    if (current == nullptr)
        return false;

    return std::any_of (current->tracks.begin(),
                        current->tracks.end(),
                        [&] (const auto& track)
                        {
                            return track->voice.isSounding()
                                   && std::find (nextTracks.tracks.begin(), nextTracks.tracks.end(), track)
                                          == nextTracks.tracks.end();
                        });
}

void PlaybackEngine::installTracks()
{
    if (current != nullptr)
        retired.store (current, std::memory_order_release);

    current = next;
    next = nullptr;
    transport.setTimeline (current->length, current->sampleRate);
}

void PlaybackEngine::startWhenReady()
{
    if (! transport.isWaiting() || next != nullptr)
        return;

    const auto rateNow = current != nullptr ? current->sampleRate : 44100.0;
    const auto waited = static_cast<double> (transport.waitedSamples());
    const auto most = settings.framesAhead (rateNow) / 2;
    auto wanted = std::min<std::int64_t> (most, std::llround (stallSeconds * rateNow + shareOfWait * waited));

    if (const auto loopAhead = transport.loopAhead())
        wanted = std::min (wanted, loopAhead->end - transport.position());

    const auto isThere = [&] (const auto& track)
    {
        return ! track->isAudible.load (std::memory_order_relaxed)
               || track->pages.framesAvailable (transport.position(), wanted) >= wanted;
    };

    if (current == nullptr || waited > longestWaitSeconds * rateNow
        || std::all_of (current->tracks.begin(), current->tracks.end(), isThere))
        transport.begin();
}

void PlaybackEngine::renderChunk (float* mono, int numSamples)
{
    std::fill_n (mono, numSamples, 0.0f);

    for (int done = 0; done < numSamples;)
    {
        startWhenReady();
        const auto segment = transport.next (numSamples - done);

        if (segment.isSounding)
            renderSegment (segment, mono + done);

        done += segment.length;
    }

    if (const auto isSilent = transport.isSilent(); isSilent != wasSilent)
    {
        wasSilent = isSilent;

        if (isSilent && current != nullptr)
            for (auto& track : current->tracks)
                track->voice.clearLevels();
    }

    finish (mono, numSamples);
}

void PlaybackEngine::renderSegment (const Transport::Segment& segment, float* mono)
{
    if (current == nullptr)
        return;

    bool isLate = false;

    if (segment.seamPosition)
        mixSeam (segment, mono);

    // mono holds what fades in at the seam; add the rest under the fade out.
    std::array<float, TrackVoice::maxFrames> sum;
    std::fill_n (sum.begin(), segment.length, 0.0f);

    for (auto& track : current->tracks)
    {
        if (track->voice.isSounding())
            isLate = ! mixTrack (*track, segment.position, segment.length, sum.data()) || isLate;
        else
            track->voice.clearLevels();
    }

    if (isLate)
        lateBlocks.fetch_add (1, std::memory_order_relaxed);

    for (int i = 0; i < segment.length; ++i)
    {
        auto sample = sum[static_cast<std::size_t> (i)];

        if (segment.seamPosition)
            sample *= std::cos (std::numbers::pi_v<float> / 2.0f
                                * (segment.seamPhase + segment.seamStep * static_cast<float> (i)));

        mono[i] = (mono[i] + sample) * (segment.gain + segment.gainStep * static_cast<float> (i + 1));
    }
}

bool PlaybackEngine::mixTrack (PlayingTrack& track, std::int64_t position, int numSamples, float* dest)
{
    bool isComplete = true;
    const auto end = std::min (position + numSamples, track.pages.lengthInFrames());

    if (position >= end)
    {
        track.voice.skip (numSamples);
        return true;
    }

    for (auto at = position; at < end;)
    {
        const auto page = FramePages::pageOf (at);
        const auto pageEnd = (page + 1) * FramePages::framesPerPage;
        const auto count = static_cast<int> (std::min (end, pageEnd) - at);

        if (const auto lease = track.pages.lease (page))
        {
            auto edge = track.missedFrames ? TrackVoice::Edge::fadeIn : TrackVoice::Edge::none;

            // A page always ends before the gap: the last chance to stop without a click.
            if (at + count == pageEnd && hasGapAfter (track, pageEnd, pageEnd == position + numSamples))
                edge = TrackVoice::Edge::fadeOut;

            const auto first = static_cast<std::size_t> (at - page * FramePages::framesPerPage)
                               * static_cast<std::size_t> (track.pages.numChannels());
            track.voice.mix (lease->frames() + first, count, dest + (at - position), edge);
            track.missedFrames = false;
        }
        else
        {
            track.voice.skip (count);
            track.missedFrames = true;
            isComplete = false;
        }

        at += count;
    }

    if (const auto rest = position + numSamples - end; rest > 0)
        track.voice.skip (static_cast<int> (rest));

    return isComplete;
}

bool PlaybackEngine::hasGapAfter (const PlayingTrack& track, std::int64_t at, bool isLast) const
{
    const auto goesOn = ! isLast || transport.nextSample() == at;
    return goesOn && at < track.pages.lengthInFrames() && ! track.pages.contains (FramePages::pageOf (at));
}

void PlaybackEngine::mixSeam (const Transport::Segment& segment, float* mono)
{
    for (auto& track : current->tracks)
    {
        if (! track->voice.isSounding())
            continue;

        // Before the first sample of the Group there is silence to fade in from.
        const auto begin = std::max<std::int64_t> (0, *segment.seamPosition);
        const auto end = std::min (*segment.seamPosition + segment.length, track->pages.lengthInFrames());

        for (auto at = begin; at < end;)
        {
            const auto page = FramePages::pageOf (at);
            const auto pageStart = page * FramePages::framesPerPage;
            const auto count = static_cast<int> (std::min (end, pageStart + FramePages::framesPerPage) - at);

            if (const auto lease = track->pages.lease (page))
                track->voice.mixWithoutAdvancing (
                    lease->frames()
                        + static_cast<std::size_t> (at - pageStart)
                              * static_cast<std::size_t> (track->pages.numChannels()),
                    count,
                    mono + (at - *segment.seamPosition));

            at += count;
        }
    }

    for (int i = 0; i < segment.length; ++i)
        mono[i] *= std::sin (std::numbers::pi_v<float> / 2.0f
                             * (segment.seamPhase + segment.seamStep * static_cast<float> (i)));
}

void PlaybackEngine::finish (float* mono, int numSamples)
{
    if (const auto aim = volume.load (std::memory_order_relaxed); aim != volumeAim)
    {
        volumeAim = aim;
        volumeRamp = std::max (1, static_cast<int> (TrackVoice::rampSeconds * sampleRate()));
    }

    float peak = 0.0f;
    std::uint64_t muted = 0, clipped = 0;

    for (int i = 0; i < numSamples; ++i)
    {
        if (volumeRamp > 0)
            currentVolume += (volumeAim - currentVolume) / static_cast<float> (volumeRamp--);

        auto sample = mono[i] * currentVolume;

        if (! std::isfinite (sample))
        {
            sample = 0.0f;
            ++muted;
        }

        mono[i] = std::clamp (sample, -outputLimit, outputLimit);
        clipped += mono[i] != sample ? 1 : 0;
        peak = std::max (peak, std::abs (mono[i]));
    }

    if (muted > 0)
        mutedSamples.fetch_add (muted, std::memory_order_relaxed);

    if (clipped > 0)
        clippedSamples.fetch_add (clipped, std::memory_order_relaxed);

    for (auto& outputPeak : outputPeaks)
        if (peak > outputPeak.load (std::memory_order_relaxed))
            outputPeak.store (peak, std::memory_order_relaxed);
}

void PlaybackEngine::publishStatus()
{
    status.position.store (transport.position(), std::memory_order_relaxed);
    status.nextSample.store (transport.nextSample(), std::memory_order_relaxed);
    status.playing.store (transport.isPlaying(), std::memory_order_relaxed);
    status.waiting.store (transport.isWaiting(), std::memory_order_relaxed);
    status.seekSerial.store (transport.adopted().seekSerial, std::memory_order_release);
    status.playSerial.store (transport.adopted().playSerial, std::memory_order_release);
}

} // namespace tessivar
