#pragma once

#include "engine/SuppressionRendering.h"
#include "playback/LatestValue.h"
#include "playback/PlaybackTrack.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

namespace tessivar
{

/** RMS over the last 50 ms, linear, before solo, mute and gain; 0 while nothing plays. */
struct TrackLevels
{
    float source = 0.0f;
    float processed = 0.0f;
    float removed = 0.0f;
};

/** What a track should sound like: processedGain * processed + sourceGain * source. */
struct VoiceTarget
{
    SuppressionRule rule;
    float processedGain = 0.0f;
    float sourceGain = 0.0f;

    bool operator== (const VoiceTarget& other) const
    {
        return rule.channelWeight == other.rule.channelWeight && rule.back == other.rule.back
               && processedGain == other.processedGain && sourceGain == other.sourceGain;
    }

    /** The target for one of the tracks. */
    [[nodiscard]] static VoiceTarget forTrack (const PlaybackTrack& track,
                                               std::span<const PlaybackTrack> tracks,
                                               const PlaybackChoice& choice);
};

/** Turns the frames of one track into its share of the mix.

    Reaches a new target within rampSeconds, each weight in a straight line, so that neither knobs nor
    switches are heard as steps. While nothing ramps, the processed signal equals renderSuppression() bit for
    bit.

    setTarget() belongs to one thread, everything else except the readings to the thread that mixes.
*/
class TrackVoice
{
public:
    static constexpr double rampSeconds = 0.01;
    static constexpr int maxFrames = 512; // per call of mix()
    static constexpr int numRenderedChannels = 7;

    /** numChannels is 1 or 7. The voice starts at the initial target, its gain rising from 0. */
    TrackVoice (int numChannels, double sampleRate, const VoiceTarget& initial);

    void setTarget (const VoiceTarget& newTarget) { target.write (newTarget); }

    /** Takes over the newest target; call once per block. */
    void update();

    /** Goes to the target without a ramp. */
    void jumpToTarget();

    /** Whether it contributes to the mix. */
    [[nodiscard]] bool isSounding() const
    {
        return ramp.remaining > 0 || ramp.processedGain != 0.0f || ramp.sourceGain != 0.0f;
    }

    enum class Edge
    {
        none,
        fadeIn,
        fadeOut
    };

    /** Adds numFrames (at most maxFrames) interleaved frames to dest. Edge::fadeIn and fadeOut prevent a
        click where the frames before or after are missing.
    */
    void mix (const float* frames, int numFrames, float* dest, Edge edge = Edge::none);

    /** Like mix(), but leaves ramps and levels alone. */
    void mixWithoutAdvancing (const float* frames, int numFrames, float* dest);

    /** For frames that came too late: adds nothing, advances ramps and levels. */
    void skip (int numFrames);

    /** Sets the levels to 0; free if they already are. */
    void clearLevels();

    /** Any thread. */
    [[nodiscard]] TrackLevels levels() const;

    /** Samples muted because they were infinite or not a number. Any thread. */
    [[nodiscard]] std::uint64_t numMutedSamples() const
    {
        return mutedSamples.load (std::memory_order_relaxed);
    }

private:
    struct Ramp
    {
        std::array<float, numRenderedChannels> weights{};
        std::array<float, numRenderedChannels> weightSteps{};
        float processedGain = 0.0f, processedStep = 0.0f;
        float sourceGain = 0.0f, sourceStep = 0.0f;
        int remaining = 0; // frames
    };

    struct Signals
    {
        std::array<float, maxFrames> processed, source;
    };

    void render (const float* frames, int numFrames, Ramp& ramp, Signals& signals) const;
    void addTo (float* dest, int numFrames, Ramp& ramp, const Signals& signals) const;
    void settle (Ramp& ramp) const;
    void measure (const Signals& signals, int numFrames);
    void closeSegment();
    [[nodiscard]] int muteBroken (Signals& signals, int numFrames) const;

    const int channels;
    const int rampLength, segmentLength; // frames
    LatestValue<VoiceTarget> target;
    VoiceTarget current; // where the ramp leads
    Ramp ramp;

    // Energies of 5 ms segments: the one being filled, and a ring of the last 50 ms.
    struct Energies
    {
        float source = 0.0f, processed = 0.0f, removed = 0.0f;
    };

    static constexpr std::size_t numSegments = 10;
    std::array<Energies, numSegments> segments{};
    std::size_t nextSegment = 0;
    Energies filling;
    int filled = 0; // frames
    bool levelsAreClear = true;

    std::atomic<float> sourceLevel{ 0.0f }, processedLevel{ 0.0f }, removedLevel{ 0.0f };
    std::atomic<std::uint64_t> mutedSamples{ 0 };
};

} // namespace tessivar
