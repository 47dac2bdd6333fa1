#include "playback/PlaybackTrack.h"

#include <algorithm>

namespace tessivar
{

bool PlaybackChoice::isHeard (const PlaybackTrack& track, std::span<const PlaybackTrack> tracks) const
{
    if (! playsWholeGroup)
        return track.id == selectedTrack;

    const auto anySolo = std::any_of (
        tracks.begin(), tracks.end(), [] (const PlaybackTrack& other) { return other.mix.solo; });
    return ! track.mix.mute && (track.mix.solo || ! anySolo);
}

} // namespace tessivar
