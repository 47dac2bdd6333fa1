#include "terms/ChannelLayout.h"
#include "ui/wave/ChannelPeaks.h"
#include "ui/wave/StrongHits.h"

#include "tests/ui/WaveSignals.h"

#include <catch2/catch.hpp>

#include <limits>

using namespace tessivar;
using namespace tessivar::test;

namespace
{

/** Half a step of the stored numbers, and a little for the rounding of the comparison itself. */
constexpr auto halfStep = 0.5f * EnvelopePyramid::largestLevel / 32767.0f + 1.0e-6f;

/** Extremes of every sample in the base blocks that [start, end) touches, by a plain loop. */
EnvelopeColumn plainRange (const std::vector<float>& samples, std::int64_t start, std::int64_t end)
{
    const auto size = static_cast<std::int64_t> (samples.size());
    const auto from = std::max<std::int64_t> (start, 0) / 256 * 256;
    const auto to = std::min ((end + 255) / 256 * 256, size);
    if (start >= end || from >= to)
        return {};
    EnvelopeColumn result{ 1.0e9f, -1.0e9f };
    for (auto i = from; i < to; ++i)
    {
        const auto value = samples[static_cast<std::size_t> (i)];
        result.low = std::min (result.low, std::isfinite (value) ? value : 0.0f);
        result.high = std::max (result.high, std::isfinite (value) ? value : 0.0f);
    }
    return result;
}

bool isNear (EnvelopeColumn a, EnvelopeColumn b)
{
    return std::abs (a.low - b.low) <= halfStep && std::abs (a.high - b.high) <= halfStep;
}

} // namespace

TEST_CASE ("EnvelopePyramid", "[ui][wave]")
{
    SECTION ("holds what a plain loop finds, for any length, appended in any pieces")
    {
        const auto length = GENERATE (0, 1, 255, 256, 257, 1023, 1024, 1025, 4097, 70001);
        WaveNoise noise (static_cast<std::uint64_t> (length) + 1);
        std::vector<float> samples (static_cast<std::size_t> (length));
        for (auto& sample : samples)
            sample = noise.next();
        if (length > 300)
        {
            samples[7] = std::numeric_limits<float>::quiet_NaN();
            samples[299] = -std::numeric_limits<float>::infinity();
        }

        EnvelopePyramid pyramid (length);
        for (std::size_t at = 0, piece = 1; at < samples.size(); at += piece, piece = piece * 3 % 1009)
        {
            piece = std::min (piece, samples.size() - at);
            pyramid.append ({ samples.data() + at, piece });
        }
        REQUIRE (pyramid.isComplete());

        for (int i = 0; i < 400; ++i)
        {
            const auto pick = [&] {
                return static_cast<std::int64_t> ((noise.next() + 1.0f) * 0.55f * static_cast<float> (length))
                       - 3;
            };
            const auto start = pick(), end = pick();
            CHECK (isNear (pyramid.range (start, end), plainRange (samples, start, end)));
        }
        for (const auto pixels : { 1u, 7u, 300u })
        {
            std::vector<EnvelopeColumn> columns (pixels);
            const auto start = 0.3 * length, width = 0.55 * length / pixels;
            pyramid.query (start, start + width * pixels, columns);
            for (unsigned i = 0; i < pixels; ++i)
            {
                const auto from = static_cast<std::int64_t> (std::floor (start + width * i));
                const auto to = static_cast<std::int64_t> (std::ceil (start + width * (i + 1)));
                CHECK (isNear (columns[i], plainRange (samples, from, std::max (to, from + 1))));
            }
        }
    }

    SECTION ("shows whole blocks while it grows and nothing of the rest")
    {
        EnvelopePyramid pyramid (5000);
        pyramid.append (std::vector<float> (1100, 0.5f));
        CHECK (pyramid.readySamples() == 1024);
        CHECK (pyramid.range (0, 5000).high == Approx (0.5f).margin (halfStep));
        CHECK (pyramid.range (1024, 5000) == EnvelopeColumn{});
        pyramid.append (std::vector<float> (9000, -0.25f));
        CHECK (pyramid.readySamples() == 5000);
        CHECK (pyramid.range (1280, 5000).high == Approx (-0.25f).margin (halfStep));
    }

    SECTION ("cuts what lies more than 6 dB over full scale")
    {
        EnvelopePyramid pyramid (1);
        pyramid.append (std::vector{ 17.0f });
        CHECK (pyramid.range (0, 1).high == 2.0f);
    }
}

