#include "benchmarks/SyntheticDrums.h"

#include "benchmarks/FileStorage.h"
#include "engine/AnalysisSettings.h"
#include "engine/numerics/RandomStream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

namespace tessivar::benchmarks
{

namespace
{
constexpr int sampleRate = 44100;

struct Drum
{
    DrumType type;
    double pitchHz, decaySeconds, noiseDecaySeconds, noiseLevel;
    double beats, offset; // a hit every so many beats
};

constexpr std::array<Drum, 8> kit{ { { DrumType::kick, 58.0, 0.18, 0.010, 0.3, 2.0, 0.0 },
                                     { DrumType::kick, 47.0, 0.25, 0.006, 0.1, 2.0, 0.0 },
                                     { DrumType::snare, 190.0, 0.09, 0.110, 0.9, 2.0, 1.0 },
                                     { DrumType::snare, 240.0, 0.06, 0.140, 1.2, 2.0, 1.0 },
                                     { DrumType::hiHat, 6300.0, 0.01, 0.060, 0.8, 0.5, 0.0 },
                                     { DrumType::tomHigh, 165.0, 0.22, 0.015, 0.2, 8.0, 6.5 },
                                     { DrumType::tomLow, 120.0, 0.28, 0.015, 0.2, 8.0, 7.0 },
                                     { DrumType::tomFloor, 80.0, 0.38, 0.015, 0.2, 8.0, 7.5 } } };

const Drum& drumOf (int track)
{
    return kit[static_cast<std::size_t> (track) % kit.size()];
}

std::vector<float> oneHit (const Drum& drum, RandomStream& random)
{
    const auto length = static_cast<std::size_t> (1.2 * sampleRate);
    std::vector<float> samples (length);
    auto phase = 0.0, previous = 0.0;

    for (std::size_t i = 0; i < length; ++i)
    {
        const auto t = static_cast<double> (i) / sampleRate;
        phase += 2.0 * std::numbers::pi * drum.pitchHz * (1.0 + 0.6 * std::exp (-t / 0.02)) / sampleRate;
        const auto noise = 2.0 * static_cast<double> (random.next()) - 1.0;
        const auto bright = noise - 0.7 * previous;
        previous = noise;
        samples[i] =
            static_cast<float> (0.5 * std::sin (phase) * std::exp (-t / drum.decaySeconds)
                                + 0.4 * drum.noiseLevel * bright * std::exp (-t / drum.noiseDecaySeconds));
    }

    return samples;
}

/** The drum alone, as if heard from right above. */
std::vector<float> performance (int track, std::size_t length)
{
    const auto& drum = drumOf (track);
    RandomStream random (100 + static_cast<std::uint64_t> (track));
    const auto hit = oneHit (drum, random);
    std::vector<float> samples (length);
    constexpr double secondsPerBeat = 60.0 / 118.0;

    for (auto beat = drum.offset;; beat += drum.beats)
    {
        const auto late = 0.008 * static_cast<double> (random.next());
        const auto velocity = 0.35f + 0.65f * random.next();
        const auto start = static_cast<std::size_t> ((beat * secondsPerBeat + late) * sampleRate);

        if (start >= length)
            return samples;

        const auto n = std::min (hit.size(), length - start);

        for (std::size_t i = 0; i < n; ++i)
            samples[start + i] += velocity * hit[i];
    }
}
} // namespace

DrumType syntheticDrumType (int track)
{
    return drumOf (track).type;
}

std::string syntheticTrackFile (const std::string& folder, int track)
{
    return folder + "/track" + std::to_string (track);
}

void writeSyntheticDrums (const std::string& folder, int numTracks, int seconds)
{
    const auto length = static_cast<std::size_t> (seconds) * sampleRate;
    std::vector<std::vector<float>> drums (static_cast<std::size_t> (numTracks));

    for (int track = 0; track < numTracks; ++track)
        drums[static_cast<std::size_t> (track)] = performance (track, length);

    for (int track = 0; track < numTracks; ++track)
    {
        RandomStream random (200 + static_cast<std::uint64_t> (track));
        auto mix = drums[static_cast<std::size_t> (track)];

        for (int other = 0; other < numTracks; ++other)
        {
            if (other == track)
                continue;

            const auto level = std::pow (10.0f, -(12.0f + 18.0f * random.next()) / 20.0f);
            const auto delay = 20 + static_cast<std::size_t> (150.0f * random.next());
            const auto& heard = drums[static_cast<std::size_t> (other)];

            for (std::size_t i = delay; i < length; ++i)
                mix[i] += level * heard[i - delay];
        }

        for (auto& x : mix)
            x += 6.0e-5f * (2.0f * random.next() - 1.0f);

        const FloatFile file (syntheticTrackFile (folder, track), static_cast<std::int64_t> (length));

        if (! file.write (0, mix))
            throw std::runtime_error (syntheticTrackFile (folder, track) + ": cannot be written");
    }
}

} // namespace tessivar::benchmarks
