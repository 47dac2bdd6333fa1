#include "engine/numerics/RandomStream.h"
#include "engine/numerics/WorkerPool.h"
#include "engine/refinement/LowPaths.h"
#include "tests/support/EngineFixtures.h"

#include <array>
#include <cmath>
#include <numbers>
#include <utility>

using namespace tessivar;
using namespace tessivar::refinement;
using namespace tessivar::test;

namespace
{
constexpr std::size_t numSamples = 16538; // twelve seconds at 44.1 kHz
constexpr double lowRate = 44100.0 / 32.0;
constexpr std::size_t mutedFrom = 6000, mutedEnd = 9000;

/** Hits, a fresh bit of decaying noise every period. */
std::vector<float> hits (std::uint64_t seed, std::size_t period)
{
    RandomStream noise (seed);
    std::vector<float> samples (numSamples);

    for (std::size_t i = 0; i < numSamples; ++i)
        samples[i] = static_cast<float> (std::exp (-static_cast<double> (i % period) / (0.03 * lowRate)))
                     * (noise.next() - 0.5f);

    return samples;
}

/** What rings on at 160 Hz for a tenth of a second. */
std::vector<float> ringing (std::span<const float> hits)
{
    const auto decay = std::exp (-1.0 / (0.1 * lowRate));
    const auto turn = std::cos (2.0 * std::numbers::pi * 160.0 / lowRate);
    std::vector<float> samples;
    double last = 0.0, before = 0.0;

    for (const auto x : hits)
    {
        const auto next = 2.0 * decay * turn * last - decay * decay * before + 0.1 * static_cast<double> (x);
        before = std::exchange (last, next);
        samples.push_back (static_cast<float> (next));
    }

    return samples;
}

double power (std::span<const float> samples, std::span<const float> without = {})
{
    double sum = 0.0;

    for (std::size_t i = 0; i < samples.size(); ++i)
        if (i < mutedFrom || i >= mutedEnd)
            sum += std::pow (static_cast<double> (samples[i] - (without.empty() ? 0.0f : without[i])), 2.0);

    return sum;
}
} // namespace

TEST_CASE ("Low paths find what rings on in another microphone", "[engine][refinement]")
{
    AnalysisShape analysisShape;
    analysisShape.rate = *RateParameters::forRate (44100);
    analysisShape.lengthInSamples = static_cast<std::int64_t> (numSamples) * 32;
    const std::array<RefinementTrack, 3> tracks{};
    const std::function<void (double)> progress = [] (double) {};
    std::vector<TrackAnalysis> analyses (tracks.size());
    MemoryStorage storage ({});

    // The second drum rings in the first microphone, which is muted for a while and holds a rest of its own
    // drum; the third microphone is the second one's twin.
    const std::array drums{ hits (1, 1103), hits (2, 857) };
    auto ring = ringing (drums[1]);
    std::fill (ring.begin() + mutedFrom, ring.begin() + mutedEnd, 0.0f);
    auto inFirst = ring;

    for (std::size_t i = 0; i < numSamples; ++i)
        inFirst[i] += i < mutedFrom || i >= mutedEnd ? 0.02f * drums[0][i] : 0.0f;

    std::vector<std::vector<float>> expected;

    const auto findWith = [&] (int threads)
    {
        WorkerPool pool (threads);
        const WorkControl control;
        RefinementRun run (tracks, analysisShape, pool, storage, control, progress, analyses);
        BinGains gains (run.shape.numBins, tracks.size());
        SilentFrames silent (run.shape.length, run.shape.rate);
        LowSignals low (tracks.size());

        for (std::size_t bin = 0; bin < run.shape.numBins; ++bin)
        {
            const auto ofBin = gains.gainsOf (bin);
            ofBin[0] = ofBin[4] = ofBin[8] = 1.0f;
            ofBin[1] = ofBin[3] = ofBin[6] = 0.1f;
        }

        for (std::size_t track = 0; track < tracks.size(); ++track)
        {
            std::vector<float> powers (static_cast<std::size_t> (run.shape.numFrames), 1.0f);

            if (track == 0)
                std::fill (powers.begin() + mutedFrom / 16 + 4, powers.begin() + mutedEnd / 16, 0.0f);

            silent.add (std::span<const float> (powers));

            if (track < drums.size())
                low.drums[track].emplace (run.shape).write (0, drums[track]);

            low.microphones[track].emplace (run.shape).write (0, track == 0 ? inFirst : drums[1]);
        }

        silent.settle();
        REQUIRE (silent.isEverSilent (0));
        REQUIRE (predictLowLeakage (run, gains, silent, low, {}));
        std::vector<std::vector<float>> found;

        for (const auto& signal : low.microphones)
            signal->read (0, found.emplace_back (numSamples));

        CHECK (power (found[0], ring) < 0.16 * power (ring));
        CHECK (power (found[1]) < 0.02 * power (drums[1])); // its own drum
        CHECK (power (found[2]) < 0.02 * power (drums[1])); // the same drum
        expected = expected.empty() ? found : expected;
        CHECK (found == expected); // the same bits on every target and for every number of threads
    };

    onEveryTarget (
        [&]
        {
            findWith (1);
            findWith (3);
        });
}

TEST_CASE ("A low band holds the low bins of the method's frames", "[engine][refinement]")
{
    for (const auto rate : { 44100, 192000 })
    {
        AnalysisShape analysisShape;
        analysisShape.rate = *RateParameters::forRate (rate);
        analysisShape.lengthInSamples = 40 * 4 * analysisShape.rate.frameLength + 7;
        const SpectrumShape shape (analysisShape);
        const auto window = dataFiles::sineBellWindow (shape.rate.frameLength);
        BlockFft fft (window);
        LowTransforms low (shape, window);
        LowSignal signal (shape);
        OverlapCarry carry (lowBand::hop);
        AlignedBuffer first (fft.spectrumFloats()), second (fft.spectrumFloats());
        std::vector<float> tones (static_cast<std::size_t> (shape.length + 16 * shape.rate.frameLength));

        // Two of them, of 3.3 and 20 bins' frequency; the signal begins with the fifth frame.
        for (std::size_t i = 0; i < tones.size(); ++i)
        {
            const auto angle = 2.0 * std::numbers::pi * static_cast<double> (i) / shape.rate.frameLength;
            tones[i] = static_cast<float> (0.5 * std::sin (3.3 * angle) + 0.25 * std::cos (20.0 * angle));
        }

        std::fill_n (low.gains.data(), low.gains.size(), 1.0f);
        const Stretch whole (shape, 0, shape.hopsOf (shape.length), shape.length);

        for (const std::int64_t block : { 0, 1, 2 })
        {
            auto& spectrum = block == 1 ? second : first;
            fft.load (tones.data() + block * static_cast<std::int64_t> (shape.blockSamples()));
            fft.forward (spectrum.data());
            signal.write (whole.completedBy (block), low.overlap (spectrum.data(), low.gains.data(), carry));
        }

        const auto& found = low.forward (signal, 16);
        double error = 0.0, sum = 0.0;

        for (std::size_t i = 0; i < lowBand::numBins * 2 * blockFrames; ++i)
        {
            error += std::pow (static_cast<double> (found[i] - second[i]), 2.0);
            sum += std::pow (static_cast<double> (second[i]), 2.0);
        }

        INFO (rate << " Hz");
        CHECK (error < 1.0e-4 * sum);
    }
}
