#include "playback/LoudnessMatch.h"

#include "terms/ChannelLayout.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384;

/** Measures the loudness of one signal. */
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
    }

    /** LUFS; minus infinity for silence. */
    [[nodiscard]] double loudness() const
    {
        double result = -HUGE_VAL;
        return ebur128_loudness_global (state, &result) == EBUR128_SUCCESS ? result : -HUGE_VAL;
    }

private:
    ebur128_state* state;
};
} // namespace

std::optional<LoudnessMatch> LoudnessMatch::measure (TrackSamples& samples,
                                                     double sampleRate,
                                                     const KnobValues& settingA,
                                                     const KnobValues& settingB,
                                                     LoopRange range,
                                                     const WorkControl& control)
{
    if (samples.numChannels() != channelLayout::numRendered)
        return LoudnessMatch();

    Meter meterA (sampleRate), meterB (sampleRate);
    const auto ruleA = SuppressionRule::forSetting (settingA);
    const auto ruleB = SuppressionRule::forSetting (settingB);
    const auto end = std::min (range.end, samples.lengthInFrames());
    std::vector<float> frames, rendered;

    for (auto at = std::max<std::int64_t> (0, range.start); at < end;)
    {
        if (control.stopRequested())
            return std::nullopt;

        const auto count = static_cast<std::size_t> (std::min (blockLength, end - at));
        frames.resize (count * static_cast<std::size_t> (channelLayout::numRendered));
        rendered.resize (count);

        if (! samples.readFrames (at, frames))
            return std::nullopt;

        renderSuppression (rendered, frames, ruleA);
        meterA.add (rendered);
        renderSuppression (rendered, frames, ruleB);
        meterB.add (rendered);
        at += static_cast<std::int64_t> (count);
    }

    const auto difference = meterA.loudness() - meterB.loudness();

    if (! std::isfinite (difference))
        return LoudnessMatch();

    const auto gain =
        static_cast<float> (std::pow (10.0, -std::min (std::abs (difference), largestDifferenceDb) / 20.0));
    return difference > 0.0 ? LoudnessMatch{ gain, 1.0f } : LoudnessMatch{ 1.0f, gain };
}

LoopRange LoudnessMatch::rangeAround (std::int64_t position, std::int64_t lengthInSamples, double sampleRate)
{
    const auto length = std::min (lengthInSamples, static_cast<std::int64_t> (longestSeconds * sampleRate));
    const auto start = std::clamp<std::int64_t> (position - length / 2, 0, lengthInSamples - length);
    return { start, start + length };
}

} // namespace tessivar
