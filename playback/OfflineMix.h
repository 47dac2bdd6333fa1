#pragma once

#include "playback/TrackVoice.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** What playback sounds like, without a clock: the same voices, fed straight from disk. No fades, ramps or
    limit.
*/
class OfflineMix
{
public:
    OfflineMix (std::span<const PlaybackTrack> tracks, double sampleRate, const PlaybackChoice& choice);

    /** Of the longest track that is heard. */
    [[nodiscard]] std::int64_t lengthInSamples() const { return length; }

    /** Fills dest with the mono mix from start on; silence past the end. False when a track can't be read;
        its samples then know why.
    */
    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest);

private:
    struct Part
    {
        std::shared_ptr<TrackSamples> samples;
        std::unique_ptr<TrackVoice> voice;
    };

    std::vector<Part> parts;
    std::int64_t length = 0;
    std::vector<float> frames; // of one block of one track
};

} // namespace tessivar
