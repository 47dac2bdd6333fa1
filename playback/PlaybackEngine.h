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

/** What went wrong since the engine was made. */
struct PlaybackCounters
{
    std::uint64_t lateBlocks = 0;     // stretches rendered in which an audible track's samples were missing
    std::uint64_t mutedSamples = 0;   // muted for being infinite or not a number
    std::uint64_t clippedSamples = 0; // of the output, beyond PlaybackEngine::outputLimit
    std::uint64_t failedReads = 0;    // of the loaded tracks
};

/** Plays the tracks of a Group from disk: transport, mixing by the Focus and Fine rule, levels.

    It knows no sound device: anyone can call render(), a device's callback or a test as fast as it can.
    render() takes no lock, allocates nothing and touches no file. Everything else belongs to the message
    thread unless stated, and works whether or not anyone renders; changes become audible with the next
    render().

    Tracks are mono and sound alike on the first two outputs. The mix of a single track at gain and volume 1,
    away from fades and ramps, equals renderSuppression() bit for bit.
*/
class PlaybackEngine
{
public:
    /** Samples are clipped here, 12 dB above full scale: no recording gets there, a broken file may. */
    static constexpr float outputLimit = 4.0f;

    /** The thread must be running and outlive this object. */
    explicit PlaybackEngine (juce::TimeSliceThread& readAheadThread, const ReadAheadSettings& settings = {});

    /** No one may be rendering. */
    ~PlaybackEngine();

    // What plays.

    /** Replaces all tracks. A track that keeps id, samples and rate plays on without a gap. The position is
        kept; a loop beyond the new end is cut. Allocates memory for the read-ahead.
    */
    void setTracks (std::span<const PlaybackTrack> tracks, double sampleRate);

    void setMix (std::uint32_t trackId, const PlaybackMix& mix);

    void setChoice (const PlaybackChoice& newChoice);
    void setListening (Listening newListening);
    void setPlaysWholeGroup (bool shouldPlayAll);
    void selectTrack (std::uint32_t trackId);

    void setVolume (float linearGain); // 0..4, ramped

    // Transport.

    /** Starts over when at the end, and at the beginning of a loop when outside it. */
    void play();
    void stop();

    /** Clamped to the Group. While playing, goes on from there as soon as the samples are in memory. */
    void seek (std::int64_t positionInSamples);

    /** Empty ranges, and those under 20 ms, don't loop. A position behind the end of a new loop goes to its
        beginning.
    */
    void setLoop (const std::optional<LoopRange>& newLoop);

    // Current state, callable from any thread but the rendering one.

    [[nodiscard]] bool isPlaying() const;
    [[nodiscard]] std::int64_t position() const;
    [[nodiscard]] std::int64_t lengthInSamples() const { return length.load (std::memory_order_relaxed); }
    [[nodiscard]] double sampleRate() const { return rate.load (std::memory_order_relaxed); }

    /** Whether it plays but still waits for its first samples. */
    [[nodiscard]] bool isWaiting() const { return status.waiting.load (std::memory_order_relaxed); }

    // Message thread.

    [[nodiscard]] std::optional<LoopRange> loop() const { return request.loop; }
    [[nodiscard]] TrackLevels levels (std::uint32_t trackId) const;
    [[nodiscard]] PlaybackCounters counters() const;

    /** Samples of a loaded track that can't be read, whose lastError() says why; null when all could. */
    [[nodiscard]] std::shared_ptr<TrackSamples> unreadableSamples() const;

    /** Largest absolute output samples, left and right, since the last call. */
    [[nodiscard]] std::array<float, 2> takeOutputPeaks();

    /** Deletes what the rendering thread no longer needs; call it now and then from the owner's timer. */
    void collect();

    // Rendering.

    /** Call before the first render() and whenever rendering resumes after a break. No one may be rendering.
    */
    void prepare();

    /** Fills all outputs with numSamples samples, 0 or more; null outputs are skipped. */
    void render (float* const* outputs, int numOutputs, int numSamples);

private:
    struct TrackSet
    {
        std::vector<std::shared_ptr<PlayingTrack>> tracks;
        std::int64_t length = 0;
        double sampleRate = 44100.0;
    };

    /** What the rendering thread reports. */
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
    /** Whether a track that sounds is not among the next ones. */
    [[nodiscard]] bool silencesSoundingTrack (const TrackSet& nextTracks) const;
    void installTracks();
    void startWhenReady();
    void renderChunk (float* mono, int numSamples);
    void renderSegment (const Transport::Segment& segment, float* mono);
    [[nodiscard]] bool mixTrack (PlayingTrack& track, std::int64_t position, int numSamples, float* dest);
    /** Whether playback goes on at this frame, the first of a page, without it: the page is not there. */
    [[nodiscard]] bool hasGapAfter (const PlayingTrack& track, std::int64_t at, bool isLast) const;
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
    TrackSet* next = nullptr;    // waits until current can be replaced
    float currentVolume = 1.0f, volumeAim = 1.0f;
    int volumeRamp = 0; // samples left of the ramp
    bool wasSilent = true;

    ReadAhead readAhead;
};

} // namespace tessivar
