#pragma once

#include "playback/LatestValue.h"
#include "playback/PlaybackTrack.h"
#include "playback/PlayingTrack.h"
#include "playback/ReadAhead.h"
#include "playback/Transport.h"

#include <juce_core/juce_core.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** Counts of what went wrong since the engine was made. */
struct PlaybackCounters
{
    std::uint64_t lateBlocks = 0;     // stretches rendered in which an audible track's samples were missing
    std::uint64_t mutedSamples = 0;   // that were not a number or infinite
    std::uint64_t clippedSamples = 0; // of the output, beyond PlaybackEngine::outputLimit
    std::uint64_t failedReads = 0;    // of the tracks that are loaded
};

/** Plays the tracks of a Group from disk: transport, mixing by the focus and fine rule, levels.

    It knows no sound device: whoever has one calls render(), a device's callback, a test as fast as it can.
    render() takes no lock, allocates nothing, touches no file. Everything else belongs to the message thread
    unless it says otherwise, and works with and without somebody who renders; what is set becomes audible
    with the next render().

    Tracks are mono and come out of both of the first two outputs alike. The mix of a single track at gain and
    volume 1, away from fades and ramps, is that of renderSuppression() bit for bit.
*/
class PlaybackEngine
{
public:
    /** Samples beyond this, 12 dB above full scale, come out as this: no recording has them, a broken file
        may.
    */
    static constexpr float outputLimit = 4.0f;

    /** The thread must run while this object lives, and outlive it. */
    explicit PlaybackEngine (juce::TimeSliceThread& readAheadThread, const ReadAheadSettings& settings = {});

    /** Nobody may render any more. */
    ~PlaybackEngine();

    // What plays.

    /** Replaces all tracks. Tracks with an id, samples and a rate that were there before play on without a
        gap. The position is kept; a loop beyond the new end is cut. Takes memory for the read-ahead.
    */
    void setTracks (std::span<const PlaybackTrack> tracks, double sampleRate);

    void setMix (std::uint32_t trackId, const PlaybackMix& mix);
    void setListening (Listening newListening);

    void setPlaysWholeGroup (bool shouldPlayAll);
    void selectTrack (std::uint32_t trackId);

    void setVolume (float linearGain); // 0..4, ramped

    // Transport.

    /** At the end it begins anew from the start. */
    void play();
    void stop();

    /** Clamped to the Group. While it plays, it goes on from there as soon as the samples are there. */
    void seek (std::int64_t positionInSamples);

    /** Empty ranges, and those under 20 ms, don't loop. */
    void setLoop (const std::optional<LoopRange>& newLoop);

    // What is the case; any thread but the rendering one.

    [[nodiscard]] bool isPlaying() const;
    [[nodiscard]] std::int64_t position() const;
    [[nodiscard]] std::int64_t lengthInSamples() const { return length.load (std::memory_order_relaxed); }
    [[nodiscard]] double sampleRate() const { return rate.load (std::memory_order_relaxed); }

    /** Whether it plays but is still waiting for the first samples. */
    [[nodiscard]] bool isWaiting() const { return status.waiting.load (std::memory_order_relaxed); }

    // Message thread.

    [[nodiscard]] std::optional<LoopRange> loop() const { return request.loop; }
    [[nodiscard]] TrackLevels levels (std::uint32_t trackId) const;
    [[nodiscard]] PlaybackCounters counters() const;

    /** File and reason, when samples of a track that is loaded can't be read; empty when all could. */
    [[nodiscard]] juce::String readError() const;

    /** Largest absolute output samples, left and right, since the last call. */
    [[nodiscard]] std::array<float, 2> takeOutputPeaks();

    /** Deletes what the rendering thread no longer needs; once in a while, by the owner's timer. */
    void collect();

    // Rendering.

    /** Before the first render(), and whenever rendering starts again after a break. Nobody may be
        rendering.
    */
    void prepare();

    /** Fills all outputs with numSamples samples; null outputs are left out. Any number of samples, 0 too. */
    void render (float* const* outputs, int numOutputs, int numSamples);

private:
    struct TrackSet
    {
        std::vector<std::shared_ptr<PlayingTrack>> tracks;
        std::int64_t length = 0;
        double sampleRate = 44100.0;
    };

    /** What the rendering thread tells. */
    struct Status
    {
        std::atomic<std::int64_t> position{ 0 }, nextSample{ 0 };
        std::atomic<bool> playing{ false }, waiting{ false };
        std::atomic<std::uint32_t> playSerial{ 0 }, seekSerial{ 0 };
    };

    // Message thread.
    [[nodiscard]] std::shared_ptr<PlayingTrack> makeTrack (const PlaybackTrack& track, double newRate) const;
    void updateTargets();
    void sendRequest();
    void wakeReadAhead();
    void publishTracks (std::unique_ptr<TrackSet> set);

    // Rendering thread.
    void adoptTracks();
    [[nodiscard]] bool losesSoundIn (const TrackSet& next) const;
    void installTracks();
    void startWhenReady();
    void renderChunk (float* mono, int numSamples);
    void renderSegment (const Transport::Segment& segment, float* mono);
    [[nodiscard]] bool mixTrack (PlayingTrack& track, std::int64_t position, int numSamples, float* dest);
    [[nodiscard]] bool breaksOffAfter (const PlayingTrack& track, std::int64_t at, bool isLast) const;
    void mixSeam (const Transport::Segment& segment, float* mono);
    void finish (float* mono, int numSamples);
    void publishStatus();

    juce::TimeSliceThread& thread;
    const ReadAheadSettings settings;

    // Message thread.
    std::vector<PlaybackTrack> playbackTracks;
    std::vector<std::shared_ptr<PlayingTrack>>
        playingTracks; // of playbackTracks; null where there are no samples
    PlaybackChoice choice;
    TransportRequest request;

    // Across threads.
    LatestValue<TransportRequest> requests;
    std::atomic<std::int64_t> requestedPosition{ 0 };
    std::atomic<std::uint32_t> requestedSeekSerial{ 0 }, requestedPlaySerial{ 0 };
    std::atomic<bool> requestedPlay{ false };
    std::atomic<float> volume{ 1.0f };
    std::atomic<TrackSet*> incoming{ nullptr }, retired{ nullptr };
    std::atomic<std::int64_t> length{ 0 };
    std::atomic<double> rate{ 44100.0 };
    std::array<std::atomic<float>, 2> outputPeaks{};
    std::atomic<std::uint64_t> lateBlocks{ 0 }, mutedSamples{ 0 }, clippedSamples{ 0 };
    Status status;

    // Rendering thread.
    Transport transport;
    TrackSet* current = nullptr; // null before the first tracks
    TrackSet* next = nullptr;    // waits until current may go
    float currentVolume = 1.0f, volumeAim = 1.0f;
    int volumeRamp = 0; // samples that are left of it
    bool wasSilent = true;

    ReadAhead readAhead;
};

} // namespace tessivar
