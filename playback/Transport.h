#pragma once

#include "playback/PlaybackTrack.h"

#include <cstdint>
#include <optional>

namespace tessivar
{

/** The user's requests to the transport; a changed serial makes its value a command. */
struct TransportRequest
{
    std::uint32_t playSerial = 0;
    bool play = false;
    std::uint32_t seekSerial = 0;
    std::int64_t seekTo = 0;
    std::optional<LoopRange> loop;
};

/** The only clock of playback: the position in samples at the Group's rate, and how it moves.

    Decides sample by sample what is played, not how it sounds: starts and stops with a short fade, jumps with
    a fade out before and a fade in after, loops without a gap. At a loop's seam the last seamSeconds fade out
    while the same time before its start fades in, with equal power, so that the loop's first sample is heard
    at full level exactly where the loop starts again. While samples are awaited the clock stands still.

    Rendering thread only.
*/
class Transport
{
public:
    static constexpr double fadeInSeconds = 0.002;
    static constexpr double fadeOutSeconds = 0.008;
    static constexpr double seamSeconds = 0.005;
    static constexpr double shortestLoopSeconds = 0.02; // shorter loops are played through

    /** Samples that fade in before the start of a loop. */
    [[nodiscard]] static std::int64_t seamLength (const LoopRange& loop, double sampleRate);

    /** Stops at once, without a fade, for when no sound goes out anyway. */
    void reset (const TransportRequest& request);

    void setTimeline (std::int64_t lengthInSamples, double sampleRate);
    void adopt (const TransportRequest& request);

    /** A stretch of time in which one thing happens. */
    struct Segment
    {
        int length = 0;
        bool isSounding = false;
        std::int64_t position = 0; // of the first sample
        float gain = 0.0f;         // of the first sample
        float gainStep = 0.0f;     // per sample

        // At a loop's seam: what fades in, and the phase of the fade at the first sample, 0..1.
        std::optional<std::int64_t> seamPosition;
        float seamPhase = 0.0f, seamStep = 0.0f;
    };

    /** The next segment, of at most maxLength samples; advances the clock. */
    [[nodiscard]] Segment next (int maxLength);

    /** Whether it waits for samples; begin() ends the wait. */
    [[nodiscard]] bool isWaiting() const { return state == State::waiting; }
    [[nodiscard]] std::int64_t waitedSamples() const { return waited; }
    void begin();

    /** Fades out, waits for the samples, and goes on; does nothing while silent. */
    void interrupt();

    [[nodiscard]] bool isSilent() const { return state == State::stopped || state == State::waiting; }
    [[nodiscard]] bool isPlaying() const;

    /** The position, or the target of a jump that is still fading out. */
    [[nodiscard]] std::int64_t position() const { return jumpTo.value_or (clock); }

    /** The sample heard next if nothing intervenes. */
    [[nodiscard]] std::int64_t nextSample() const { return clock; }

    /** The last request adopted. */
    [[nodiscard]] const TransportRequest& adopted() const { return wanted; }

    /** The loop whose end lies ahead. */
    [[nodiscard]] std::optional<LoopRange> loopAhead() const;

private:
    enum class State
    {
        stopped,
        waiting,
        playing,
        fadingOut
    };

    void fadeOut (bool andResume);
    void fallSilent();
    void adoptLoop();
    void shapeSeam (Segment& segment) const;
    void advance (int length);

    State state = State::stopped;
    bool resumes = false; // after a fade out
    TransportRequest wanted;
    std::optional<LoopRange> loop;      // the one in effect
    std::optional<std::int64_t> jumpTo; // after a fade out
    std::int64_t clock = 0, timelineLength = 0, waited = 0;
    double rate = 44100.0;
    int fadeInLength = 1, fadeOutLength = 1;
    float gain = 0.0f;
    int fadeRemaining = 0; // samples left of the current fade, in either direction
};

} // namespace tessivar
