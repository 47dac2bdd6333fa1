#include "engine/AnalysisPipeline.h"
#include "engine/ComponentReader.h"
#include "engine/ComponentScoring.h"
#include "engine/SelfTest.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/SuppressionRendering.h"
#include "engine/numerics/RandomStream.h"
#include "terms/WorkControl.h"
#include "tests/support/EngineFixtures.h"

#include <atomic>
#include <cmath>

#include <filesystem>
#include <fstream>
#include <limits>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** A decaying tone on every beat, and a fainter one of each other drum. */
std::vector<float> drumTrack (int drum, std::int64_t length, double sampleRate)
{
    std::vector<float> samples (static_cast<std::size_t> (length));
    RandomStream noise (static_cast<std::uint64_t> (drum) + 10);

    for (int source = 0; source < 3; ++source)
    {
        const auto level = source == drum ? 0.5f : 0.05f;
        const auto frequency = 100.0 * std::pow (4.0, source);
        const auto period = static_cast<std::int64_t> (sampleRate * (0.11 + 0.05 * source));

        for (std::int64_t i = 0; i < length; ++i)
        {
            const auto t = static_cast<double> (i % period) / sampleRate;
            samples[static_cast<std::size_t> (i)] +=
                level * static_cast<float> (std::exp (-t / 0.02) * std::sin (6.283185 * frequency * t));
        }
    }

    for (auto& x : samples)
        x += 1.0e-4f * (noise.next() - 0.5f);

    return samples;
}

struct SmallGroup
{
    explicit SmallGroup (const std::vector<DrumType>& types,
                         double sampleRate = 44100.0,
                         std::int64_t length = 30000)
    {
        for (std::size_t i = 0; i < types.size(); ++i)
        {
            sources.push_back (std::make_unique<MemorySource> (drumTrack (
                static_cast<int> (i % 3), length - 1000 * static_cast<std::int64_t> (i), sampleRate)));
            tracks.push_back (
                { { types[i], false, sampleRate, sources.back()->lengthInSamples() }, sources.back().get() });
        }
    }

    AnalysisResult analyse (int threads = 2, const WorkControl& control = {}, bool keepAll = false)
    {
        storage = std::make_unique<MemoryStorage> (tracks);
        auto options = quietOptions (threads);
        options.keepAllComponents = keepAll;
        return analyseTracks (tracks, options, *storage, control);
    }

    std::vector<std::unique_ptr<MemorySource>> sources;
    std::vector<AnalysisTrack> tracks;
    std::unique_ptr<MemoryStorage> storage;
};
} // namespace

