#include "engine/SuppressionRendering.h"
#include "engine/numerics/RandomStream.h"
#include "engine/refinement/InterferenceModel.h"
#include "engine/refinement/SeededStart.h"
#include "engine/refinement/SeparationEvidence.h"
#include "engine/refinement/SilentFrames.h"
#include "engine/refinement/Statistics.h"
#include "engine/refinement/TrackBenefit.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/TrackFindings.h"
#include "terms/WorkControl.h"
#include "tests/support/EngineFixtures.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** Two drums that hit at different times and rates, each heard in the other's microphone, quieter and later.
*/
struct TwoDrums
{
    explicit TwoDrums (float leakage, std::int64_t length = 120000, std::size_t delay = 0)
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

            for (std::size_t i = delay; i < mix.size(); ++i)
                mix[i] += leakage * own[1 - track][i - delay];

            truth[track] = own[track];
            sources[track] = std::make_unique<MemorySource> (mix);
            tracks.push_back ({ { track == 0 ? DrumType::kick : DrumType::snare, false, 44100.0, length },
                                sources[track].get() });
        }
    }

    AnalysisResult analyse (int threads, const WorkControl& control = {})
    {
        storage = std::make_unique<MemoryStorage> (tracks);
        return analyseTracks (tracks, quietOptions (threads, AnalysisMethod::refined), *storage, control);
    }

    /** Signal-to-distortion ratio against the drum alone, in dB, where both drums exceed a threshold. */
    [[nodiscard]] double
    quality (std::size_t track, std::span<const float> samples, float threshold = 0.0f) const
    {
        double signal = 0.0, distortion = 0.0;

        for (std::size_t i = 0; i < samples.size(); ++i)
        {
            if (level (0, i) < threshold || level (1, i) < threshold)
                continue;

            const auto s = static_cast<double> (truth[track][i]), e = static_cast<double> (samples[i]) - s;
            signal += s * s;
            distortion += e * e;
        }

        return 10.0 * std::log10 (signal / distortion);
    }

    /** The louder of two samples a sixth of a period of the kick apart. */
    [[nodiscard]] float level (std::size_t track, std::size_t i) const
    {
        return std::max (std::abs (truth[track][i]), std::abs (truth[track][i < 100 ? i : i - 100]));
    }

    [[nodiscard]] std::vector<float> rendered (std::size_t track, float focus) const
    {
        return renderedAt (storage->sinks.at (static_cast<int> (track)), focus);
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
        // Long enough for one worker and three to cut the tracks at different places.
        TwoDrums drums (0.2f, 560000);
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
            REQUIRE (result.tracks[track].findings.suggestedFocus);
            const auto suggested = static_cast<float> (*result.tracks[track].findings.suggestedFocus);
            const auto gain =
                drums.quality (track, drums.rendered (track, suggested)) - drums.quality (track, mix);
            CHECK (gain > 6.0);
            // The suggestion has the whole effect: turning further changes nothing.
            CHECK (drums.rendered (track, suggested) == drums.rendered (track, 5.0f));
            CHECK (result.tracks[track].findings.leakageDb == Approx (20.0 * std::log10 (0.2)).margin (6.0));
        }

        // The map tells what leaks and what is left of it: the kick in the snare's microphone, and back.
        REQUIRE (result.bleed != nullptr);

        for (std::size_t track = 0; track < 2; ++track)
        {
            REQUIRE (result.tracks[track].findings.bleedPlace == track);
            const auto energyOf = [&] (std::size_t drum)
            {
                const auto& own = drums.truth[drum];
                return std::inner_product (own.begin(), own.end(), own.begin(), 0.0);
            };
            const auto level = 10.0 * std::log10 (0.04 * energyOf (1 - track) / energyOf (track));
            const auto levelAt = [&] (std::size_t drum, float focus) {
                return result.bleed->levelDb (track, drum, std::nullopt, { focus, 0.0f }).value_or (-200.0);
            };
            CHECK (levelAt (1 - track, 0.0f) == Approx (level).margin (3.0));
            CHECK (levelAt (1 - track, 5.0f) < level - 5.0);
            CHECK (levelAt (track, 0.0f) == Approx (0.0).margin (0.01));
            CHECK (levelAt (track, 5.0f) > -1.0);
        }

        const auto first = std::move (drums.storage);
        const auto again = drums.analyse (3);
        REQUIRE (again.status == AnalysisStatus::completed);
        CHECK (*again.bleed == *result.bleed);
        CHECK (drums.storage->sinks.at (0).components == first->sinks.at (0).components);
        CHECK (drums.storage->sinks.at (1).components == first->sinks.at (1).components);
    }

    SECTION ("takes leakage out from under a drum that sounds with it")
    {
        // Where both sound, a gain for each bin and frame can only keep both or lose both.
        TwoDrums drums (0.2f, 120000, 150);
        REQUIRE (drums.analyse (2).status == AnalysisStatus::completed);

        for (std::size_t track = 0; track < 2; ++track)
        {
            const auto together = [&] (std::span<const float> samples)
            { return drums.quality (track, samples, 0.1f); };
            // Gains alone reach 13 and 15 dB, paths of a bin beside the right one 14 and 16 dB.
            CHECK (together (drums.rendered (track, 5.0f)) - together (drums.sources[track]->samples) > 17.0);
        }
    }

    SECTION ("a stop is honoured wherever it comes")
    {
        for (const double stopAt : { 0.4, 0.5, 0.62, 0.727, 0.75, 0.8, 0.9 })
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
    // Two microphones, 300 frames: the drums hit in turn, every eight frames for two, heard in the other at
    // -10 and -20 dB of power.
    constexpr std::size_t numFrames = 300, stride = 512;
    constexpr float intoFirst = 0.1f, intoSecond = 0.01f;
    AlignedBuffer power (2 * stride), source (2 * stride);
    RandomStream random (1);
    std::vector<float> own[2]{ std::vector<float> (numFrames), std::vector<float> (numFrames) };

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        own[0][t] = t % 16 < 2 ? 1.0f + random.next() : 1.0e-6f;
        own[1][t] = t % 16 / 2 == 4 ? 1.0f + random.next() : 1.0e-6f;
        power[t] = own[0][t] + intoFirst * own[1][t];
        power[stride + t] = own[1][t] + intoSecond * own[0][t];
    }

    // The first estimate knows roughly when each drum sounds.
    for (std::size_t t = 0; t < numFrames; ++t)
    {
        source[t] = t % 16 < 2 ? power[t] : 0.05f * power[t];
        source[stride + t] = t % 16 / 2 == 4 ? power[stride + t] : 0.05f * power[stride + t];
    }

    auto powerStart = std::vector<float> (power.data(), power.data() + power.size());
    const auto sourceStart = std::vector<float> (source.data(), source.data() + source.size());
    std::vector<float> expected;

    onEveryTarget (
        [&]
        {
            std::copy (powerStart.begin(), powerStart.end(), power.data());
            std::copy (sourceStart.begin(), sourceStart.end(), source.data());
            InterferenceModel model (TwinMicrophones (2), numFrames);
            REQUIRE (model.fit (power.data(), source.data(), stride, {}));

            CHECK (model.gains()[0] == 1.0f);
            CHECK (model.gains()[1] == Approx (intoFirst).epsilon (0.2));
            CHECK (model.gains()[2] == Approx (intoSecond).epsilon (0.2));

            // Where only the second drum sounds, the first microphone holds its leakage.
            for (std::size_t t = 8; t < numFrames; t += 16)
                CHECK (power[t] == Approx (intoFirst * own[1][t]).epsilon (0.15));

            const std::vector<float> fitted (source.data(), source.data() + numFrames);
            expected = expected.empty() ? fitted : expected;
            CHECK (fitted == expected); // the same bits on every target
        });

    SECTION ("no gain exceeds what the loudest frames of the leaking drum allow")
    {
        // 2000 frames: the other microphone hears the 40 loudest, in runs after a pause, at 0.01, the rest at
        // 0.3.
        constexpr std::size_t length = 2000, rowStride = 2048;
        AlignedBuffer heard (2 * rowStride), estimate (2 * rowStride);

        for (std::size_t t = 0; t < length; ++t)
        {
            const auto isLoudest = t % 250 < 5;
            heard[t] = isLoudest ? 1.0f + random.next() : t % 250 < 240 ? 0.9f * random.next() : 1.0e-6f;
            heard[rowStride + t] = (isLoudest ? 0.01f : 0.3f) * heard[t];
            estimate[t] = heard[t];
            estimate[rowStride + t] = 1.0e-6f;
        }

        InterferenceModel model (TwinMicrophones (2), length);
        REQUIRE (model.fit (heard.data(), estimate.data(), rowStride, {}));
        CHECK (model.gains()[2] == Approx (0.01f).epsilon (0.001));
    }

    SECTION ("a microphone's gains come from the frames in which it isn't muted")
    {
        // The first one for a third of the time, in the midst of hits.
        std::fill (powerStart.begin() + 103, powerStart.begin() + 203, 0.0f);
        std::copy (powerStart.begin(), powerStart.end(), power.data());
        std::copy (sourceStart.begin(), sourceStart.end(), source.data());
        std::fill_n (source.data() + 103, 100, 0.0f);
        SilentFrames silent (numFrames - 8, { 20, 4, 1, 0 });

        for (const auto* row : { power.data(), power.data() + stride })
            silent.add (std::span<const float> (row, numFrames));

        silent.settle();
        InterferenceModel model (TwinMicrophones (2), numFrames, {}, silent);
        REQUIRE (model.fit (power.data(), source.data(), stride, {}));
        CHECK (model.gains()[1] == Approx (intoFirst).epsilon (0.2));
        CHECK (model.gains()[2] == Approx (intoSecond).epsilon (0.2));

        // And the second drum is not taken for softer where the first microphone doesn't hear it.
        for (std::size_t t = 103; t < 203; ++t)
            if (own[1][t] >= 1.0f)
                CHECK (source[stride + t] == Approx (own[1][t]).epsilon (0.15));
    }

    SECTION ("two microphones on one drum are no leakage of each other")
    {
        TwinMicrophones twins (2);
        twins.join (0, 1);
        std::copy (powerStart.begin(), powerStart.end(), power.data());
        std::copy (sourceStart.begin(), sourceStart.end(), source.data());
        InterferenceModel model (twins, numFrames);
        REQUIRE (model.fit (power.data(), source.data(), stride, {}));
        CHECK (model.gains()[1] == 0.0f);
        CHECK (power[2] == 1.0e-30f);
    }
}

