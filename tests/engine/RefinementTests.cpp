#include "engine/SuppressionRendering.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/InterferenceModel.h"
#include "engine/refinement/SeededStart.h"
#include "engine/refinement/SeparationEvidence.h"
#include "engine/refinement/Statistics.h"
#include "tests/support/EngineFixtures.h"

#include <atomic>
#include <cmath>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** Two drums that hit at different times and rates, each heard in the other's microphone at the given level. */
struct TwoDrums
{
    explicit TwoDrums (float leakage, std::int64_t length = 120000)
    {
        std::vector<float> own[2];

        for (int drum = 0; drum < 2; ++drum)
        {
            auto& samples = own[drum];
            samples.resize (static_cast<std::size_t> (length));
            RandomStream noise (static_cast<std::uint64_t> (drum) + 1);
            const auto period = drum == 0 ? 22050 : 15111;
            const auto frequency = drum == 0 ? 70.0 : 240.0;

            for (std::int64_t i = 0; i < length; ++i)
            {
                const auto t = static_cast<double> ((i + 5000 * drum) % period) / 44100.0;
                const auto hiss = drum == 0 ? 0.0 : 0.5 * (static_cast<double> (noise.next()) - 0.5);
                samples[static_cast<std::size_t> (i)] =
                    0.5f
                    * static_cast<float> (std::exp (-t / 0.06)
                                          * (std::sin (6.283185307 * frequency * t) + hiss));
            }
        }

        for (std::size_t track = 0; track < 2; ++track)
        {
            auto mix = own[track];

            for (std::size_t i = 0; i < mix.size(); ++i)
                mix[i] += leakage * own[1 - track][i];

            truth[track] = own[track];
            sources[track] = std::make_unique<MemorySource> (mix);
            tracks.push_back ({ { track == 0 ? drumCode::kick : drumCode::snare, false, 44100.0, length },
                                sources[track].get() });
        }
    }

    AnalysisResult analyse (int threads, const AnalysisControl& control = {})
    {
        const auto length = tracks[0].shape.lengthInSamples;
        storage = std::make_unique<MemoryStorage> (std::vector<std::int64_t>{ length, length });
        AnalysisOptions options;
        options.method = AnalysisMethod::refined;
        options.resourceFolder = resourceFolder();
        options.numThreads = threads;
        options.diagnostics = [] (std::string_view) {};
        return analyseTracks (tracks, options, *storage, control);
    }

    /** Signal-to-distortion ratio against the drum alone, in dB. */
    [[nodiscard]] double quality (std::size_t track, std::span<const float> samples) const
    {
        double signal = 0.0, distortion = 0.0;

        for (std::size_t i = 0; i < samples.size(); ++i)
        {
            const auto s = static_cast<double> (truth[track][i]), e = static_cast<double> (samples[i]) - s;
            signal += s * s;
            distortion += e * e;
        }

        return 10.0 * std::log10 (signal / distortion);
    }

    [[nodiscard]] std::vector<float> rendered (std::size_t track, float focus) const
    {
        std::vector<float> out (truth[track].size());
        renderSuppression (out,
                           storage->refinedSinks.at (static_cast<int> (track)).frames,
                           SuppressionRule::forSetting ({ focus, 0.0f }));
        return out;
    }

    std::vector<float> truth[2];
    std::unique_ptr<MemorySource> sources[2];
    std::vector<AnalysisTrack> tracks;
    std::unique_ptr<MemoryStorage> storage;
};
} // namespace

