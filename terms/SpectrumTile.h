#pragma once

#include "terms/ChannelLayout.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tessivar
{

/** How spectrograms divide time and frequency: 128 bands, evenly spaced in mel (O'Shaughnessy 1987) from
    40 Hz to 20 kHz or, if that is lower, half the sample rate; and columns that are, level by level, twice as
    long as on the level before.
*/
class SpectrumGrid
{
public:
    static constexpr std::size_t numBands = 128;
    static constexpr std::int64_t columnsPerTile = 256;
    static constexpr int coarsestLevel = 24;

    explicit SpectrumGrid (double sampleRate)
        : rate (std::max (sampleRate, 8000.0)), topMel (toMel (std::min (topFrequency, rate / 2.0)))
    {
    }

    /** Samples that one spectrum is computed from: a power of two, about 40 ms. */
    [[nodiscard]] std::size_t windowLength() const
    {
        return std::bit_floor (static_cast<std::size_t> (windowSeconds * rate * 1.5));
    }

    /** Samples from column to column; column i of a level stands for samples [i * hop, (i + 1) * hop). */
    [[nodiscard]] std::int64_t hop (int level) const
    {
        return static_cast<std::int64_t> (windowLength() / 16) << level;
    }

    /** The coarsest level whose columns are no longer than this many samples; the finest one if none is. */
    [[nodiscard]] int levelFor (double samples) const
    {
        auto level = 0;

        while (level < coarsestLevel && static_cast<double> (hop (level + 1)) <= samples)
            ++level;

        return level;
    }

    /** Hz of a band's centre, 0..127 or between. */
    [[nodiscard]] double frequencyOf (double band) const
    {
        return fromMel (bottomMel() + (topMel - bottomMel()) * band / static_cast<double> (numBands - 1));
    }

    [[nodiscard]] double bandOf (double frequency) const
    {
        return (toMel (frequency) - bottomMel()) / (topMel - bottomMel())
               * static_cast<double> (numBands - 1);
    }

private:
    static constexpr double bottomFrequency = 40.0, topFrequency = 20000.0, windowSeconds = 0.04;

    static double toMel (double frequency) { return 1127.0 * math::log (1.0 + frequency / 700.0); }
    static double fromMel (double mel) { return 700.0 * (math::exp (mel / 1127.0) - 1.0); }
    static double bottomMel() { return toMel (bottomFrequency); }

    double rate, topMel;
};

/** A tile's level of the grid, and its place among the tiles of that level, from sample 0 on. */
struct SpectrumPlace
{
    int level = 0;
    std::int64_t index = 0;

    auto operator<=> (const SpectrumPlace&) const = default;
};

/** Levels of 256 columns of a spectrogram: column by column, 128 bytes each, lowest band first. */
struct SpectrumTile
{
    static constexpr std::size_t size =
        static_cast<std::size_t> (SpectrumGrid::columnsPerTile) * SpectrumGrid::numBands;

    SpectrumPlace place;
    std::vector<std::uint8_t> source;
    std::vector<std::uint8_t> kept; // empty where nothing was rendered
    ChannelWeights weights{};       // that made it

    /** Half decibels above -120 dB; 0 is silence. */
    [[nodiscard]] static std::uint8_t byteOf (float levelDb)
    {
        return static_cast<std::uint8_t> (std::clamp (std::round ((levelDb + 120.0f) * 2.0f), 0.0f, 255.0f));
    }

    [[nodiscard]] static float levelDbOf (float byte) { return byte / 2.0f - 120.0f; }
};

} // namespace tessivar
