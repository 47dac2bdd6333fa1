#pragma once

#include "playback/PlaybackTrack.h"

#include <cstdint>
#include <optional>

namespace tessivar
{

/** What the user wants of the transport; a serial that has changed makes its value a command. */
struct TransportRequest
{
    std::uint32_t playSerial = 0;
    bool play = false;
    std::uint32_t seekSerial = 0;
    std::int64_t seekTo = 0;
    std::optional<LoopRange> loop;
};

/** The one clock of playback: the position in samples at the Group's rate, and how it moves.

    It decides sample by sample what is to be played, not what it sounds like: start and stop with a short
    fade, jumps with a fade out before and a fade in after, loops without a gap. At the seam of a loop the
    last seamSeconds before its end fade out while the same time before its start fades in, with equal power,
    so that the first sample of the loop is heard at full level exactly where the loop begins again. While
    samples are awaited the clock stands.

    Used by the thread that renders.
*/
class Transport
{
public:
    static constexpr double fadeInSeconds = 0.002;
    static constexpr double fadeOutSeconds = 0.008;
    static constexpr double seamSeconds = 0.005;
    static constexpr double shortestLoopSeconds = 0.02; // anything shorter is played through

    /** Samples that fade in before the start of a loop. */
    [[nodiscard]] static std::int64_t seamLength (const LoopRange& loop, double sampleRate);

    /** Stops at once, without a fade; for when no sound goes out anyway. */
    void reset (const TransportRequest& request);

    void setTimeline (std::int64_t lengthInSamples, double sampleRate);
    void adopt (const TransportRequest& request);

    /** A piece of time in which one thing happens. */
    struct Segment
    {
        int length = 0;
        bool isSounding = false;
        std::int64_t position = 0; // of the first sample
        float gain = 0.0f;         // of the first sample
        float gainStep = 0.0f;     // per sample

        // Within the seam of a loop: what fades in, and how far the fade is at the first sample, 0..1.
        std::optional<std::int64_t> seamPosition;
        float seamPhase = 0.0f, seamStep = 0.0f;
    };

    /** The next segment, of at most maxLength samples; the clock moves by it. */
    [[nodiscard]] Segment next (int maxLength);

    /** Waits for samples before it goes on; begin() lets it. */
    [[nodiscard]] bool isWaiting() const { return state == State::waiting; }
    [[nodiscard]] std::int64_t waitedSamples() const { return waited; }
    void begin();

    /** Fades out, stands still until the samples are there, and goes on; nothing when it makes no sound. */
    void interrupt();

    [[nodiscard]] bool isSilent() const { return state == State::stopped || state == State::waiting; }
    [[nodiscard]] bool isPlaying() const;

    /** Where it is, or where a jump that fades out still is about to lead. */
    [[nodiscard]] std::int64_t position() const { return jumpTo.value_or (clock); }

    /** The sample that is heard next if nobody interferes. */
    [[nodiscard]] std::int64_t nextSample() const { return clock; }

    /** The last request that was taken over. */
    [[nodiscard]] const TransportRequest& adopted() const { return wanted; }

    /** The loop that the position is about to run into. */
    [[nodiscard]] std::optional<LoopRange> loopAhead() const;

private:
    enum class State
    {
        stopped,
        waiting,
        playing,
        fadingOut
    };

    void fadeOut (bool andGoOn);
    void fallSilent();
    void adoptLoop();
    void shapeSeam (Segment& segment) const;
    void moveOn (int length);

    State state = State::stopped;
    bool goesOn = false; // after a fade out
    TransportRequest wanted;
    std::optional<LoopRange> loop;      // the one in effect
    std::optional<std::int64_t> jumpTo; // after a fade out
    std::int64_t clock = 0, timelineLength = 0, waited = 0;
    double rate = 44100.0;
    int fadeInLength = 1, fadeOutLength = 1;
    float gain = 0.0f;
    int fadeRemaining = 0; // samples of the fade that is under way, in either direction
};

} // namespace tessivar
