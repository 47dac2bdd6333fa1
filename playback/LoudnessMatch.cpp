#include "playback/LoudnessMatch.h"

#include "playback/OfflineMix.h"
#include "terms/Mathematics.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384;

/** Measures one signal. */
class Meter
{
public:
    explicit Meter (double sampleRate)
        : state (ebur128_init (1, static_cast<unsigned long> (std::lround (sampleRate)), EBUR128_MODE_I))
    {
        if (state == nullptr)
            throw std::bad_alloc();
    }

    ~Meter() { ebur128_destroy (&state); }

    Meter (const Meter&) = delete;
    Meter& operator= (const Meter&) = delete;

    void add (std::span<const float> samples)
    {
        if (ebur128_add_frames_float (state, samples.data(), samples.size()) != EBUR128_SUCCESS)
            throw std::bad_alloc(); // its only failure

        for (const auto sample : samples)
            peak = std::max (peak, std::abs (sample));
    }

    [[nodiscard]] Loudness result() const
    {
        Loudness found{ .peak = peak };
        double lufs = 0.0;

        if (ebur128_loudness_global (state, &lufs) == EBUR128_SUCCESS)
            found.lufs = lufs;

        return found;
    }

private:
    ebur128_state* state;
    float peak = 0.0f;
};

std::optional<Loudness>
loudnessOf (OfflineMix mix, double sampleRate, LoopRange range, const WorkControl& control)
{
    Meter meter (sampleRate);
    std::vector<float> samples;
    const auto end = std::min (range.end, mix.lengthInSamples());

    for (auto at = std::max<std::int64_t> (0, range.start); at < end; at += blockLength)
    {
        samples.resize (static_cast<std::size_t> (std::min (blockLength, end - at)));

        if (control.stopRequested() || ! mix.read (at, samples))
            return std::nullopt;

        meter.add (samples);
    }

    return meter.result();
}
} // namespace

std::optional<LoudnessMatch> LoudnessMatch::measure (std::span<const PlaybackTrack> tracks,
                                                     double sampleRate,
                                                     const PlaybackChoice& choice,
                                                     LoopRange range,
                                                     const WorkControl& control)
{
    std::vector<PlaybackTrack> measured (tracks.begin(), tracks.end());

    const auto signal = [&] (Listening listening, bool usesSettingB)
    {
        for (auto& track : measured)
        {
            track.mix.matching = {};

            if (track.id == choice.selectedTrack)
                track.mix.usesSettingB = usesSettingB;
        }

        const PlaybackChoice heard{ listening,
                                    choice.playsWholeGroup && listening != Listening::removed,
                                    choice.selectedTrack };
        return loudnessOf (OfflineMix (measured, sampleRate, heard), sampleRate, range, control);
    };

    const auto source = signal (Listening::bypassed, false);

    if (! source)
        return std::nullopt;

    LoudnessMatch result{
        .source = *source, .processed = {}, .removed = {}, .isOfGroup = choice.playsWholeGroup
    };

    for (const auto usesSettingB : { false, true })
    {
        const auto processed = signal (Listening::processed, usesSettingB);
        const auto removed = signal (Listening::removed, usesSettingB);

        if (! processed || ! removed)
            return std::nullopt;

        result.processed[usesSettingB ? 1 : 0] = *processed;
        result.removed[usesSettingB ? 1 : 0] = *removed;
    }

    return result;
}

MatchingGains LoudnessMatch::gains() const
{
    auto scale = 1.0f; // what the loudest peak has to come down by
    const auto gainOf = [&] (const Loudness& signal, bool pullsAll)
    {
        const auto difference = source.lufs - signal.lufs;
        const auto wanted =
            std::isfinite (difference) ? math::power (
                10.0, std::clamp (difference, -largestDifferenceDb, largestDifferenceDb) / 20.0)
                                       : 1.0;
        const auto gain = static_cast<float> (wanted);

        if (pullsAll)
            scale = std::max (scale, gain * signal.peak);

        return pullsAll ? gain : gain / std::max (1.0f, gain * signal.peak);
    };

    MatchingGains result{ .source = gainOf (source, true),
                          .processed = { gainOf (processed[0], true), gainOf (processed[1], true) },
                          .removed = { gainOf (removed[0], ! isOfGroup), gainOf (removed[1], ! isOfGroup) } };
    result.source /= scale;

    for (auto* gains : { &result.processed, &result.removed })
        for (auto& gain : *gains)
            gain /= scale;

    return result;
}

void LoudnessMatch::addPeaks (const LoudnessMatch& other)
{
    for (auto [own, others] : { std::pair{ &source, &other.source },
                                std::pair{ &processed[0], &other.processed[0] },
                                std::pair{ &processed[1], &other.processed[1] },
                                std::pair{ &removed[0], &other.removed[0] },
                                std::pair{ &removed[1], &other.removed[1] } })
        own->peak = std::max (own->peak, others->peak);
}

LoopRange LoudnessMatch::rangeAround (std::int64_t position,
                                      std::int64_t lengthInSamples,
                                      double sampleRate,
                                      double seconds)
{
    const auto length = std::min (lengthInSamples, static_cast<std::int64_t> (seconds * sampleRate));
    const auto start = std::clamp<std::int64_t> (position - length / 2, 0, lengthInSamples - length);
    return { start, start + length };
}

} // namespace tessivar