TEST_CASE ("Silent frames", "[engine][refinement]")
{
    // Ten frames a second, of which four overlap.
    constexpr std::size_t numFrames = 100;
    constexpr RateParameters rate{ 10, 4, 1, 0 };
    std::vector<std::vector<float>> tracks (4, std::vector<float> (numFrames, 1.0f));
    const auto find = [&]
    {
        SilentFrames silent (numFrames - 5, rate);

        for (const auto& track : tracks)
            silent.add (std::span<const float> (track));

        silent.settle();
        return silent;
    };
    const auto mute = [&] (std::size_t track, std::size_t first, std::size_t end)
    {
        for (auto t = first; t < end; ++t)
            tracks[track][t] = 0.0f;
    };

    CHECK (find().soundingFrames().empty());
    CHECK_FALSE (find().isEverSilent (0));

    mute (0, 20, 35); // a second and a half
    mute (1, 40, 45); // too short: gated
    mute (2, 10, 30); // most of the time, in two parts
    mute (2, 40, 90);

    for (std::size_t t = 0; t < numFrames; ++t) // a drum that rings out
        tracks[3][t] = std::pow (10.0f, -0.5f * static_cast<float> (t % 50));

    auto silent = find();
    CHECK (silent.numSounding (0, numFrames) == numFrames - 15);
    CHECK (silent.isSilent (0, 34));
    CHECK_FALSE (silent.isSilent (0, 35));
    CHECK (silent.isNear (0, 38));
    CHECK_FALSE (silent.isNear (0, 39));

    for (std::size_t track = 1; track < tracks.size(); ++track)
        CHECK_FALSE (silent.isEverSilent (track));

    // A gap in all of them takes no part in a factorization.
    for (std::size_t track = 0; track < tracks.size(); ++track)
        mute (track, 60, 65);

    silent = find();
    const auto sounding = silent.soundingFrames();
    CHECK (sounding.size() == numFrames - 5);
    CHECK (silent.numSounding (1, numFrames) == numFrames - 5);
    std::vector<float> values (2 * numFrames);
    std::iota (values.begin(), values.end(), 0.0f);
    const MatrixView<float> matrix{ values.data(), 2, numFrames };
    moveToFront (matrix, sounding);
    CHECK (matrix (1, 60) == 131.0f);
    moveBack (matrix, sounding);

    for (std::size_t t = 0; t < numFrames; ++t)
        CHECK (matrix (1, t) == (t >= 60 && t < 65 ? 0.0f : static_cast<float> (2 * t + 1)));
}