TEST_CASE ("Refined analysis", "[engine][refinement]")
{
    SECTION ("removes leakage, keeps the channels' sum and does not depend on the number of threads")
    {
        TwoDrums drums (0.2f);
        const auto result = drums.analyse (1);
        REQUIRE (result.status == AnalysisStatus::completed);

        for (std::size_t track = 0; track < 2; ++track)
        {
            const auto& mix = drums.sources[track]->samples;
            const auto atZero = drums.rendered (track, 0.0f);
            float worst = 0.0f;

            for (std::size_t i = 0; i < mix.size(); ++i)
                worst = std::max (worst, std::abs (atZero[i] - mix[i]));

            CHECK (worst < 1.0e-6f);
            REQUIRE (result.tracks[track].suggestedFocus);
            const auto suggested = static_cast<float> (*result.tracks[track].suggestedFocus);
            const auto gain =
                drums.quality (track, drums.rendered (track, suggested)) - drums.quality (track, mix);
            CHECK (gain > 6.0);
            // The suggestion has the whole effect: turning further changes nothing.
            CHECK (drums.rendered (track, suggested) == drums.rendered (track, 5.0f));
            CHECK (result.tracks[track].leakageDb == Approx (20.0 * std::log10 (0.2)).margin (6.0));
        }

        const auto first = std::move (drums.storage);
        REQUIRE (drums.analyse (3).status == AnalysisStatus::completed);
        CHECK (drums.storage->refinedSinks.at (0).frames == first->refinedSinks.at (0).frames);
        CHECK (drums.storage->refinedSinks.at (1).frames == first->refinedSinks.at (1).frames);
    }

    SECTION ("does no harm where there is nothing to remove")
    {
        TwoDrums drums (0.0f);
        REQUIRE (drums.analyse (2).status == AnalysisStatus::completed);

        for (std::size_t track = 0; track < 2; ++track)
        {
            const auto out = drums.rendered (track, 5.0f);
            double energy = 0.0, own = 0.0;

            for (std::size_t i = 0; i < out.size(); ++i)
            {
                energy += static_cast<double> (out[i]) * static_cast<double> (out[i]);
                own +=
                    static_cast<double> (drums.truth[track][i]) * static_cast<double> (drums.truth[track][i]);
            }

            CHECK (std::abs (10.0 * std::log10 (energy / own)) < 0.5);
        }
    }

    SECTION ("a silent track gets no suggestion, and its silence")
    {
        TwoDrums drums (0.2f);
        std::fill (drums.sources[1]->samples.begin(), drums.sources[1]->samples.end(), 0.0f);
        const auto result = drums.analyse (2);
        REQUIRE (result.status == AnalysisStatus::completed);
        CHECK (result.tracks[1].suggestedFocus == 0.0);

        for (std::size_t track = 0; track < 2; ++track)
            for (const auto x : drums.rendered (track, 5.0f))
                REQUIRE (std::isfinite (x));
    }

    SECTION ("a stop is honoured wherever it comes")
    {
        for (const double stopAt : { 0.4, 0.5, 0.52, 0.57, 0.65, 0.7, 0.78, 0.9 })
        {
            TwoDrums drums (0.2f, 60000);
            std::atomic<double> reached{ -1.0 };
            INFO ("stopped at " << stopAt);
            CHECK (drums.analyse (2, { [&] { return reached >= stopAt; }, [&] (double x) { reached = x; } })
                       .status
                   == AnalysisStatus::stopped);
        }
    }
}

TEST_CASE ("InterferenceModel", "[engine][refinement]")
{
    // Two microphones, 300 frames: each drum sounds alone half of the time, heard in the other at -10 and -20 dB of power.
    constexpr std::size_t numFrames = 300, stride = 512;
    constexpr float intoFirst = 0.1f, intoSecond = 0.01f;
    AlignedBuffer power (2 * stride), source (2 * stride);
    RandomStream random (1);
    std::vector<float> own[2]{ std::vector<float> (numFrames), std::vector<float> (numFrames) };

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        own[0][t] = t % 4 < 2 ? 1.0f + random.next() : 1.0e-6f;
        own[1][t] = t % 4 >= 2 ? 1.0f + random.next() : 1.0e-6f;
        power[t] = own[0][t] + intoFirst * own[1][t];
        power[stride + t] = own[1][t] + intoSecond * own[0][t];
    }

    // The first estimate knows roughly when each drum sounds.
    for (std::size_t t = 0; t < numFrames; ++t)
    {
        source[t] = t % 4 < 2 ? power[t] : 0.05f * power[t];
        source[stride + t] = t % 4 >= 2 ? power[stride + t] : 0.05f * power[stride + t];
    }

    const auto powerStart = std::vector<float> (power.data(), power.data() + power.size());
    const auto sourceStart = std::vector<float> (source.data(), source.data() + source.size());
    std::vector<float> expected;

    onEveryTarget (
        [&]
        {
            std::copy (powerStart.begin(), powerStart.end(), power.data());
            std::copy (sourceStart.begin(), sourceStart.end(), source.data());
            const std::vector<std::uint32_t> types{ drumCode::kick, drumCode::snare };
            InterferenceModel model (types, numFrames);
            REQUIRE (model.fit (power.data(), source.data(), stride, {}));

            CHECK (model.gains()[0] == 1.0f);
            CHECK (model.gains()[1] == Approx (intoFirst).epsilon (0.2));
            CHECK (model.gains()[2] == Approx (intoSecond).epsilon (0.2));

            // Where only the second drum sounds, the first microphone holds its leakage.
            for (std::size_t t = 2; t < numFrames; t += 4)
                CHECK (power[t] == Approx (intoFirst * own[1][t]).epsilon (0.15));

            const std::vector<float> fitted (source.data(), source.data() + numFrames);
            expected = expected.empty() ? fitted : expected;
            CHECK (fitted == expected); // the same bits on every target
        });

    SECTION ("two microphones on one drum are no leakage of each other")
    {
        const std::vector<std::uint32_t> types{ drumCode::snare, drumCode::snare };
        std::copy (powerStart.begin(), powerStart.end(), power.data());
        std::copy (sourceStart.begin(), sourceStart.end(), source.data());
        InterferenceModel model (types, numFrames);
        REQUIRE (model.fit (power.data(), source.data(), stride, {}));
        CHECK (model.gains()[1] == 0.0f);
        CHECK (power[2] == 1.0e-30f);
    }
}

