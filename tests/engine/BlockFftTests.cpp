#include "engine/DataFileGenerator.h"
#include "engine/numerics/BlockFft.h"
#include "engine/numerics/RandomStream.h"
#include "tests/support/EngineFixtures.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr auto lanes = BlockFft::numFrames;

std::vector<float> noise (std::size_t n, std::uint64_t seed)
{
    std::vector<float> values (n);
    RandomStream random (seed);

    for (auto& x : values)
        x = 2.0f * random.next() - 1.0f;

    return values;
}

/** What one frame gives, through FFTW. */
struct Reference
{
    explicit Reference (std::span<const float> w)
        : window (w), samples (w.size()), spectrum (w.size() + 2), weighted (w.size() + 2),
          toSpectrum (fftwf_plan_dft_r2c_1d (
              static_cast<int> (w.size()), samples.data(), bins (spectrum), FFTW_ESTIMATE)),
          toSamples (fftwf_plan_dft_c2r_1d (
              static_cast<int> (w.size()), bins (weighted), samples.data(), FFTW_ESTIMATE))
    {
    }

    ~Reference()
    {
        fftwf_destroy_plan (toSpectrum);
        fftwf_destroy_plan (toSamples);
    }

    Reference (const Reference&) = delete;
    Reference& operator= (const Reference&) = delete;

    void forward (const float* frame)
    {
        for (std::size_t i = 0; i < window.size(); ++i)
            samples[i] = frame[i] * window[i];

        fftwf_execute (toSpectrum);
    }

    /** Inverse transform under a gain for each bin. */
    void inverse (const std::vector<float>& gains)
    {
        for (std::size_t f = 0; f < gains.size(); ++f)
        {
            weighted[2 * f] = gains[f] * spectrum[2 * f];
            weighted[2 * f + 1] = gains[f] * spectrum[2 * f + 1];
        }

        fftwf_execute (toSamples);
    }

    static fftwf_complex* bins (AlignedBuffer& buffer)
    {
        return reinterpret_cast<fftwf_complex*> (buffer.data());
    }

    std::span<const float> window;
    AlignedBuffer samples, spectrum, weighted;
    fftwf_plan toSpectrum, toSamples;
};
} // namespace