TEST_CASE ("Analysis", "[engine][analysis]")
{
    using enum DrumType;

    SECTION ("rebuilds every close microphone from its six channels, at all rates, and the same for any "
             "number of threads")
    {
        for (const auto& rate : supportedRates)
        {
            SmallGroup group ({ hiHat, kick, other, snare }, rate.sampleRate);
            REQUIRE (group.analyse (1).status == AnalysisStatus::completed);
            const auto first = std::move (group.storage);
            REQUIRE (group.analyse (3).status == AnalysisStatus::completed);
            CHECK (group.storage->sinks.size() == 3);
            CHECK (group.storage->sinks.count (2) == 0);

            for (const auto& [index, sink] : group.storage->sinks)
            {
                CHECK (sink.components == first->sinks.at (index).components);
                const auto frames = sink.frames();
                auto out = group.sources[static_cast<std::size_t> (index)]->samples;
                REQUIRE (frames.size() == 7 * out.size());
                renderSuppression (out, frames, SuppressionRule::forSetting ({ 0.0f, 0.0f }));
                float worst = 0.0f, best = 0.0f;

                for (std::size_t i = 0; i < out.size(); ++i)
                {
                    worst = std::max (
                        worst,
                        std::abs (out[i] - group.sources[static_cast<std::size_t> (index)]->samples[i]));
                    best = std::max (best, std::abs (frames[7 * i]));
                }

                CHECK (worst < 1.0e-6f);
                CHECK (best > 0.01f);
                CHECK (best <= 1.0f);
            }
        }
    }

    SECTION ("hands over ten components whose sum has the energy of the track")
    {
        SmallGroup group ({ kick, snare });
        REQUIRE (group.analyse (2, {}, true).status == AnalysisStatus::completed);

        for (int track = 0; track < 2; ++track)
        {
            double energy = 0.0, trackEnergy = 0.0;

            for (int slot = 0; slot < 10; ++slot)
                for (const auto x : group.storage->components.at ({ track, slot }))
                    energy += static_cast<double> (x) * static_cast<double> (x);

            for (const auto x : group.sources[static_cast<std::size_t> (track)]->samples)
                trackEnergy += static_cast<double> (x) * static_cast<double> (x);

            // Components ring on past the shorter track's end, so its share may fall a little short.
            CHECK (energy == Approx (trackEnergy).epsilon (0.01));
        }
    }

    SECTION ("components that are rendered when they are read are those that would be stored")
    {
        SmallGroup group ({ hiHat, kick, other, snare });
        REQUIRE (group.analyse().status == AnalysisStatus::completed);
        auto options = quietOptions (2);
        options.storesComponents = false;
        MemoryStorage unused (group.tracks);
        const auto result = analyseTracks (group.tracks, options, unused, {});
        REQUIRE (result.status == AnalysisStatus::completed);
        CHECK (unused.sinks.empty());

        for (const auto& [index, sink] : group.storage->sinks)
        {
            const auto i = static_cast<std::size_t> (index);
            const auto& found = result.tracks[i];
            CHECK (found.level.gain == sink.level.gain);
            CHECK (found.level.rescaling == sink.level.rescaling);

            ComponentReader reader (result.factors,
                                    { found.row,
                                      group.tracks[i].shape.drumType,
                                      group.tracks[i].shape.lengthInSamples,
                                      found.slots,
                                      found.level },
                                    *group.sources[i]);

            // Runs of all sizes, on from the one before and from elsewhere, of all components and of some.
            for (const std::size_t numWanted : { 1u, 5u })
                for (const auto& [start, length] :
                     { std::pair{ 0, 1 }, { 1, 15615 }, { 15616, 10 }, { 20000, 0 }, { 3000, 20000 } })
                {
                    std::array<std::vector<float>, 5> read;
                    ComponentSource::Signals signals{};

                    for (std::size_t c = 0; c < numWanted; ++c)
                    {
                        read[c].resize (static_cast<std::size_t> (length));
                        signals[c] = read[c].data();
                    }

                    REQUIRE (reader.read (start, static_cast<std::size_t> (length), signals));

                    for (std::size_t c = 0; c < numWanted; ++c)
                        CHECK (
                            std::equal (read[c].begin(), read[c].end(), sink.components[c].begin() + start));
                }

            // Added up before they are transformed, or afterwards: the same on every target.
            std::vector<float> expected;
            onEveryTarget (
                [&]
                {
                    std::vector<float> one (20000), three (one.size());
                    REQUIRE (reader.readSums (500, one.size(), { one.data(), nullptr, three.data() }));
                    float error = 0.0f;

                    for (std::size_t s = 0; s < one.size(); ++s)
                    {
                        const auto at = [&] (std::size_t c)
                        { return found.level.applyTo (sink.components[c][500 + s]); };
                        error = std::max ({ error,
                                            std::abs (one[s] - at (0)),
                                            std::abs (three[s] - (at (0) + at (1) + at (2))) });
                    }

                    CHECK (error < 1.0e-6f);
                    three.insert (three.end(), one.begin(), one.end());
                    expected = expected.empty() ? three : expected;
                    CHECK (three == expected);
                });
        }
    }

    SECTION ("progress rises from loading to the end through its fixed marks")
    {
        SmallGroup group ({ hiHat, kick, oh });
        std::vector<double> values;
        REQUIRE (group.analyse (2, { {}, [&] (double x) { values.push_back (x); } }).status
                 == AnalysisStatus::completed);
        CHECK (std::is_sorted (values.begin(), values.end()));
        const auto has = [&] (double x) {
            return std::any_of (
                values.begin(), values.end(), [x] (double y) { return std::abs (x - y) < 1.0e-9; });
        };
        CHECK (values.front() == 0.0071428571827709675);
        CHECK (has (static_cast<double> (7.0f / 140.0f)));
        CHECK (has (0.05 + 0.05 * 2.0 / 3.0));
        CHECK (has (0.1 + 0.5 * 40.0 / 75.0));
        CHECK (has (0.6 + 0.4 * (1.0 / 12.0) / 3.0));       // the Kick, first to be rendered
        CHECK (has (0.6 + 0.4 * (2.0 + 5.0 / 12.0) / 3.0)); // the HiHat, behind the others
        CHECK (values.back() == 1.0);
    }

    SECTION ("a stop is honoured wherever it comes")
    {
        for (const double stopAt : { 0.0, 0.02, 0.05, 0.07, 0.1, 0.35, 0.6, 0.65, 0.73, 0.8, 0.9 })
        {
            SmallGroup group ({ kick, hiHat, snare });
            std::atomic<double> reached{ -1.0 };
            const auto result =
                group.analyse (2, { [&] { return reached >= stopAt; }, [&] (double x) { reached = x; } });
            INFO ("stopped at " << stopAt);
            CHECK (result.status == AnalysisStatus::stopped);
        }
    }

    SECTION ("what can't be analysed is said")
    {
        CHECK (SmallGroup ({ kick }, 22050.0).analyse().status == AnalysisStatus::unsupportedRate);

        SmallGroup unreadable ({ kick, snare });
        unreadable.sources[1]->failsToRead = true;
        CHECK (unreadable.analyse().status == AnalysisStatus::readFailed);

        SmallGroup onlyOther ({ other, oh });
        CHECK (onlyOther.analyse().status == AnalysisStatus::completed);
        CHECK (onlyOther.storage->sinks.empty());
    }

    SECTION ("silence, a constant and samples that are no numbers do no harm")
    {
        SmallGroup group ({ kick, snare, tomHigh });
        std::fill (group.sources[0]->samples.begin(), group.sources[0]->samples.end(), 0.0f);
        std::fill (group.sources[1]->samples.begin(), group.sources[1]->samples.end(), 0.25f);
        group.sources[2]->samples[5000] = std::numeric_limits<float>::quiet_NaN();
        group.sources[2]->samples[5001] = std::numeric_limits<float>::infinity();
        REQUIRE (group.analyse().status == AnalysisStatus::completed);

        for (const auto& [index, sink] : group.storage->sinks)
        {
            const auto frames = sink.frames();
            CHECK (std::all_of (frames.begin(), frames.end(), [] (float x) { return std::isfinite (x); }));
        }

        SmallGroup silent ({ kick, hiHat });
        for (auto& source : silent.sources)
            std::fill (source->samples.begin(), source->samples.end(), 0.0f);
        REQUIRE (silent.analyse().status == AnalysisStatus::completed);
        const auto frames = silent.storage->sinks.at (1).frames();
        CHECK (std::all_of (frames.begin(), frames.end(), [] (float x) { return x == 0.0f; }));
    }
}

