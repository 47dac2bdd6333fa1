#pragma once

#include "terms/ChannelLayout.h"
#include "ui/wave/WaveContent.h"

#include <cmath>
#include <cstdint>
#include <vector>

/** Made-up drum tracks for the tests, pictures and measurements of the wave viewer. */
namespace tessivar::test
{

/** Samples in [-1, 1), equal for equal seeds. */
class WaveNoise
{
public:
    explicit WaveNoise (std::uint64_t seed) : state (seed * 0x9e3779b97f4a7c15u + 1u) {}

    float next()
    {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return static_cast<float> (static_cast<double> (state >> 11) / 4503599627370496.0 - 1.0);
    }

private:
    std::uint64_t state;
};

/** The seven channels of one frame of a kick track: a stroke of the drum every `period` seconds from 0.2 s on
    in channel 0, quieter strokes of another drum halfway between in channel 5, their sum in channel 6.
*/
class WaveDrums
{
public:
    explicit WaveDrums (double strokePeriod = 1.0) : period (strokePeriod) {}

    std::array<float, 7> frame (double seconds)
    {
        const auto own = 0.8 * decay (seconds - 0.2, 0.07) * std::cos (377.0 * seconds);
        const auto leak =
            0.2 * decay (seconds - 0.2 - period / 2.0, 0.11) * static_cast<double> (noise.next());
        const auto kept = static_cast<float> (own), removed = static_cast<float> (leak);
        return { kept, 0.0f, 0.0f, 0.0f, 0.0f, removed, kept + removed };
    }

private:
    double decay (double seconds, double time) const
    {
        return seconds < 0.0 ? 0.0 : std::exp (-std::fmod (seconds, period) / time);
    }

    double period;
    WaveNoise noise{ 5 };
};

/** A whole analysed track of such drums. `firstSeconds` may be less than the length: the rest is still being
    read. */
inline WaveTrack waveTrack (double lengthSeconds,
                            double sampleRate = 48000.0,
                            double period = 1.0,
                            double firstSeconds = 1.0e9)
{
    const auto length = static_cast<std::int64_t> (lengthSeconds * sampleRate);
    auto source = std::make_shared<EnvelopePyramid> (length);
    auto energies = std::make_shared<ChannelEnergyPyramid> (length);
    WaveDrums drums (period);
    for (std::int64_t at = 0; at < length && static_cast<double> (at) < firstSeconds * sampleRate; ++at)
    {
        const auto frame = drums.frame (static_cast<double> (at) / sampleRate);
        energies->append (frame);
        source->append ({ &frame[6], 1 });
    }
    return { "Kick In", juce::Colour (0xff78aeff), sampleRate, length, source, energies };
}

/** Weights that keep channel 0 alone. */
inline constexpr ChannelWeights keepOwnDrum{ 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f };

} // namespace tessivar::test
