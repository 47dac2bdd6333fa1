#include "engine/Decomposition.h"
#include "engine/numerics/RandomStream.h"
#include "terms/ChannelLayout.h"
#include "terms/WorkControl.h"
#include "tests/support/EngineFixtures.h"

#include <atomic>
#include <cmath>
#include <cstring>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::size_t numComponents = channelLayout::numComponents;

std::vector<float> uniform (std::size_t n, std::uint64_t seed)
{
    std::vector<float> values (n);
    RandomStream random (seed);

    for (auto& x : values)
        x = random.next();

    return values;
}

/** A factorization problem like a stacked mel power spectrogram: low rank times an exponential spread. */
struct Problem
{
    Problem (std::size_t r, std::size_t f)
        : rows (r), frames (f), v (rows * frames), w (uniform (rows * numComponents, 2)),
          h (uniform (numComponents * frames, 3))
    {
        const auto shape = uniform (rows * 3, 4), envelope = uniform (3 * frames, 5),
                   spread = uniform (rows * frames, 6);

        for (std::size_t t = 0; t < frames; ++t)
            for (std::size_t m = 0; m < rows; ++m)
            {
                float sum = 1.0e-6f;

                for (std::size_t k = 0; k < 3; ++k)
                    sum += std::pow (shape[m + rows * k], 8.0f) * std::pow (envelope[k + 3 * t], 8.0f);

                v[m + rows * t] = sum * -std::log (spread[m + rows * t] + 1.0e-7f);
            }
    }

    bool run (int iterations,
              int threads = 1,
              float weight = method::continuityWeight,
              const WorkControl& control = {})
    {
        WorkerPool pool (threads);
        const DecompositionSettings settings{ iterations, weight };
        return decompose ({ v.data(), rows, frames },
                          { w.data(), rows, numComponents },
                          { h.data(), numComponents, frames },
                          settings,
                          pool,
                          control);
    }

    [[nodiscard]] double model (std::size_t m, std::size_t t) const
    {
        double sum = 0.0;

        for (std::size_t k = 0; k < numComponents; ++k)
            sum += static_cast<double> (w[m + rows * k]) * static_cast<double> (h[k + numComponents * t]);

        return sum;
    }

    [[nodiscard]] double divergence() const
    {
        double sum = 0.0;

        for (std::size_t t = 0; t < frames; ++t)
            for (std::size_t m = 0; m < rows; ++m)
            {
                const auto ratio = std::max (static_cast<double> (v[m + rows * t]), 1.0e-24)
                                   / std::max (model (m, t), 1.0e-24);
                sum += ratio - std::log (ratio) - 1.0;
            }

        return sum;
    }

    std::size_t rows, frames;
    std::vector<float> v, w, h;
};

/** One iteration after its definition: whole arrays, double precision, plain loops. */
void iterateInDoubles (const Problem& p, std::vector<double>& w, std::vector<double>& h, double weight)
{
    constexpr double floor = 1.0e-24;
    const auto at = [] (std::vector<double>& x, std::size_t k, std::size_t t) -> double&
    { return x[k + numComponents * t]; };
    std::vector<double> vhat (p.rows * p.frames), n (h.size()), d (h.size());

    const auto updateModel = [&]
    {
        for (std::size_t t = 0; t < p.frames; ++t)
            for (std::size_t m = 0; m < p.rows; ++m)
            {
                vhat[m + p.rows * t] = 0.0;

                for (std::size_t k = 0; k < numComponents; ++k)
                    vhat[m + p.rows * t] += w[m + p.rows * k] * at (h, k, t);
            }
    };

    for (auto& x : h)
        x = std::max (x, floor);

    updateModel();
    auto hold = h;

    for (std::size_t t = 0; t < p.frames; ++t)
        for (std::size_t k = 0; k < numComponents; ++k)
            for (std::size_t m = 0; m < p.rows; ++m)
            {
                const auto x = vhat[m + p.rows * t];
                at (n, k, t) +=
                    w[m + p.rows * k] * static_cast<double> (p.v[m + p.rows * t]) / std::max (x * x, floor);
                at (d, k, t) += w[m + p.rows * k] / std::max (x, floor);
            }

    for (std::size_t t = 0; t < p.frames; ++t)
        for (std::size_t k = 0; k < numComponents; ++k)
        {
            const auto c = at (n, k, t) * at (hold, k, t) * at (hold, k, t), dk = at (d, k, t);

            if (t == 0)
            {
                const auto a = dk + weight / std::max (at (h, k, 1), floor);
                at (h, k, t) =
                    (weight + std::sqrt (weight * weight + 4.0 * a * c)) / std::max (2.0 * a, floor);
            }
            else if (t + 1 < p.frames)
                at (h, k, t) =
                    std::sqrt ((c + weight * at (h, k, t - 1))
                               / std::max (dk + weight / std::max (at (h, k, t + 1), floor), floor));
            else
                at (h, k, t) =
                    (std::sqrt (weight * weight + 4.0 * dk * (c + weight * at (h, k, t - 1))) - weight)
                    / (2.0 * std::max (dk, floor));
        }

    updateModel();

    for (std::size_t k = 0; k < numComponents; ++k)
    {
        double sum = 0.0;

        for (std::size_t m = 0; m < p.rows; ++m)
        {
            double numerator = 0.0, denominator = 0.0;

            for (std::size_t t = 0; t < p.frames; ++t)
            {
                const auto x = vhat[m + p.rows * t];
                numerator +=
                    static_cast<double> (p.v[m + p.rows * t]) / std::max (x * x, floor) * at (h, k, t);
                denominator += at (h, k, t) / std::max (x, floor);
            }

            w[m + p.rows * k] *= numerator / std::max (denominator, floor);
            sum += w[m + p.rows * k];
        }

        for (std::size_t m = 0; m < p.rows; ++m)
            w[m + p.rows * k] /= std::max (sum, floor);

        for (std::size_t t = 0; t < p.frames; ++t)
            at (h, k, t) *= sum;
    }
}
} // namespace