TEST_CASE ("Component scoring", "[engine][scoring]")
{
    SECTION ("a silent signal correlates at 0, a signal with itself at 1")
    {
        const std::vector<float> a{ 0.1f, -0.2f, 0.3f }, zero (3), faint{ 1.0e-30f, 0.0f, 2.0e-30f };
        CHECK (correlation (a, a) == Approx (1.0).epsilon (1.0e-6));
        CHECK (correlation (a, zero) == 0.0);
        CHECK (correlation (zero, zero) == 0.0);
        CHECK (std::abs (correlation (a, faint)) < 1.0e-9); // its squares underflow
    }

    SECTION ("ties keep the lower index first")
    {
        const ComponentValues scores{ 0.5, 0.9, 0.5, 0.9, 0.0, 0.0, 0.5, 0.1, 0.2, 0.3 };
        CHECK (orderByScore (scores) == ComponentOrder{ 1, 3, 0, 2, 6, 9, 8, 7, 4, 5 });
        const std::vector<double> energies{ 9.0, 1.0, 3.0, 3.0, 2.0, 3.0 };
        LoudestFrames three (1, 3), all (4, 50); // the frames before are padding

        for (auto* frames : { &three, &all })
        {
            frames->add (3, std::span (energies).subspan (3));
            frames->add (0, std::span (energies).first (3));
        }

        CHECK (three.inOrder() == std::vector<std::int64_t>{ 2, 3, 5 });
        CHECK (all.inOrder() == std::vector<std::int64_t>{ 5, 4 });
    }

    SECTION ("components like the Kick or the Snare fill a HiHat's slots from the back")
    {
        const ComponentOrder order{ 4, 2, 0, 1, 3, 5, 6, 7, 8, 9 };
        const ComponentValues kick{ 0.1, 1.0, 0.0, 0.0, 0.7, 0.0, 0.0, 0.0, 0.0, 0.69 },
            snare{ 0.0, 0.9, 0.8, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0 };
        CHECK (hiHatSlots (order, kick, snare, 0.7) == ComponentOrder{ 0, 3, 5, 6, 7, 8, 9, 4, 2, 1 });
        CHECK (hiHatSlots (order, kick, {}, 0.7) == ComponentOrder{ 2, 0, 3, 5, 6, 7, 8, 9, 4, 1 });
        ComponentValues all;
        all.fill (1.0);
        CHECK (hiHatSlots (order, all, {}, 0.7) == ComponentOrder{ 9, 8, 7, 6, 5, 4, 3, 2, 1, 0 });

        // Where nothing else lives, the best of those that do keeps the track from silence.
        ComponentValues energies{ 0.0, 3.0, 1.0, 0.0, 1.0e-9 };
        CHECK (hiHatSlots (order, kick, snare, 0.7, energies)
               == ComponentOrder{ 2, 0, 3, 5, 6, 7, 8, 9, 4, 1 });
        energies[0] = 0.1;
        CHECK (hiHatSlots (order, kick, snare, 0.7, energies) == hiHatSlots (order, kick, snare, 0.7));
    }
}

