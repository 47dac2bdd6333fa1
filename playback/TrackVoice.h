#pragma once

#include "engine/SuppressionRendering.h"
#include "playback/LatestValue.h"
#include "playback/PlaybackTrack.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace tessivar
{

/** RMS over the last 50 ms, linear, before solo, mute and gain; 0 while nothing plays. */
struct TrackLevels
{
    float source = 0.0f;
    float processed = 0.0f;
    float removed = 0.0f;
};

/** What a track shall sound like: processedGain * processed + sourceGain * source. */
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

    /** The target for what the user set; isHeard says whether solo, mute and the selection let it through. */
    [[nodiscard]] static VoiceTarget forMix (const PlaybackMix& mix, Listening listening, bool isHeard);
};

/** Turns the frames of one track into its share of the mix.

    A new target is reached in rampSeconds, weight by weight in straight lines, so that neither a knob nor a
    switch is heard as a step. When nothing ramps, the processed signal is that of renderSuppression(), bit
    for bit.

    setTarget() belongs to one thread, everything else but the readings to the thread that mixes.
*/
class TrackVoice
{
public:
    static constexpr double rampSeconds = 0.01;
    static constexpr int maxFrames = 512; // per call of mix()
    static constexpr int numRenderedChannels = 7;

    /** numChannels is 1 or 7. The first target is where the voice starts; its gain rises from 0. */
    TrackVoice (int numChannels, double sampleRate, const VoiceTarget& initial);

    void setTarget (const VoiceTarget& newTarget) { target.write (newTarget); }

    /** Takes over the newest target; once per block. */
    void update();

    /** Stands at the target without a ramp. */
    void jumpToTarget();

    /** Whether anything of it is in the mix. */
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

    /** Adds numFrames (at most maxFrames) to dest. frames are interleaved; Edge::fadeIn and fadeOut take the
        edge off where frames before or after them are missing.
    */
    void mix (const float* frames, int numFrames, float* dest, Edge edge = Edge::none);

    /** As mix(), but as if nothing had happened: no ramp goes on and no level is measured. */
    void mixAside (const float* frames, int numFrames, float* dest);

    /** Frames that were not there in time: nothing is added, ramps and levels go on. */
    void skip (int numFrames);

    /** Sets the levels to 0; costs nothing where they are. */
    void clearLevels();

    /** Any thread. */
    [[nodiscard]] TrackLevels levels() const;

    /** Samples that were not a number or infinite and were muted. Any thread. */
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
    VoiceTarget current; // what the ramp leads to
    Ramp ramp;

    // Energies of segments of 5 ms: the one that is filled, and the last 50 ms in a circle.
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
