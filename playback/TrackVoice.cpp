#include "playback/TrackVoice.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr double segmentSeconds = 0.005;
constexpr int edgeLength = 64; // frames
constexpr float highestGain = 16.0f;

int framesOf (double seconds, double sampleRate)
{
    return std::max (1, static_cast<int> (std::lround (seconds * sampleRate)));
}

void fade (float* samples, int numFrames, bool in)
{
    const auto length = std::min (numFrames, edgeLength);

    for (int i = 0; i < length; ++i)
        samples[in ? i : numFrames - 1 - i] *= (static_cast<float> (i) + 0.5f) / static_cast<float> (length);
}
} // namespace

VoiceTarget VoiceTarget::forTrack (const PlaybackTrack& track,
                                   std::span<const PlaybackTrack> tracks,
                                   const PlaybackChoice& choice)
{
    const auto within = [] (float gain, float otherwise)
    { return std::isfinite (gain) ? std::clamp (gain, 0.0f, highestGain) : otherwise; };

    VoiceTarget result;
    result.rule = SuppressionRule::forSetting (track.mix.setting());
    const auto gain = within (choice.gainOf (track, tracks), 0.0f)
                      * within (track.mix.matchingGain (choice.listening), 1.0f);

    switch (choice.listening)
    {
        case Listening::processed:
            result.processedGain = gain;
            break;
        case Listening::bypassed:
            result.sourceGain = gain;
            break;
        case Listening::removed:
            result.processedGain = -gain;
            result.sourceGain = gain;
            break;
    }

    return result;
}

TrackVoice::TrackVoice (int numChannels, double sampleRate, const VoiceTarget& initial)
    : channels (numChannels), rampLength (framesOf (rampSeconds, sampleRate)),
      segmentLength (framesOf (segmentSeconds, sampleRate)), target (initial)
{
    assert (numChannels == 1 || numChannels == numRenderedChannels);
    current.rule = initial.rule;
    settle (ramp);
}

void TrackVoice::settle (Ramp& r) const
{
    r.weights = current.rule.toWeights();
    r.processedGain = current.processedGain;
    r.sourceGain = current.sourceGain;
    r.remaining = 0;
}

void TrackVoice::update()
{
    const auto& wanted = target.read();

    if (wanted == current)
        return;

    current = wanted;
    const auto aims = current.rule.toWeights();
    const auto perFrame = 1.0f / static_cast<float> (rampLength);

    for (std::size_t c = 0; c < aims.size(); ++c)
        ramp.weightSteps[c] = (aims[c] - ramp.weights[c]) * perFrame;

    ramp.processedStep = (current.processedGain - ramp.processedGain) * perFrame;
    ramp.sourceStep = (current.sourceGain - ramp.sourceGain) * perFrame;
    ramp.remaining = rampLength;
}

void TrackVoice::jumpToTarget()
{
    current = target.read();
    settle (ramp);
}

void TrackVoice::render (const float* frames, int numFrames, Ramp& r, Signals& signals) const
{
    const auto count = static_cast<std::size_t> (numFrames);

    if (channels == 1)
    {
        std::copy_n (frames, count, signals.source.begin());
        std::copy_n (frames, count, signals.processed.begin());
        return;
    }

    constexpr auto stride = static_cast<std::size_t> (numRenderedChannels);
    const auto ramped = static_cast<std::size_t> (std::min (numFrames, r.remaining));
    auto weights = r.weights;

    for (std::size_t i = 0; i < count; ++i)
        signals.source[i] = frames[i * stride + stride - 1];

    for (std::size_t i = 0; i < ramped; ++i)
    {
        float sum = 0.0f;

        for (std::size_t c = 0; c < stride; ++c)
        {
            weights[c] += r.weightSteps[c];
            sum += weights[c] * frames[i * stride + c];
        }

        signals.processed[i] = sum;
    }

    r.weights = weights;
    renderSuppression ({ signals.processed.data() + ramped, count - ramped },
                       { frames + ramped * stride, (count - ramped) * stride },
                       current.rule);
}

void TrackVoice::addTo (float* dest, int numFrames, Ramp& r, const Signals& signals) const
{
    const auto count = static_cast<std::size_t> (numFrames);
    const auto ramped = static_cast<std::size_t> (std::min (numFrames, r.remaining));

    for (std::size_t i = 0; i < ramped; ++i)
    {
        r.processedGain += r.processedStep;
        r.sourceGain += r.sourceStep;
        dest[i] += r.processedGain * signals.processed[i] + r.sourceGain * signals.source[i];
    }

    r.remaining -= static_cast<int> (ramped);

    if (ramped > 0 && r.remaining == 0)
        settle (r);

    if (r.processedGain == 0.0f && r.sourceGain == 0.0f)
        return;

    for (std::size_t i = ramped; i < count; ++i)
        dest[i] += r.processedGain * signals.processed[i] + r.sourceGain * signals.source[i];
}