TEST_CASE ("Transforms of sixteen frames", "[engine][numerics]")
{
    for (const std::size_t n : { 64u, 128u, 256u, 512u, 1024u, 2048u, 4096u, 8192u })
    {
        INFO ("length " << n);
        const auto window = dataFiles::sineBellWindow (static_cast<int> (n));
        const auto hop = n / 4, bins = n / 2 + 1;
        constexpr std::size_t numBlocks = 2;
        const auto signal = noise ((numBlocks * lanes - 1) * hop + n, n);
        auto weights = noise (bins, 1);
        auto gains = noise (numBlocks * bins * lanes, 2);
        const auto frameGains = noise (numBlocks * lanes, 3);

        // In double, as sums of all frames.
        std::vector<double> weightedSum (signal.size()), gainedSum (signal.size());
        std::vector<float> spectra, inverses;
        Reference reference (window);

        for (std::size_t t = 0; t < numBlocks * lanes; ++t)
        {
            const auto add = [&] (std::vector<double>& sum)
            {
                for (std::size_t i = 0; i < n; ++i)
                    sum[t * hop + i] +=
                        static_cast<double> (frameGains[t] * reference.samples[i] * window[i]);
            };

            reference.forward (signal.data() + t * hop);
            spectra.insert (spectra.end(), reference.spectrum.data(), reference.spectrum.data() + 2 * bins);
            reference.inverse (weights);
            inverses.insert (inverses.end(), reference.samples.data(), reference.samples.data() + n);
            add (weightedSum);

            std::vector<float> ofFrame (bins);

            for (std::size_t f = 0; f < bins; ++f)
                ofFrame[f] = gains[(t / lanes * bins + f) * lanes + t % lanes];

            reference.inverse (ofFrame);
            add (gainedSum);
        }

        std::vector<float> first; // all results on the first target

        onEveryTarget (
            [&]
            {
                BlockFft fft (window);
                OverlapCarry weightedCarry (hop), gainedCarry (hop);
                AlignedBuffer spectrum (fft.spectrumFloats()), samples (n * lanes), block (lanes * hop),
                    blockGains (bins * lanes);
                double error = 0.0, inverseError = 0.0, sumError = 0.0;
                std::vector<float> results;

                for (std::size_t b = 0; b < numBlocks; ++b)
                {
                    fft.load (signal.data() + b * lanes * hop);
                    fft.forward (spectrum.data());

                    for (std::size_t i = 0; i < spectrum.size(); ++i)
                    {
                        const auto bin = i / (2 * lanes), part = i / lanes % 2, frame = b * lanes + i % lanes;
                        error = std::max (error,
                                          static_cast<double> (std::abs (
                                              spectrum[i] - spectra[frame * 2 * bins + 2 * bin + part])));
                    }

                    fft.prepare (spectrum.data());
                    fft.inverseWeighted (samples.data(), weights.data());

                    for (std::size_t i = 0; i < samples.size(); ++i)
                        inverseError =
                            std::max (inverseError,
                                      static_cast<double> (std::abs (
                                          samples[i] - inverses[(b * lanes + i % lanes) * n + i / lanes])));

                    results.insert (results.end(), samples.data(), samples.data() + samples.size());

                    const auto expect = [&] (const std::vector<double>& sum)
                    {
                        for (std::size_t i = 0; i < block.size(); ++i)
                            sumError = std::max (
                                sumError,
                                std::abs (static_cast<double> (block[i]) - sum[b * lanes * hop + i]));

                        results.insert (results.end(), block.data(), block.data() + block.size());
                    };

                    fft.overlapWeighted (
                        block.data(), weightedCarry, weights.data(), frameGains.data() + b * lanes);
                    expect (weightedSum);
                    std::copy_n (gains.data() + b * bins * lanes, bins * lanes, blockGains.data());
                    fft.overlapGained (
                        block.data(), gainedCarry, blockGains.data(), frameGains.data() + b * lanes);
                    expect (gainedSum);
                }

                // Spectra of noise have magnitudes of about sqrt (n), inverses n times more than the signal.
                const auto scale = static_cast<double> (n);
                CHECK (error < 1.0e-6 * std::sqrt (scale));
                CHECK (inverseError < 1.0e-6 * scale);
                CHECK (sumError < 1.0e-6 * scale);

                if (first.empty())
                    first = results;

                CHECK (first == results);
            });
    }

    SECTION ("a frame's result does not depend on its neighbours or its lane")
    {
        const auto window = dataFiles::sineBellWindow (1024);
        const auto signal = noise (40 * 256 + 1024, 5);
        const auto weights = noise (513, 6);
        std::vector<float> ones (lanes, 1.0f);

        const auto render = [&] (std::size_t lead)
        {
            BlockFft fft (window);
            OverlapCarry carry (256);
            AlignedBuffer spectrum (fft.spectrumFloats());
            std::vector<float> out (lead * 256 + 40 * 256 + 1024), padded (lead * 256, 0.25f);
            padded.insert (padded.end(), signal.begin(), signal.end());

            for (std::size_t t = 0; t < lead + 40; t += lanes)
            {
                const auto given = std::min (lanes, lead + 40 - t);
                std::vector<float> block (lanes * 256 + 1); // not aligned
                fft.load (padded.data() + t * 256, given);
                fft.forward (spectrum.data());
                fft.prepare (spectrum.data());
                fft.overlapWeighted (block.data() + 1, carry, weights.data(), ones.data());
                out.resize (std::max (out.size(), (t + lanes) * 256));
                std::copy (
                    block.begin() + 1, block.end(), out.begin() + static_cast<std::ptrdiff_t> (t * 256));
            }

            // From where only frames of the signal overlap to the last one's start.
            return std::vector<float> (out.begin() + static_cast<std::ptrdiff_t> ((lead + 3) * 256),
                                       out.begin() + static_cast<std::ptrdiff_t> ((lead + 40) * 256));
        };

        CHECK (render (0) == render (5));
    }

    SECTION ("frames from anywhere, and silent ones")
    {
        const auto window = dataFiles::sineBellWindow (128);
        const auto signal = noise (256, 7);
        const std::vector<float> silence (128);
        BlockFft fft (window);
        std::array<const float*, lanes> frames{};
        frames[2] = signal.data() + 3;
        frames[9] = silence.data();
        fft.load (frames);

        for (std::size_t l = 0; l < lanes; ++l)
            CHECK (fft.isSilent (l) == (l != 2));

        AlignedBuffer spectrum (fft.spectrumFloats());
        fft.forward (spectrum.data());
        Reference reference (window);
        reference.forward (signal.data() + 3);

        for (std::size_t i = 0; i < spectrum.size(); ++i)
        {
            const auto bin = i / (2 * lanes), part = i / lanes % 2;
            const auto expected = i % lanes == 2 ? reference.spectrum[2 * bin + part] : 0.0f;
            REQUIRE (spectrum[i] == Approx (expected).margin (2.0e-5));
        }
    }
}