TEST_CASE ("Seeded start", "[engine][refinement]")
{
    // Three tracks: a kick in even frames, an Other in odd ones, and a snare that never plays.
    constexpr std::size_t numFrames = 200;
    std::vector<float> v (240 * numFrames), h (10 * numFrames, 0.5f);

    for (std::size_t t = 0; t < numFrames; ++t)
        for (std::size_t m = 0; m < 80; ++m)
            v[m + (t % 2 == 0 ? 0 : 80) + 240 * t] = 1.0f;

    const std::vector<DrumType> types{ DrumType::kick, DrumType::other, DrumType::snare };
    const std::vector<std::size_t> numSilent (types.size());
    seedActivations ({ v.data(), 240, numFrames }, types, numSilent, { h.data(), 10, numFrames });
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
        const auto quantileOf = [] (std::vector<float> copy, double fraction)
        { return quantile (copy, fraction); };
        CHECK (quantileOf (values, 0.5) == 2.5f);
        CHECK (quantileOf (values, 0.98) == Approx (3.94f)); // position 2.94 between 3 and 4
        CHECK (meanOfLargest (values, 2) == 3.5);
        CHECK (meanOfLargest (values, 9) == 2.5);
    }

    SECTION ("bands: one below 60 Hz, then three an octave, none empty")
    {
        const EvidenceBands bands (1025, 44100.0 / 2048.0); // bins of 21.5 Hz
        CHECK (bands.firstBin (0) == 0);
        CHECK (bands.endBin (0) == 3); // 64.6 Hz is the first bin above 60
        CHECK (bands.endBin (bands.count() - 1) == 1025);

        for (std::size_t g = 0; g < bands.count(); ++g)
            CHECK (bands.endBin (g) > bands.firstBin (g));
    }
}