void TrackVoice::mix (const float* frames, int numFrames, float* dest, Edge edge)
{
    assert (numFrames > 0 && numFrames <= maxFrames);
    Signals signals; // uninitialised: every element is written before it is read
    render (frames, numFrames, ramp, signals);

    if (edge != Edge::none)
    {
        fade (signals.processed.data(), numFrames, edge == Edge::fadeIn);
        fade (signals.source.data(), numFrames, edge == Edge::fadeIn);
    }

    if (const auto broken = muteBroken (signals, numFrames); broken > 0)
        mutedSamples.fetch_add (static_cast<std::uint64_t> (broken), std::memory_order_relaxed);

    measure (signals, numFrames);
    addTo (dest, numFrames, ramp, signals);
}

void TrackVoice::mixWithoutAdvancing (const float* frames, int numFrames, float* dest)
{
    assert (numFrames > 0 && numFrames <= maxFrames);
    Signals signals;
    auto aside = ramp;
    render (frames, numFrames, aside, signals);
    (void) muteBroken (signals, numFrames);
    addTo (dest, numFrames, aside, signals);
}

void TrackVoice::skip (int numFrames)
{
    Signals signals;
    std::fill_n (signals.processed.begin(), numFrames, 0.0f);
    std::fill_n (signals.source.begin(), numFrames, 0.0f);
    measure (signals, numFrames);

    const auto ramped = static_cast<float> (std::min (numFrames, ramp.remaining));

    for (std::size_t c = 0; c < ramp.weights.size(); ++c)
        ramp.weights[c] += ramped * ramp.weightSteps[c];

    ramp.processedGain += ramped * ramp.processedStep;
    ramp.sourceGain += ramped * ramp.sourceStep;
    ramp.remaining -= static_cast<int> (ramped);

    if (ramp.remaining == 0)
        settle (ramp);
}

int TrackVoice::muteBroken (Signals& signals, int numFrames) const
{
    const auto count = static_cast<std::size_t> (numFrames);
    float test = 0.0f;

    // x - x is 0 for finite numbers and nothing else.
    for (std::size_t i = 0; i < count; ++i)
        test += (signals.processed[i] - signals.processed[i]) + (signals.source[i] - signals.source[i]);

    if (test == 0.0f)
        return 0;

    int numBroken = 0;

    for (std::size_t i = 0; i < count; ++i)
    {
        if (std::isfinite (signals.processed[i]) && std::isfinite (signals.source[i]))
            continue;

        ++numBroken;
        signals.processed[i] = signals.source[i] = 0.0f;
    }

    return numBroken;
}

void TrackVoice::measure (const Signals& signals, int numFrames)
{
    levelsAreClear = false;

    for (int i = 0; i < numFrames;)
    {
        const auto stop = std::min (numFrames, i + segmentLength - filled);
        filled += stop - i;

        for (; i < stop; ++i)
        {
            const auto s = signals.source[static_cast<std::size_t> (i)];
            const auto p = signals.processed[static_cast<std::size_t> (i)];
            filling.source += s * s;
            filling.processed += p * p;
            filling.removed += (s - p) * (s - p);
        }

        if (filled == segmentLength)
            closeSegment();
    }
}

void TrackVoice::closeSegment()
{
    segments[nextSegment] = filling;
    nextSegment = (nextSegment + 1) % numSegments;
    filling = {};
    filled = 0;
    Energies sum;

    for (const auto& segment : segments)
    {
        sum.source += segment.source;
        sum.processed += segment.processed;
        sum.removed += segment.removed;
    }

    const auto count = static_cast<float> (numSegments) * static_cast<float> (segmentLength);
    sourceLevel.store (std::sqrt (sum.source / count), std::memory_order_relaxed);
    processedLevel.store (std::sqrt (sum.processed / count), std::memory_order_relaxed);
    removedLevel.store (std::sqrt (sum.removed / count), std::memory_order_relaxed);
}

void TrackVoice::clearLevels()
{
    if (levelsAreClear)
        return;

    levelsAreClear = true;
    segments.fill ({});
    filling = {};
    filled = 0;
    sourceLevel.store (0.0f, std::memory_order_relaxed);
    processedLevel.store (0.0f, std::memory_order_relaxed);
    removedLevel.store (0.0f, std::memory_order_relaxed);
}

TrackLevels TrackVoice::levels() const
{
    return { sourceLevel.load (std::memory_order_relaxed),
             processedLevel.load (std::memory_order_relaxed),
             removedLevel.load (std::memory_order_relaxed) };
}

} // namespace tessivar
