#include "jobs/SpectrumReading.h"

#include "tests/support/MemorySamples.h"

#include <catch2/catch.hpp>

#include <cmath>
#include <limits>
#include <numbers>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr ChannelWeights keepFirst{ 1.0f, 0, 0, 0, 0, 0, 0 };

/** Seconds of a track whose first component is a sine of 1 kHz at -20 dB, whose residual is one of 5 kHz at
    -26 dB in the second half. */
std::vector<float> twoTones (double rate, double seconds)
{
    std::vector<float> frames;
    const auto length = static_cast<std::size_t> (rate * seconds);

    for (std::size_t i = 0; i < length; ++i)
    {
        const auto turn = 2.0 * std::numbers::pi * static_cast<double> (i) / rate;
        const auto own = static_cast<float> (0.1 * std::sin (1000.0 * turn));
        const auto other = i < length / 2 ? 0.0f : static_cast<float> (0.05 * std::sin (5000.0 * turn));
        frames.insert (frames.end(), { own, 0, 0, 0, 0, other, own + other });
    }

    return frames;
}

SpectrumTile
read (TrackSamples& samples, double rate, SpectrumPlace place, const std::optional<ChannelWeights>& weights)
{
    SpectrumTile tile;
    tile.place = place;
    REQUIRE (SpectrumReading (rate).read (samples, weights, tile, [] { return false; }));
    REQUIRE (tile.source.size() == SpectrumTile::size);
    return tile;
}

/** The loudest of the bands next to a frequency. */
float levelAt (const std::vector<std::uint8_t>& bytes, double rate, std::size_t column, double frequency)
{
    const auto band = static_cast<std::size_t> (SpectrumGrid (rate).bandOf (frequency) + 0.5);
    const auto* const levels = bytes.data() + column * SpectrumGrid::numBands + band;
    return SpectrumTile::levelDbOf (std::max ({ levels[-1], levels[0], levels[1] }));
}
} // namespace

TEST_CASE ("Tiles of a spectrogram", "[jobs][spectrum]")
{
    SECTION ("hold each tone where and when it sounds, and apart what is kept of it, at every level and rate")
    {
        const auto rate = GENERATE (44100.0, 192000.0);
        const auto level = GENERATE (0, 4, 6, 9);
        constexpr auto seconds = 3.0;
        MemorySamples samples (7, twoTones (rate, seconds));
        const SpectrumGrid grid (rate);
        const auto columnAt = [&] (double time)
        { return static_cast<std::int64_t> (time * rate) / grid.hop (level); };

        for (const auto time : { 0.5, 2.2 })
        {
            const auto column = columnAt (time);
            const auto tile = read (samples, rate, { level, column / 256 }, keepFirst);
            REQUIRE (tile.kept.size() == SpectrumTile::size);
            const auto inTile = static_cast<std::size_t> (column % 256);
            // A column of the coarsest level holds two thirds of the take.
            const auto margin = level == 9 ? 4.0 : 2.0;
            CHECK (levelAt (tile.source, rate, inTile, 1000.0) == Approx (-21.0).margin (margin));
            CHECK (levelAt (tile.kept, rate, inTile, 1000.0) == Approx (-21.0).margin (margin));
            CHECK (levelAt (tile.kept, rate, inTile, 5000.0) < -80.0f);

            if (level < 9)
                CHECK (levelAt (tile.source, rate, inTile, 5000.0)
                       == (time < 1.5 ? Approx (-120.0).margin (50.0) : Approx (-27.5).margin (2.0)));
        }
    }

    SECTION ("are silent beyond the track, where it can't be read, and where it is no number")
    {
        constexpr auto rate = 48000.0;
        MemorySamples one (1, { 1.0f }), none (1, {}), lost (7, std::vector<float> (7 * 9000, 0.5f)),
            broken (1, std::vector<float> (9000, std::numeric_limits<float>::quiet_NaN())),
            huge (1, std::vector<float> (9000, 3.0e38f));
        lost.fails = true;
        const auto isSilent = [] (const SpectrumTile& tile) {
            return std::all_of (tile.source.begin(), tile.source.end(), [] (auto byte) { return byte == 0; });
        };

        for (const auto level : { 0, 3, 12 })
        {
            CHECK (isSilent (read (none, rate, { level, 0 }, keepFirst)));
            CHECK (isSilent (read (one, rate, { level, 3 }, keepFirst)));
            CHECK (isSilent (read (lost, rate, { level, 0 }, keepFirst)));
            CHECK (isSilent (read (broken, rate, { level, 0 }, keepFirst)));
            (void) read (huge, rate, { level, 0 }, keepFirst);
        }

        CHECK_FALSE (isSilent (read (one, rate, { 0, 0 }, {})));
        CHECK (read (one, rate, { 0, 0 }, keepFirst).kept.empty()); // nothing was rendered
    }

    SECTION ("take their source from an earlier one, and are given up when told so")
    {
        MemorySamples samples (7, twoTones (48000.0, 0.2));
        SpectrumReading reading (48000.0);
        SpectrumTile tile;
        tile.source.assign (SpectrumTile::size, 77);
        REQUIRE (reading.read (samples, ChannelWeights{ 0, 0, 0, 0, 0, 1, 0 }, tile, [] { return false; }));
        CHECK (tile.source[5] == 77);
        CHECK (levelAt (tile.kept, 48000.0, 60, 5000.0) > -30.0f);
        CHECK (levelAt (tile.kept, 48000.0, 60, 1000.0) < -80.0f);

        auto asked = 0;
        CHECK_FALSE (reading.read (samples, keepFirst, tile, [&] { return ++asked == 3; }));
        CHECK (asked == 3);
    }
}
