#include "engine/SuppressionRendering.h"
#include "engine/numerics/RandomStream.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/TrackFindings.h"
#include "tests/support/EngineFixtures.h"

#include <cmath>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 150000; // samples at 44.1 kHz
constexpr std::size_t numDrums = 3;
constexpr DrumType drumTypes[numDrums]{ DrumType::kick, DrumType::snare, DrumType::tomLow };

/** A kick, a snare and a tom in turn: damped tones with some hiss, at periods that seldom meet. */
std::vector<float> playDrum (std::size_t drum)
{
    constexpr double frequencies[numDrums]{ 65.0, 210.0, 120.0 }, decays[numDrums]{ 0.05, 0.06, 0.12 },
        hisses[numDrums]{ 0.02, 0.6, 0.05 };
    constexpr std::int64_t periods[numDrums]{ 22050, 15111, 41000 }, starts[numDrums]{ 0, 7000, 11500 };
    RandomStream noise (drum + 1);
    std::vector<float> samples (static_cast<std::size_t> (length));

    for (auto i = starts[drum]; i < length; ++i)
    {
        const auto t = static_cast<double> ((i - starts[drum]) % periods[drum]) / 44100.0;
        const auto tone = std::sin (6.283185307 * frequencies[drum] * t);
        const auto hiss = hisses[drum] * (static_cast<double> (noise.next()) - 0.5);
        samples[static_cast<std::size_t> (i)] =
            0.5f * static_cast<float> (std::exp (-t / decays[drum]) * (tone + hiss));
    }

    return samples;
}

/** Three microphones; a drum that is silenced stays so in all of them. */
struct SmallKit
{
    explicit SmallKit (float leakage, int silencedDrum = -1, float tomLevel = 1.0f)
    {
        for (std::size_t drum = 0; drum < numDrums; ++drum)
            own[drum] = static_cast<int> (drum) == silencedDrum
                            ? std::vector<float> (static_cast<std::size_t> (length))
                            : playDrum (drum);

        for (auto& sample : own[2])
            sample *= tomLevel;

        for (std::size_t track = 0; track < numDrums; ++track)
        {
            auto mix = own[track];

            for (std::size_t other = 0; other < numDrums; ++other)
                for (std::size_t i = 100; other != track && i < mix.size(); ++i)
                    mix[i] += leakage * own[other][i - 100]; // a path of 0.8 m

            microphones.push_back (std::make_unique<MemorySource> (std::move (mix)));
        }
    }

    void analyse()
    {
        std::vector<AnalysisTrack> tracks;

        for (std::size_t i = 0; i < numDrums; ++i)
            tracks.push_back ({ { drumTypes[i], false, 44100.0, length }, microphones[i].get() });

        storage = std::make_unique<MemoryStorage> (tracks);
        result = analyseTracks (tracks, quietOptions (2, AnalysisMethod::refined), *storage, {});
        REQUIRE (result.status == AnalysisStatus::completed);
    }

    [[nodiscard]] std::vector<float> rendered (std::size_t track, float focus) const
    {
        return renderedAt (storage->refinedSinks.at (static_cast<int> (track)), focus);
    }

    /** Energy of what a Focus takes away, against the track, in dB. */
    [[nodiscard]] double removedDb (std::size_t track, float focus) const
    {
        const auto out = rendered (track, focus);
        double removed = 0.0, total = 0.0;

        for (std::size_t i = 0; i < out.size(); ++i)
        {
            const auto x = static_cast<double> (microphones[track]->samples[i]);
            REQUIRE (std::isfinite (out[i]));
            removed += std::pow (x - static_cast<double> (out[i]), 2.0);
            total += x * x;
        }

        return 10.0 * std::log10 ((removed + 1.0e-20) / (total + 1.0e-20));
    }

    /** Signal-to-distortion ratio of a track at Focus 5 against its drum alone, in dB. */
    [[nodiscard]] double quality (std::size_t track) const
    {
        const auto out = rendered (track, 5.0f);
        double signal = 0.0, distortion = 0.0;

        for (std::size_t i = 0; i < out.size(); ++i)
        {
            const auto s = static_cast<double> (own[track][i]);
            signal += s * s;
            distortion += std::pow (static_cast<double> (out[i]) - s, 2.0);
        }

        return 10.0 * std::log10 (signal / distortion);
    }

    std::vector<float> own[numDrums];
    std::vector<std::unique_ptr<MemorySource>> microphones;
    std::unique_ptr<MemoryStorage> storage;
    AnalysisResult result;
};
} // namespace

TEST_CASE ("Refined analysis in the corners", "[engine][refinement]")
{
    SECTION ("microphones that hear only their own drum come out as they are")
    {
        SmallKit kit (0.0f);
        kit.analyse();

        for (std::size_t track = 0; track < numDrums; ++track)
            for (const auto focus : { 1.0f, 5.0f })
            {
                INFO ("track " << track << ", Focus " << focus);
                CHECK (kit.removedDb (track, focus) < -45.0);
            }
    }

    SECTION ("a microphone whose own drum never plays is left as it is, the others are cleaned")
    {
        SmallKit kit (0.15f, 2);
        kit.analyse();
        CHECK (kit.result.tracks[2].findings.suggestedFocus == 0.0);

        for (std::size_t track = 0; track < 2; ++track)
        {
            INFO ("track " << track);
            CHECK (kit.result.tracks[track].findings.suggestedFocus >= 1.0);
            CHECK (kit.removedDb (track, 5.0f) > -30.0);
        }
    }

    SECTION ("a drum whose finding is unsure is not subtracted from the others")
    {
        // Leakage nearly as loud as the drums: what is kept of the kick holds the snare as well.
        SmallKit kit (0.8f, -1, 0.45f);
        kit.analyse();
        const auto& kick = kit.result.tracks[0];
        CHECK (kick.findings.suggestedFocus > 0.0);
        CHECK (kick.findings.certainty() == Certainty::unsure);
        CHECK (kit.quality (1) > 8.5); // 3.2 dB less with it
    }

    SECTION ("silence, as a lead-in, in a gap, as a whole track and everywhere, stays silence")
    {
        SmallKit kit (0.15f);

        for (std::size_t track = 0; track < numDrums; ++track)
        {
            auto& samples = kit.microphones[track]->samples;
            std::fill_n (samples.begin(), track == 2 ? length : 40000, 0.0f);
            std::fill_n (samples.begin() + 90000, 20000, 0.0f);
        }

        kit.analyse();
        CHECK (kit.result.tracks[2].findings.suggestedFocus == 0.0);

        for (std::size_t track = 0; track < numDrums; ++track)
        {
            const auto out = kit.rendered (track, 5.0f);
            float loudest = 0.0f;

            for (std::size_t i = 0; i < 37000; ++i) // but for the frames at the edge
                loudest = std::max (loudest, std::abs (out[i]));

            CHECK (loudest < 1.0e-6f);
            CHECK (kit.removedDb (track, 5.0f) <= 0.0); // and finite
        }

        for (auto& microphone : kit.microphones)
            std::fill (microphone->samples.begin(), microphone->samples.end(), 0.0f);

        kit.analyse();

        for (std::size_t track = 0; track < numDrums; ++track)
        {
            CHECK (kit.result.tracks[track].findings.suggestedFocus == 0.0);
            CHECK (kit.removedDb (track, 5.0f) <= 0.0);
        }
    }
}
