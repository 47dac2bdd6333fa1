#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/WorkerPool.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "tests/support/EngineFixtures.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
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
} // namespace

TEST_CASE ("Signal kernels", "[engine][numerics]")
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
                    CHECK (kernels::signalLevel (a.data(), n).squares == Approx (squares).margin (tolerance));
                    CHECK (kernels::signalLevel (a.data(), n).peak == peak);
                }
            });
    }
}

TEST_CASE ("Samples are rounded to the nearest step, and only what is lost counts as clipped",
           "[engine][numerics]")
{
    onEveryTarget (
        []
        {
            // 8 bit: 128 steps up to full scale. Around the ends of vectors all of them stay the same.
            const std::vector<float> given{ 0.49f / 128, 0.51f / 128, -0.51f / 128, 2.5f / 128, 1.0f,
                                            1.01f,       -1.0f,       -1.01f,       NAN };
            const std::vector<int> expected{ 0, 1, -1, 2, 127, 127, -128, -128, 0 };

            for (std::size_t n = 0; n <= 40; ++n)
            {
                std::vector<float> samples (n);
                std::vector<std::int32_t> steps (n + 1, 9);
                std::size_t numClipped = 0;

                for (std::size_t i = 0; i < n; ++i)
                {
                    samples[i] = given[i % given.size()];
                    numClipped += std::abs (samples[i]) > 1.0f ? 1 : 0;
                }

                CHECK (kernels::quantised (steps.data(), samples.data(), 8, n) == numClipped);
                CHECK (steps[n] == 9);

                for (std::size_t i = 0; i < n; ++i)
                    CHECK (steps[i] == expected[i % expected.size()] * (1 << 24));
            }

            const auto beforeFullScale = std::nextafter (1.0f, 0.0f), overFullScale = 1.0f + 0x1p-22f;
            const std::vector<float> fine{ 0x1.8p-24f, beforeFullScale, overFullScale, -overFullScale };
            std::vector<std::int32_t> steps (fine.size());
            CHECK (kernels::quantised (steps.data(), fine.data(), 24, fine.size()) == 2);
            CHECK (steps == std::vector<std::int32_t>{ 256, 0x7fffff00, 0x7fffff00, INT32_MIN });
        });
}

TEST_CASE ("Values by rank", "[engine][numerics]")
{
    onEveryTarget (
        []
        {
            for (const std::size_t n : { 1u, 15u, 16u, 17u, 100u })
            {
                auto values = noise (n, n);

                for (std::size_t i = 0; i + 3 < n; i += 3)
                    values[i] = values[i + 3]; // some more than once

                values[n / 2] = std::numeric_limits<float>::infinity();
                std::vector<float> sorted (values.data(), values.data() + n);
                std::sort (sorted.begin(), sorted.end());

                for (std::size_t index = 0; index < n; ++index)
                {
                    std::vector<float> usedUp (values.data(), values.data() + n);
                    const auto found = kernels::rankedValues (usedUp.data(), n, index);
                    CHECK (found.lower == sorted[index]);
                    CHECK (found.upper == sorted[std::min (index + 1, n - 1)]);
                }

                CHECK (kernels::replaceNonFinite (values.data(), n) == 1);
                CHECK (values[n / 2] == 0.0f);
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
