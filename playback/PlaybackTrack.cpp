#include "playback/PlaybackTrack.h"

#include "model/GroupState.h"

#include <algorithm>

namespace tessivar
{

float MatchingGains::of (Listening listening, bool usesSettingB) const
{
    switch (listening)
    {
        case Listening::bypassed:
            return source;
        case Listening::removed:
            return removed[usesSettingB ? 1 : 0];
        case Listening::processed:
            break;
    }

    return processed[usesSettingB ? 1 : 0];
}

MatchingGains MatchingGains::within (float largest) const
{
    auto result = *this;

    for (auto* gains : { &result.processed, &result.removed })
        for (auto& gain : *gains)
            gain = std::min (gain, largest);

    return result;
}

PlaybackTrack PlaybackTrack::of (const TrackState& track)
{
    PlaybackTrack result;
    result.id = track.id;
    result.samples = track.hasProcessedOutput() ? track.rendered : track.source;
    result.mix.settingA = track.record.knobs (KnobSetting::a);
    result.mix.settingB = track.record.knobs (KnobSetting::b);
    result.mix.usesSettingB = track.record.selected() == KnobSetting::b;
    return result;
}

bool PlaybackChoice::isHeard (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const
{
    if (! playsWholeGroup)
        return track.id == selectedTrack;

    const auto anySolo = std::any_of (
        tracks.begin(), tracks.end(), [] (const PlaybackTrack& other) { return other.mix.solo; });
    return ! track.mix.mute && (track.mix.solo || ! anySolo);
}

float PlaybackChoice::gainOf (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const
{
    return ! isHeard (track, tracks) ? 0.0f : playsWholeGroup ? track.mix.gain : 1.0f;
}

} // namespace tessivar