TEST_CASE ("Suppression rule", "[engine][suppression]")
{
    const auto weightsAt = [] (float focus) {
        return SuppressionRule::forSetting ({ focus, 0.0f }).channelWeight;
    };
    const auto fade = std::sqrt (0.001f);
    CHECK (weightsAt (0.0f) == std::array<float, 6>{ 1, 1, 1, 1, 1, 1 });
    CHECK (weightsAt (0.5f) == std::array<float, 6>{ 1, 1, 1, 1, 1, fade });
    CHECK (weightsAt (1.0f) == std::array<float, 6>{ 1, 1, 1, 1, 1, 0 });
    CHECK (weightsAt (4.5f) == std::array<float, 6>{ 1, fade, 0, 0, 0, 0 });
    CHECK (weightsAt (5.0f) == std::array<float, 6>{ 1, 0, 0, 0, 0, 0 });
    CHECK (weightsAt (std::numeric_limits<float>::quiet_NaN()) == weightsAt (0.0f));

    // The seven weights that playback ramps are the same rule.
    const std::vector<float> frame{ 0.1f, 0.2f, -0.3f, 0.4f, 0.5f, -0.6f, 0.35f };
    const auto rule = SuppressionRule::forSetting ({ 2.25f, 0.4f });
    std::vector<float> out (1);
    renderSuppression (out, frame, rule);
    float sum = 0.0f;

    for (std::size_t c = 0; c < 7; ++c)
        sum += rule.toWeights()[c] * frame[c];

    CHECK (sum == Approx (out[0]).margin (1.0e-6));
}

TEST_CASE ("Analysis data files", "[engine][data]")
{
    SECTION ("are the same bytes on every machine")
    {
        std::uint64_t hash = 14695981039346656037u; // FNV-1a

        for (const auto& entry : allDataFiles())
        {
            std::ifstream file (resourceFolder() + "/" + entry.name, std::ios::binary);
            std::size_t count = 0;

            for (char c; file.get (c); ++count)
                hash = (hash ^ static_cast<unsigned char> (c)) * 1099511628211u;

            CHECK (count == 4 * entry.numFloats);
        }

        CHECK (hash == 0xd97b28963ec68bf7u);
    }

    SECTION ("a missing or long file is tolerated and leaves its line")
    {
        std::vector<float> array (4, 9.0f);
        std::string log;
        bool isRead = true;
        const auto keep = [&] (std::string_view line, bool wasRead)
        {
            log += line;
            isRead = wasRead;
        };
        readDataFile (resourceFolder() + "/absent.dat", array, keep);
        CHECK (array == std::vector<float> (4, 0.0f));
        CHECK (log == "Some data from " + resourceFolder() + "/absent.dat didn't fit.\n");
        CHECK_FALSE (isRead);
        log.clear();
        const auto window = resourceFolder() + "/resources02/sinebell_1024_256.dat";
        readDataFile (window, array, keep);
        CHECK (array[3] > array[0]);
        CHECK (log == "Read 16 bytes from " + window + "\n");
        CHECK (isRead);
    }

    SECTION ("a stop between two files leaves the rest unread")
    {
        AnalysisData data;
        int read = 0;
        CHECK_FALSE (loadAnalysisData (resourceFolder(),
                                       supportedRates[0],
                                       data,
                                       { [&] { return read == 3; }, {} },
                                       [&] (std::string_view, bool) { ++read; }));
        CHECK (read == 3);
        CHECK (data.window.size() == 0);
    }

    SECTION ("the self-test passes with them and names what is wrong without")
    {
        for (const auto& line : runSelfTest (resourceFolder()))
        {
            INFO (line.name << ": " << line.detail);
            CHECK (line.ok);
        }

        // In a folder whose name not every language of a system has letters for.
        const TemporaryFolder temporary;
        const auto copy = temporary.name() + "/J\xc3\xb6rg \xe6\x9d\xb1";

        for (const auto& entry : allDataFiles())
        {
            const auto target = pathOf (copy + "/" + entry.name);
            std::filesystem::create_directories (target.parent_path());
            std::filesystem::copy_file (pathOf (resourceFolder() + "/" + entry.name), target);
        }

        CHECK (runSelfTest (copy)[0].ok);
        std::filesystem::resize_file (pathOf (copy + "/resources02/sinebell_1024_256.dat"), 4000);
        const auto lines = runSelfTest (copy);
        CHECK_FALSE (lines[0].ok);
        CHECK (lines[0].detail.find ("sinebell_1024_256.dat has 4000 bytes, not 4096") != std::string::npos);
        CHECK_FALSE (lines[1].ok);
    }
}
