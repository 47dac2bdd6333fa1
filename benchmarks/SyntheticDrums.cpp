#include "benchmarks/SyntheticDrums.h"

#include "engine/AnalysisSettings.h"
#include "engine/numerics/RandomStream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <numbers>
#include <span>
#include <stdexcept>
#include <vector>

namespace tessivar::benchmarks
{

namespace
{
constexpr int sampleRate = 44100; // of the sounds; at another rate they sound higher and come sooner

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

/** One drum alone, as if heard from right above: its hits, rendered piece by piece. */
class Player
{
public:
    Player (int track, std::int64_t length)
    {
        const auto& drum = drumOf (track);
        RandomStream random (100 + static_cast<std::uint64_t> (track));
        sound = oneHit (drum, random);
        constexpr double secondsPerBeat = 60.0 / 118.0;

        for (auto beat = drum.offset;; beat += drum.beats)
        {
            const auto late = 0.008 * static_cast<double> (random.next());
            const auto velocity = 0.35f + 0.65f * random.next();
            const auto start = static_cast<std::int64_t> ((beat * secondsPerBeat + late) * sampleRate);

            if (start >= length)
                return;

            hits.push_back ({ start, velocity });
        }
    }

    /** Fills dest with the samples from first on, which may be below 0. */
    void render (std::int64_t first, std::span<float> dest) const
    {
        const auto size = static_cast<std::int64_t> (dest.size());
        std::fill (dest.begin(), dest.end(), 0.0f);

        for (const auto& [start, velocity] : hits)
        {
            const auto begin = std::max (start, first);
            const auto end = std::min (start + static_cast<std::int64_t> (sound.size()), first + size);

            for (auto i = begin; i < end; ++i)
                dest[static_cast<std::size_t> (i - first)] +=
                    velocity * sound[static_cast<std::size_t> (i - start)];
        }
    }

private:
    struct Hit
    {
        std::int64_t start;
        float velocity;
    };

    std::vector<float> sound;
    std::vector<Hit> hits;
};

constexpr std::int64_t longestDelay = 256; // samples, rounded up

/** A close microphone: how loud and how late it hears the drums of the others, and its noise. */
class Microphone
{
public:
    Microphone (int t, int numTracks) : track (t), random (200 + static_cast<std::uint64_t> (track))
    {
        for (int other = 0; other < numTracks; ++other)
        {
            if (other == track)
                continue;

            const auto level = std::pow (10.0f, -(12.0f + 18.0f * random.next()) / 20.0f);
            const auto delay = 20 + static_cast<std::size_t> (150.0f * random.next());
            leaks.push_back ({ static_cast<std::size_t> (other), level, delay });
        }
    }

    /** The next samples; drums begin longestDelay before them. */
    void record (const std::vector<std::vector<float>>& drums, std::span<float> dest)
    {
        std::copy_n (
            drums[static_cast<std::size_t> (track)].begin() + longestDelay, dest.size(), dest.begin());

        for (const auto& leak : leaks)
        {
            const auto* heard = drums[leak.other].data() + longestDelay - leak.delay;

            for (std::size_t i = 0; i < dest.size(); ++i)
                dest[i] += leak.level * heard[i];
        }

        for (auto& x : dest)
            x += 6.0e-5f * (2.0f * random.next() - 1.0f);
    }

private:
    struct Leak
    {
        std::size_t other;
        float level;
        std::size_t delay;
    };

    const int track;
    RandomStream random;
    std::vector<Leak> leaks;
};

void append (std::string& bytes, std::uint32_t value, int numBytes)
{
    for (int i = 0; i < numBytes; ++i)
        bytes.push_back (static_cast<char> (value >> (8 * i)));
}

std::string waveHeader (std::uint32_t numSamples, std::uint32_t rate)
{
    std::string bytes = "RIFF";
    append (bytes, 36 + 3 * numSamples, 4);
    bytes += "WAVEfmt ";
    append (bytes, 16, 4);
    append (bytes, 1, 2); // PCM
    append (bytes, 1, 2); // channel
    append (bytes, rate, 4);
    append (bytes, 3 * rate, 4);
    append (bytes, 3, 2);
    append (bytes, 24, 2);
    bytes += "data";
    append (bytes, 3 * numSamples, 4);
    return bytes;
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

void writeSyntheticDrums (
    const std::string& folder, int numTracks, int seconds, int rate, SyntheticFormat format)
{
    constexpr std::int64_t blockSize = 65536;
    const auto isWave = format == SyntheticFormat::wave24;
    const auto length = static_cast<std::int64_t> (seconds) * rate;
    std::vector<Player> players;
    std::vector<Microphone> microphones;
    std::vector<std::ofstream> files;

    for (int track = 0; track < numTracks; ++track)
    {
        players.emplace_back (track, length);
        microphones.emplace_back (track, numTracks);
        files.emplace_back (syntheticTrackFile (folder, track) + (isWave ? ".wav" : ""), std::ios::binary);

        if (isWave)
            files.back() << waveHeader (static_cast<std::uint32_t> (length),
                                        static_cast<std::uint32_t> (rate));
    }

    std::vector<std::vector<float>> drums (players.size());

    for (std::int64_t start = 0; start < length; start += blockSize)
    {
        const auto size = static_cast<std::size_t> (std::min (blockSize, length - start));

        for (std::size_t i = 0; i < players.size(); ++i)
        {
            drums[i].resize (size + longestDelay);
            players[i].render (start - longestDelay, drums[i]);
        }

        std::vector<float> mix (size);

        for (std::size_t i = 0; i < players.size(); ++i)
        {
            microphones[i].record (drums, mix);
            std::string bytes (reinterpret_cast<const char*> (mix.data()), isWave ? 0 : 4 * size);

            for (std::size_t j = 0; isWave && j < size; ++j)
                append (
                    bytes,
                    static_cast<std::uint32_t> (std::lrint (8388607.0f * std::clamp (mix[j], -1.0f, 1.0f))),
                    3);

            files[i].write (bytes.data(), static_cast<std::streamsize> (bytes.size()));
        }
    }

    for (auto& file : files)
    {
        file.close();

        if (! file)
            throw std::runtime_error (folder + ": the tracks cannot be written");
    }
}

} // namespace tessivar::benchmarks