TEST_CASE ("Seeded start", "[engine][refinement]")
{
    // Three tracks: a kick in even frames, an Other in odd ones, and a snare that never plays.
    constexpr std::size_t numFrames = 200;
    std::vector<float> v (240 * numFrames), h (10 * numFrames, 0.5f);

    for (std::size_t t = 0; t < numFrames; ++t)
        for (std::size_t m = 0; m < 80; ++m)
            v[m + (t % 2 == 0 ? 0 : 80) + 240 * t] = 1.0f;

    const std::vector<std::uint32_t> types{ drumCode::kick, drumCode::other, drumCode::snare };
    seedActivations ({ v.data(), 240, numFrames }, types, { h.data(), 10, numFrames });
    CHECK (h[0] == 1.0f);    // the kick alone
    CHECK (h[10] == 0.001f); // the other track alone: at the lower end
    CHECK (h[1] == 0.5f);    // neither Other nor silent tracks take a row
    CHECK (h[10 * 50 + 9] == 0.5f);
}

TEST_CASE ("Evidence", "[engine][refinement]")
{
    SECTION ("quantiles interpolate and largest values are averaged")
    {
        std::vector<float> values{ 4.0f, 1.0f, 3.0f, 2.0f };
        CHECK (quantile (values, 0.5) == 2.5f);
        CHECK (quantile (values, 0.98) == Approx (3.94f)); // position 2.94 between 3 and 4
        CHECK (meanOfLargest (values, 2) == 3.5);
        CHECK (meanOfLargest (values, 9) == 2.5);
    }

    SECTION ("bands: one below 60 Hz, then three an octave, none empty")
    {
        const EvidenceBands bands (1025, 44100.0 / 2048.0); // bins of 21.5 Hz
        CHECK (bands.firstBin (0) == 0);
        CHECK (bands.endBin (0) == 3); // 64.6 Hz is the first bin above 60
        CHECK (bands.numBins() == 1025);

        for (std::size_t g = 0; g < bands.count(); ++g)
            CHECK (bands.endBin (g) > bands.firstBin (g));
    }

    SECTION ("mask and layer gains agree with the library's functions on every target")
    {
        AlignedBuffer logits (64), gains (64), layer (64), total (64);

        for (std::size_t i = 0; i < 64; ++i)
        {
            logits[i] = -30.0f + static_cast<float> (i);
            layer[i] = std::pow (10.0f, static_cast<float> (i % 8) - 6.0f);
            total[i] = std::pow (10.0f, static_cast<float> (i / 8) - 6.0f);
        }

        onEveryTarget (
            [&]
            {
                kernels::maskGains (gains.data(), logits.data(), 0.35f, 64);

                for (std::size_t i = 0; i < 64; ++i)
                    CHECK (static_cast<double> (gains[i])
                           == Approx (std::pow (1.0 + std::exp (-static_cast<double> (logits[i])), -0.35))
                                  .epsilon (2.0e-6));

                std::fill_n (gains.data(), 64, 1.0f);
                kernels::applyLayer (gains.data(), layer.data(), total.data(), 64);

                for (std::size_t i = 0; i < 64; ++i)
                    CHECK (static_cast<double> (gains[i])
                           == Approx (std::pow (std::min (1.0,
                                                          static_cast<double> (layer[i])
                                                              / static_cast<double> (total[i])),
                                                0.25))
                                  .epsilon (1.0e-6));
            });
    }
}
