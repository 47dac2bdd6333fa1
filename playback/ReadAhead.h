#pragma once

#include "playback/PlayingTrack.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tessivar
{

/** How far and in what pieces playback reads ahead. */
struct ReadAheadSettings
{
    double seconds = 3.0;      // 0.5..30; takes seconds * rate * 28 bytes of memory per rendered track
    int framesPerRead = 32768; // 8192..65536; a read is never more than 1 MB

    /** Values from any origin, clamped to their ranges. */
    [[nodiscard]] ReadAheadSettings sanitised() const;

    /** Keys of these in the program's settings, as plain numbers. */
    static constexpr const char* secondsKey = "readAheadSeconds";
    static constexpr const char* framesPerReadKey = "readAheadFramesPerRead";

    [[nodiscard]] std::int64_t framesAhead (double sampleRate) const;
    [[nodiscard]] int numPages (double sampleRate) const;
    [[nodiscard]] int framesPerReadOf (int numChannels) const;
};

/** Reads what will be played soon, on a juce::TimeSliceThread owned by someone else.

    Audible tracks come before silent ones, and among them the track whose frames run out first; silent ones
    follow, so that switching to them leaves no gap. The start of a loop is read ahead too. One call reads at
    most 1 MB, so that the thread can be stopped quickly. A failed read is retried after a quarter of a
    second.

    useTimeSlice() belongs to the read-ahead thread, the rest to the message thread.
*/
class ReadAhead final : public juce::TimeSliceClient
{
public:
    /** What it asks the transport; called on the read-ahead thread. */
    struct Clock
    {
        std::function<std::int64_t()>
            position; // that will be played next, also when a jump there is only asked for
        std::function<std::int64_t()> sounding; // what still sounds until then
        std::function<bool()> isRunning;
    };

    ReadAhead (const ReadAheadSettings& settings, Clock clock);

    void setTracks (std::vector<std::shared_ptr<PlayingTrack>> newTracks, double newSampleRate);
    void setLoop (const std::optional<LoopRange>& newLoop);

    int useTimeSlice() override;

    /** Makes the next slice come at once, even while one is running. Any thread but the rendering one. */
    void requestSlice() { sliceRequested.store (true, std::memory_order_release); }

    /** Reads one piece. False when everything wanted is in memory. */
    bool readOnce();

private:
    struct Piece
    {
        std::shared_ptr<PlayingTrack> track;
        std::vector<std::int64_t> wanted; // pages, soonest first
        std::int64_t firstPage = 0;
        int numPages = 0;
        std::int64_t distance = 0; // frames until it is needed
    };

    [[nodiscard]] std::vector<std::int64_t> wantedPages (const PlayingTrack& track,
                                                         std::int64_t position) const;
    [[nodiscard]] std::optional<Piece>
    nextPiece (const std::shared_ptr<PlayingTrack>& track, std::int64_t position, bool isRunning) const;
    [[nodiscard]] std::optional<Piece> mostUrgent();
    void read (const Piece& piece);

    const ReadAheadSettings settings;
    const Clock clock;
    std::atomic<bool> sliceRequested{ false };

    std::mutex tracksLock; // tracks, sampleRate, loop
    std::vector<std::shared_ptr<PlayingTrack>> tracks;
    double sampleRate = 44100.0;
    std::optional<LoopRange> loop;

    std::vector<float> frames; // of the current read
};

} // namespace tessivar