TEST_CASE ("Certainty of a suggestion", "[engine][refinement]")
{
    TrackFindings findings;
    findings.focusMatchDb = { 15.0, 18.0, 22.0, 25.0, 25.0, 24.0 };
    findings.bestFocusUpTo = { 0, 1, 2, 3, 3, 3 };
    CHECK (findings.certainty() == Certainty::sure); // as an earlier version left it

    findings.confidence = 1.0;
    findings.numHits = 3;
    CHECK (findings.certainty() == Certainty::fairlySure); // few hits prove little
    findings.numHits = 40;
    CHECK (findings.certainty() == Certainty::sure);
    findings.confidence = 0.7;
    CHECK (findings.certainty() == Certainty::unsure);

    // The track itself agrees with its mask, and no output does.
    findings.confidence = 1.0;
    findings.focusMatchDb = { 30.0, -2.0, -2.0, -5.0, 1.0, 3.0 };
    findings.bestFocusUpTo = {};
    CHECK (findings.certainty() == Certainty::unsure);
}

TEST_CASE ("Confidence tells tracks that lose from those that gain", "[engine][refinement]")
{
    struct Measured
    {
        int hits;
        double leakageDb, withoutAnyDb, bestDb, subtractionAgreement, outputAgreement, subtractedDb;
        bool gains;
    };

    // Toms that are hit twice; a snare whose second microphone seemed to be nobody's leakage; a tom far below
    // what leaks into it.
    const std::vector<Measured> tracks{
        { 2, -18.3, 14.0, 24.2, 0.59, 0.97, -3.7, false }, { 2, -19.5, 17.6, 26.5, 0.75, 0.94, -1.5, true },
        { 19, -18.5, 18.7, 14.6, 0.82, 0.68, 1.4, false }, { 19, -26.0, 25.8, 30.0, 0.75, 0.68, -1.0, true },
        { 29, -4.0, 2.5, 8.1, 0.34, 0.82, -9.0, false },   { 29, -4.0, 2.5, 8.1, 0.75, 0.82, -2.0, true }
    };

    const auto confidence = [] (const Measured& track)
    {
        TrackFindings findings;
        findings.numHits = track.hits;
        findings.leakageDb = track.leakageDb;
        findings.focusMatchDb.fill (track.bestDb);
        findings.focusMatchDb[0] = track.withoutAnyDb;
        findings.benefit = { track.subtractionAgreement, track.outputAgreement, track.subtractedDb };
        return confidenceOf (findings);
    };

    for (const auto& track : tracks)
    {
        INFO ("track " << &track - tracks.data());
        CHECK ((confidence (track) > 0.55) == track.gains);
    }

    // As loud, and no other microphone holds it: a snare lost 42 dB.
    CHECK (confidence ({ 36, -4.0, 1.0, 13.0, 0.0, 0.97, BenefitEvidence::nothingDb, false }) < 0.05);

    // A dry kick, of which nothing would go anyway.
    CHECK (confidence ({ 29, -80.0, 67.0, 62.0, 0.0, 0.66, BenefitEvidence::nothingDb, true }) > 0.9);

    // A tom that is hit twice gains 2.3 dB from half of the effect; another one of such evidence lost 5 dB by
    // the whole of it.
    const auto half = confidence ({ 2, -39.0, 36.0, 41.0, 0.61, 0.85, -3.9, true });
    CHECK (half > 0.35);
    CHECK (half < 0.6);
}