TEST_CASE ("ChannelEnergyPyramid", "[ui][wave]")
{
    // Channel 0 at 0.4 in the first half, channel 5 at 0.3 throughout: kept alone, channel 0 has 16 of 25
    // parts of the power and 0.8 of the height in the first half, and nothing in the second.
    constexpr std::int64_t length = 40'000;
    EnvelopePyramid source (length);
    ChannelEnergyPyramid energies (length);
    for (std::int64_t i = 0; i < length; ++i)
    {
        const auto own = i < length / 2 ? 0.4f : 0.0f;
        const std::array<float, 7> frame{ own, 0, 0, 0, 0, 0.3f, own + 0.3f };
        energies.append (frame);
        source.append ({ &frame[6], 1 });
    }
    REQUIRE (energies.readyFrames() == length);

    const auto pixels = GENERATE (1u, 5u, 64u, 3000u);
    std::vector<EnvelopeColumn> whole (pixels), kept (pixels);
    source.query (0.0, 39'990.0, whole);
    const auto estimate = [&] (const ChannelWeights& weights)
    { energies.estimate (source, weights, 0.0, 39'990.0, kept); };

    SECTION ("weights of 1 give the source exactly, as the source's own weight does")
    {
        estimate ({ 1, 1, 1, 1, 1, 1, 0 });
        CHECK (kept == whole);
        estimate ({ 0, 0, 0, 0, 0, 0, 1 });
        CHECK (kept == whole);
    }

    SECTION ("one channel alone scales the source by the root of its share, and never above it")
    {
        estimate (keepOwnDrum);
        CHECK (kept.front().high == Approx (0.8f * whole.front().high).epsilon (0.03));
        if (pixels > 1)
            CHECK (kept.back().high == 0.0f);
        estimate ({ 1, 1, 1, 1, 1, 1, 1 });
        CHECK (kept == whole);
    }

    SECTION ("levels are those of the block, and fine mixing of the source counts in")
    {
        CHECK (energies.power (100, 0) == Approx (0.16f).epsilon (0.06));
        CHECK (energies.power (length - 1, 0) == 0.0f);
        CHECK (energies.power (length, 6) == 0.0f);
        CHECK (energies.processedPower (100, keepOwnDrum) == Approx (0.49f * 0.64f).epsilon (0.1));
        // Half of what was removed mixed back: (0.64 * 1 + 0.36 * 0.25) of the power.
        CHECK (energies.keptGain (5000.0, { 0.5f, 0, 0, 0, 0, 0, 0.5f })
               == Approx (std::sqrt (0.73f)).epsilon (0.03));
    }

    SECTION ("what has not been rendered yet is drawn as the source")
    {
        ChannelEnergyPyramid young (length);
        young.append (std::vector<float> (7 * 600, 0.1f));
        CHECK (young.readyFrames() == 512);
        young.estimate (source, keepOwnDrum, 0.0, 39'990.0, kept);
        CHECK (kept.back() == whole.back());
        CHECK (young.keptGain (30'000.0, { 0, 0, 0, 0, 0, 0, 0 }) >= 0.0f);
    }
}

TEST_CASE ("findStrongHits", "[ui][wave]")
{
    // Own strokes at 0.2, 1.2, ... 7.2 s, leakage 12 dB lower half a second later each.
    const auto track = waveTrack (8.0);

    SECTION ("finds the drum's own strokes and leaves the leakage out")
    {
        const auto hits = findStrongHits (*track.source, track.energies.get(), keepOwnDrum, track.sampleRate);
        REQUIRE (hits.size() == 8);
        for (std::size_t i = 0; i < hits.size(); ++i)
            CHECK (hits[i] == Approx (0.2 + static_cast<double> (i)).margin (0.006));
        CHECK (findStrongHits (*track.source, nullptr, {}, track.sampleRate).size() == 8);
    }

    SECTION ("finds the leakage where the weights keep that")
    {
        const auto hits =
            findStrongHits (*track.source, track.energies.get(), { 0, 0, 0, 0, 0, 1, 0 }, track.sampleRate);
        REQUIRE (hits.size() == 8);
        CHECK (hits[0] == Approx (0.7).margin (0.006));
    }

    SECTION ("nothing in silence or in a steady tone, and nothing to read at all")
    {
        EnvelopePyramid silence (48000), tone (48000);
        silence.append (std::vector<float> (48000, 0.0f));
        tone.append (std::vector<float> (48000, 0.5f));
        CHECK (findStrongHits (silence, nullptr, {}, 48000.0).empty());
        CHECK (findStrongHits (tone, nullptr, {}, 48000.0).size() <= 1);
        CHECK (findStrongHits (EnvelopePyramid (0), nullptr, {}, 48000.0).empty());
    }

    SECTION ("a double click takes the stretch between the strokes around it")
    {
        const std::vector<double> hits{ 1.0, 2.5, 4.0 };
        CHECK (rangeBetweenHits (hits, 2.5, 9.0) == WaveRange{ 2.5, 4.0 });
        CHECK (rangeBetweenHits (hits, 0.3, 9.0) == WaveRange{ 0.0, 1.0 });
        CHECK (rangeBetweenHits (hits, 7.0, 9.0) == WaveRange{ 4.0, 9.0 });
        CHECK (rangeBetweenHits ({}, 7.0, 9.0) == WaveRange{ 0.0, 9.0 });
    }

    SECTION ("steps lead from stroke to stroke, and a selection grows by them")
    {
        const std::vector<double> hits{ 1.0, 2.5, 4.0 };
        CHECK (hitBeside (hits, 1.00001, 1) == 2.5); // stands on the first one, but for rounding
        CHECK (hitBeside (hits, 2.49999, -1) == 1.0);
        CHECK_FALSE (hitBeside (hits, 4.0, 1));
        CHECK_FALSE (hitBeside (hits, 1.0, -1));

        const auto selected = extendedToHit (hits, {}, 1.0, 1, 9.0);
        CHECK (selected == WaveRange{ 1.0, 2.5 });
        CHECK (extendedToHit (hits, selected, 1.0, 1, 9.0) == WaveRange{ 1.0, 4.0 });
        CHECK (extendedToHit (hits, WaveRange{ 2.5, 4.0 }, 3.0, -1, 9.0) == WaveRange{ 1.0, 4.0 });
        CHECK (extendedToHit (hits, selected, 2.5, 1, 9.0)
               == WaveRange{ 2.5, 4.0 }); // the playhead has left it
        CHECK (extendedToHit (hits, {}, 2.5, -1, 9.0) == WaveRange{ 1.0, 2.5 });
        CHECK (extendedToHit (hits, WaveRange{ 4.0, 9.0 }, 4.0, 1, 9.0) == WaveRange{ 4.0, 9.0 });
    }
}

TEST_CASE ("ChannelPeaks", "[ui][wave]")
{
    // Drums, and below them what bounds must hold for: a sum of parts that is not the source, more than can
    // be stored, and a last block that is cut short.
    const std::int64_t length = 48000 * 20 + 100;
    std::vector<float> frames;
    WaveDrums drums;
    WaveNoise noise (11);

    for (std::int64_t i = 0; i < length; ++i)
    {
        auto frame = drums.frame (static_cast<double> (i) / 48000.0);
        frame[1] = 0.01f * noise.next();
        frame[4] = 0.05f * noise.next();
        frame[6] += 0.06f * noise.next() + (i == 70000 ? 3.0f : 0.0f);
        frames.insert (frames.end(), frame.begin(), frame.end());
    }

    ChannelPeaks peaks (length);

    for (std::size_t at = 0; at < frames.size(); at += 7 * 1000)
        peaks.append ({ frames.data() + at, std::min<std::size_t> (7 * 1000, frames.size() - at) });

    REQUIRE (peaks.isComplete());
    const auto weights = GENERATE (keepOwnDrum,
                                   ChannelWeights{ 1.0f, 1.0f, 1.0f, 0.4f, 0.0f, 0.0f, 0.0f },
                                   ChannelWeights{ 0.7f, 0.7f, 0.7f, 0.7f, 0.7f, 0.2f, 0.3f },
                                   ChannelWeights{ 0.0f, 0.0f, 0.0f, 0.0f, -1.0f, -1.0f, 1.0f });
    std::size_t numRead = 0;
    const auto read = [&] (std::int64_t start, std::span<float> dest)
    {
        numRead += dest.size();

        for (std::size_t i = 0; i < dest.size(); ++i)
        {
            dest[i] = 0.0f;

            for (std::size_t c = 0; c < 7; ++c)
                dest[i] += weights[c] * frames[(static_cast<std::size_t> (start) + i) * 7 + c];
        }

        return true;
    };
    std::vector<float> all (static_cast<std::size_t> (length));
    REQUIRE (read (0, all));
    numRead = 0;

    for (const auto& [first, spacing] : { std::pair<std::int64_t, double>{ 0, 9600.5 }, { 120, 700.3 } })
    {
        const auto numColumns =
            static_cast<int> (static_cast<double> (length) / spacing) + 1 - static_cast<int> (first);
        WaveColumnBuilder builder (first, spacing, numColumns);
        builder.add (0, all);
        const auto found = peaks.findColumns ({ 1, first, spacing, numColumns, false, true }, weights, read);
        REQUIRE (found.has_value());
        const auto [different, expected] =
            std::mismatch (found->begin(), found->end(), builder.columns().begin(), builder.columns().end());
        CAPTURE (spacing, different - found->begin());
        CHECK (different == found->end());

        if (spacing > 5000.0)
            CHECK (numRead < all.size() / 2);
    }

    const auto unreadable = [] (std::int64_t, std::span<float>) { return false; };
    CHECK_FALSE (peaks.findColumns ({ 1, 0, 9600.0, 10, false, true }, weights, unreadable).has_value());
}
