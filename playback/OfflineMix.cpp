#include "playback/OfflineMix.h"

#include <algorithm>

namespace tessivar
{

OfflineMix::OfflineMix (std::span<const PlaybackTrack> tracks,
                        double sampleRate,
                        const PlaybackChoice& choice)
{
    for (const auto& track : tracks)
    {
        if (track.samples == nullptr || ! choice.isHeard (track, tracks))
            continue;

        const auto target = VoiceTarget::forTrack (track, tracks, choice);
        parts.push_back ({ track.samples,
                           std::make_unique<TrackVoice> (track.samples->numChannels(), sampleRate, target) });
        parts.back().voice->jumpToTarget();
        length = std::max (length, track.samples->lengthInFrames());
    }
}

bool OfflineMix::read (std::int64_t start, std::span<float> dest)
{
    std::fill (dest.begin(), dest.end(), 0.0f);

    for (auto& [samples, voice] : parts)
    {
        const auto end =
            std::min (samples->lengthInFrames(), start + static_cast<std::int64_t> (dest.size()));
        const auto numChannels = static_cast<std::size_t> (samples->numChannels());

        for (auto at = start; at < end;)
        {
            const auto count = std::min<std::int64_t> (end - at, TrackVoice::maxFrames);
            frames.resize (static_cast<std::size_t> (count) * numChannels);

            if (! samples->readFrames (at, frames))
                return false;

            voice->mix (frames.data(), static_cast<int> (count), dest.data() + (at - start));
            at += count;
        }
    }

    return true;
}

} // namespace tessivar