TEST_CASE ("Decomposition", "[engine][decomposition]")
{
    SECTION ("follows its definition, at shapes that fill no panel or tile")
    {
        for (const auto& [rows, frames, weight] :
             { std::tuple{ 80u, 2u, 50.0f }, std::tuple{ 77u, 131u, 50.0f }, std::tuple{ 160u, 300u, 0.0f } })
        {
            Problem problem (rows, frames);
            std::vector<double> w (problem.w.begin(), problem.w.end()),
                h (problem.h.begin(), problem.h.end());

            for (int i = 0; i < 3; ++i)
                iterateInDoubles (problem, w, h, static_cast<double> (weight));

            REQUIRE (problem.run (3, 2, weight));
            double worst = 0.0;

            for (std::size_t t = 0; t < frames; ++t)
                for (std::size_t m = 0; m < rows; ++m)
                {
                    double expected = 0.0;

                    for (std::size_t k = 0; k < numComponents; ++k)
                        expected += w[m + rows * k] * h[k + numComponents * t];

                    worst = std::max (worst, std::abs (problem.model (m, t) / expected - 1.0));
                }

            CHECK (worst < 1.0e-4);
        }
    }

    SECTION ("never raises the cost, and leaves every column of W summing to one")
    {
        // The continuity term takes part in the cost; without it the divergence alone must fall.
        Problem problem (80, 200);
        auto last = problem.divergence();

        for (int i = 0; i < 20; ++i)
        {
            REQUIRE (problem.run (1, 1, 0.0f));
            const auto now = problem.divergence();
            CHECK (now <= last * (1.0 + 1.0e-6));
            last = now;

            for (std::size_t k = 0; k < numComponents; ++k)
            {
                double sum = 0.0;

                for (std::size_t m = 0; m < problem.rows; ++m)
                    sum += static_cast<double> (problem.w[m + problem.rows * k]);

                CHECK (sum == Approx (1.0).margin (1.0e-5));
            }
        }
    }

    SECTION ("gives the same bits on every target and for every number of threads")
    {
        Problem expected (80, 2400);
        // Faint and silent stretches: products underflow there, the hardest place to be equal in.
        for (std::size_t i = 0; i < 80 * 80; ++i)
            expected.v[i] = i < 30 * 80 ? 0.0f : expected.v[i] * 1.0e-18f;

        const auto start = expected;
        REQUIRE (expected.run (12));

        onEveryTarget (
            [&]
            {
                for (const int threads : { 1, 2, 3, 7 })
                {
                    auto problem = start;
                    REQUIRE (problem.run (12, threads));
                    CHECK (
                        std::memcmp (problem.w.data(), expected.w.data(), problem.w.size() * sizeof (float))
                        == 0);
                    CHECK (
                        std::memcmp (problem.h.data(), expected.h.data(), problem.h.size() * sizeof (float))
                        == 0);
                }
            });
    }

    SECTION ("lets a base die by gradual underflow")
    {
        Problem problem (80, 40);
        const std::size_t faintRow = 7;
        bool wasSubnormal = false;

        for (std::size_t t = 0; t < problem.frames; ++t)
            problem.v[faintRow + problem.rows * t] *= 1.0e-13f;

        for (int i = 0; i < 10; ++i)
        {
            REQUIRE (problem.run (1));

            for (std::size_t k = 0; k < numComponents; ++k)
                wasSubnormal =
                    wasSubnormal || std::fpclassify (problem.w[faintRow + problem.rows * k]) == FP_SUBNORMAL;
        }

        CHECK (wasSubnormal);
    }

    SECTION ("gives up as soon as it is told to, wherever it is")
    {
        for (const int stopAt : { 1, 2, 7, 30 })
        {
            Problem problem (80, 1000);
            std::atomic<int> asked{ 0 };
            std::vector<double> progress;
            CHECK_FALSE (problem.run (
                75,
                2,
                50.0f,
                { [&] { return ++asked >= stopAt; }, [&] (double x) { progress.push_back (x); } }));
            CHECK (asked <= stopAt + 4); // every worker may ask once more
            CHECK (std::is_sorted (progress.begin(), progress.end()));
        }
    }
}
