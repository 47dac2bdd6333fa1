#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/RealFft.h"
#include "engine/numerics/WorkerPool.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "tests/support/EngineFixtures.h"

#include <atomic>
#include <complex>
#include <cstring>
#include <limits>
#include <numbers>
#include <stdexcept>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
AlignedBuffer noise (std::size_t n, std::uint64_t seed)
{
    AlignedBuffer buffer (n);
    RandomStream random (seed);

    for (auto& x : buffer.span())
        x = 2.0f * random.next() - 1.0f;

    return buffer;
}

/** The DFT by its definition, in double precision. */
std::complex<double> dftBin (const float* samples, std::size_t n, std::size_t bin)
{
    std::complex<double> sum;

    for (std::size_t i = 0; i < n; ++i)
        sum +=
            static_cast<double> (samples[i])
            * std::polar (
                1.0, -2.0 * std::numbers::pi * static_cast<double> (bin * i % n) / static_cast<double> (n));

    return sum;
}
} // namespace

TEST_CASE ("Spectral kernels", "[engine][numerics]")
{
    SECTION ("sums and peaks agree with a plain loop at any length")
    {
        onEveryTarget (
            []
            {
                for (const std::size_t n : { 0u, 1u, 15u, 16u, 17u, 1023u, 1024u, 1025u, 5000u })
                {
                    const auto a = noise (n + 1, n + 1), b = noise (n + 1, n + 2);
                    double squares = 0.0, products = 0.0;
                    float peak = 0.0f;

                    for (std::size_t i = 0; i < n; ++i)
                    {
                        squares += static_cast<double> (a[i]) * static_cast<double> (a[i]);
                        products += static_cast<double> (a[i]) * static_cast<double> (b[i]);
                        peak = std::max (peak, std::abs (a[i]));
                    }

                    // Sums of 1024 in 16 lanes: 64 additions and a tree, each within half an ulp.
                    const auto tolerance = 70.0 * 6.0e-8 * (static_cast<double> (n) + 1.0);
                    CHECK (kernels::sumOfSquares (a.data(), n) == Approx (squares).margin (tolerance));
                    CHECK (kernels::dotProduct (a.data(), b.data(), n)
                           == Approx (products).margin (tolerance));
                    CHECK (kernels::peakLevel (a.data(), n) == peak);
                    CHECK (kernels::signalLevel (a.data(), n).squares == Approx (squares).margin (tolerance));
                    CHECK (kernels::signalLevel (a.data(), n).peak == peak);
                }
            });
    }
}

TEST_CASE ("RealFft", "[engine][numerics]")
{
    onEveryTarget (
        []
        {
            for (const std::size_t n : { 32u, 1024u, 2048u, 4096u })
            {
                RealFft fft (n);
                AlignedBuffer samples (n), spectrum (fft.spectrumFloats()), back (n);

                const auto expectBin = [&] (std::size_t bin, std::complex<double> value)
                {
                    CHECK (static_cast<double> (spectrum[2 * bin])
                           == Approx (value.real()).margin (1.0e-6 * static_cast<double> (n)));
                    CHECK (static_cast<double> (spectrum[2 * bin + 1])
                           == Approx (value.imag()).margin (1.0e-6 * static_cast<double> (n)));
                };

                // An impulse at 1: every bin has magnitude 1 and the phase of one sample's delay.
                samples[1] = 1.0f;
                fft.forward (spectrum.data(), samples.data());

                for (const auto bin : { std::size_t{ 0 }, std::size_t{ 1 }, n / 4, n / 2 - 1, n / 2 })
                    expectBin (bin,
                               std::polar (1.0,
                                           -2.0 * std::numbers::pi * static_cast<double> (bin)
                                               / static_cast<double> (n)));

                const auto signal = noise (n, n);
                fft.forward (spectrum.data(), signal.data());

                for (const auto bin : { std::size_t{ 0 }, std::size_t{ 3 }, n / 4 + 1, n / 2 - 2, n / 2 })
                    expectBin (bin, dftBin (signal.data(), n, bin));

                fft.inverse (back.data(), spectrum.data());
                float worst = 0.0f;

                for (std::size_t i = 0; i < n; ++i)
                    worst = std::max (worst, std::abs (back[i] / static_cast<float> (n) - signal[i]));

                CHECK (worst < 1.0e-6f);

                // Weights on the bins: a weight of 2 on one bin and 0 on the others leaves a sinusoid.
                std::vector<float> weights (fft.numBins());
                weights[5] = 2.0f;
                AlignedBuffer packed (fft.packedWeightFloats());
                fft.packWeights (packed.data(), weights.data());
                fft.prepare (spectrum.data());
                fft.inverseWeighted (back.data(), packed.data());
                const std::complex<double> bin5{ static_cast<double> (spectrum[10]),
                                                 static_cast<double> (spectrum[11]) };

                for (const auto i : { std::size_t{ 0 }, n / 3, n - 1 })
                {
                    const auto angle =
                        2.0 * std::numbers::pi * 5.0 * static_cast<double> (i) / static_cast<double> (n);
                    CHECK (static_cast<double> (back[i])
                           == Approx (4.0 * (bin5 * std::polar (1.0, angle)).real())
                                  .margin (2.0e-5 * std::sqrt (static_cast<double> (n))));
                }

                // Gains that serve once are not packed, and do the same.
                for (std::size_t k = 0; k < weights.size(); ++k)
                    weights[k] = std::abs (signal[k % n]) + 0.1f;

                AlignedBuffer gained (n);
                fft.packWeights (packed.data(), weights.data());
                fft.inverseWeighted (back.data(), packed.data());
                fft.inverseGained (gained.data(), weights.data());
                CHECK (std::equal (gained.span().begin(), gained.span().end(), back.span().begin()));
            }
        });
}

TEST_CASE ("WorkerPool", "[engine][numerics]")
{
    for (const int threads : { 0, 1, 2, 5 })
    {
        WorkerPool pool (threads);
        std::vector<std::atomic<int>> calls (1000);
        pool.forEach (calls.size(), [&] (std::size_t item, int) { ++calls[item]; });
        CHECK (std::all_of (calls.begin(), calls.end(), [] (const auto& n) { return n == 1; }));

        // A failure anywhere comes out here, and the pool still works afterwards.
        CHECK_THROWS_AS (pool.forEach (100,
                                       [] (std::size_t item, int)
                                       {
                                           if (item == 50)
                                               throw std::runtime_error ("item 50");
                                       }),
                         std::runtime_error);
        std::atomic<int> workers{ 0 };
        pool.onEachWorker ([&] (int) { ++workers; });
        CHECK (workers == pool.numWorkers());
    }
}
