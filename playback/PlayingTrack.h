#pragma once

#include "playback/FramePages.h"
#include "playback/TrackVoice.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace tessivar
{

/** A track on its way from disk to ear. The read-ahead thread fills its pages, the rendering thread empties
    them through the voice, the message thread sets the voice's target; it lives until the last of them drops
    it.
*/
struct PlayingTrack
{
    PlayingTrack (
        const PlaybackTrack& track, double sampleRate, int numPages, const VoiceTarget& initial, bool isHeard)
        : id (track.id), samples (track.samples), isAudible (isHeard),
          pages (track.samples->numChannels(), track.samples->lengthInFrames(), numPages),
          voice (track.samples->numChannels(), sampleRate, initial)
    {
    }

    const std::uint32_t id;
    const std::shared_ptr<TrackSamples> samples;
    std::atomic<bool> isAudible; // or about to be; audible tracks are read first

    FramePages pages;
    TrackVoice voice;
    bool missedFrames = false; // rendering thread: the preceding frames came too late

    std::atomic<std::uint32_t> failedReads{ 0 };
    std::uint32_t retryTime = 0; // read-ahead thread: juce::Time::getMillisecondCounter()
};

} // namespace tessivar
