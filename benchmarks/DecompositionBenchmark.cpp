#include "benchmarks/Benchmarks.h"
#include "benchmarks/MachineBenchmark.h"
#include "engine/AnalysisSettings.h"
#include "engine/Decomposition.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/ChannelLayout.h"
#include "terms/WorkControl.h"

#ifdef TESSIVAR_HAS_OPENBLAS
    #include "benchmarks/WholeArrayDecomposition.h"
#endif

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>

namespace tessivar::benchmarks
{

namespace
{
constexpr double flopsPerElement = 120.0;
// A round times iterations for this long and at least this many, after an untimed one that brings caches and
// threads into their usual state.
constexpr double timedSeconds = 0.3;
constexpr int leastIterations = 2;

/** A spectrogram like those of drums: ten spectra of wide range, activations that jump and decay, exponential
    scatter. */
class Problem
{
public:
    Problem (std::size_t numRows, std::size_t numFrames, WorkerPool& pool)
        : power (numRows * numFrames), rows (numRows), frames (numFrames)
    {
        constexpr std::size_t numComponents = channelLayout::numComponents;
        std::vector<float> spectra (rows * numComponents), levels (numComponents * frames);
        RandomStream random (1);

        for (auto& x : spectra)
            x = 1.0e-6f + 4.0f * std::pow (random.next(), 4.0f);

        for (std::size_t k = 0; k < numComponents; ++k)
        {
            auto level = 1.0e-5f;

            for (std::size_t t = 0; t < frames; ++t)
            {
                if (random.next() < 0.012f)
                    level += 2.0f * random.next();

                level = level * 0.93f + 1.0e-6f;
                levels[t * numComponents + k] = level;
            }
        }

        pool.forEach (frames,
                      [&] (std::size_t t, int)
                      {
                          RandomStream scatter (1000 + t);
                          auto* column = power.data() + t * rows;

                          for (std::size_t row = 0; row < rows; ++row)
                          {
                              auto sum = 0.0f;

                              for (std::size_t k = 0; k < numComponents; ++k)
                                  sum += spectra[k * rows + row] * levels[t * numComponents + k];

                              column[row] = -sum * std::log (scatter.next() + 1.0e-7f);
                          }
                      });
    }

    [[nodiscard]] MatrixView<const float> view() const { return { power.data(), rows, frames }; }
    [[nodiscard]] double numElements() const
    {
        return static_cast<double> (rows) * static_cast<double> (frames);
    }

private:
    AlignedBuffer power;
    std::size_t rows, frames;
};

/** Bases and activations, always from the same random starting values. */
struct Factors
{
    explicit Factors (MatrixView<const float> v)
        : bases (v.rows * channelLayout::numComponents),
          activations (v.columns * channelLayout::numComponents), rows (v.rows), frames (v.columns)
    {
        RandomStream random (2);

        for (auto& x : bases.span())
            x = random.next();

        for (auto& x : activations.span())
            x = random.next();
    }

    [[nodiscard]] MatrixView<float> w() { return { bases.data(), rows, channelLayout::numComponents }; }
    [[nodiscard]] MatrixView<float> h()
    {
        return { activations.data(), channelLayout::numComponents, frames };
    }

    [[nodiscard]] double model (std::size_t row, std::size_t t)
    {
        double sum = 0.0;

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
            sum += static_cast<double> (w() (row, k)) * static_cast<double> (h() (k, t));

        return sum;
    }

    AlignedBuffer bases, activations;
    std::size_t rows, frames;
};

/** Largest relative difference of two models over a sample of columns. */
double modelDifference (Factors& a, Factors& b)
{
    double largest = 0.0;

    for (std::size_t t = 0; t < a.frames; t += std::max (std::size_t{ 1 }, a.frames / 200))
        for (std::size_t row = 0; row < a.rows; ++row)
            largest = std::max (largest, std::abs (a.model (row, t) / b.model (row, t) - 1.0));

    return largest;
}

/** Decides when a round has timed enough iterations. */
class IterationClock
{
public:
    /** Call after every iteration, including the first, untimed one. */
    void tick() { ends.push_back (currentTime().wall); }

    [[nodiscard]] bool isEnough() const
    {
        return static_cast<int> (ends.size()) > leastIterations && ends.back() - ends.front() >= timedSeconds;
    }

    [[nodiscard]] double secondsPerIteration() const
    {
        return (ends.back() - ends.front()) / static_cast<double> (ends.size() - 1);
    }

private:
    std::vector<double> ends;
};

/** Seconds of one iteration of decompose(). */
double timeProduct (MatrixView<const float> v, WorkerPool& pool)
{
    Factors factors (v);
    IterationClock clock;
    std::atomic<bool> isEnough{ false };
    DecompositionSettings settings;
    settings.numIterations = std::numeric_limits<int>::max();
    WorkControl control;
    control.shouldStop = [&] { return isEnough.load(); };
    control.setProgress = [&] (double)
    {
        clock.tick();
        isEnough = clock.isEnough();
    };

    (void) decompose (v, factors.w(), factors.h(), settings, pool, control);
    return clock.secondsPerIteration();
}

#ifdef TESSIVAR_HAS_OPENBLAS
/** Seconds of one iteration of the anchor. */
double timeAnchor (MatrixView<const float> v, WorkerPool& pool)
{
    Factors factors (v);
    WholeArrayDecomposition anchor (v, factors.w(), factors.h(), method::continuityWeight, pool);
    IterationClock clock;

    do
    {
        anchor.iterate();
        clock.tick();
    } while (! clock.isEnough());

    return clock.secondsPerIteration();
}
#endif

constexpr auto noGoal = std::numeric_limits<double>::quiet_NaN();

/** How many times faster than the anchor we aim to be with eight tracks; docs/performance.md says why. */
double goalFor (const BenchmarkOptions& options, int seconds, const std::string& simdTarget)
{
    if (options.numTracks != 8 || vectorWidth (simdTarget) == 4)
        return noGoal;

    const auto isWide = vectorWidth (simdTarget) == 16;

    if (seconds == 60)
        return isWide ? 7.0 : 4.8;

    if (seconds == 300)
        return isWide ? 10.5 : 7.2;

    return noGoal;
}

const std::string anchorName = "whole arrays";

/** The rounds of all variants for one length and number of threads. */
class Comparison
{
public:
    Comparison (const BenchmarkOptions& o, int s, int t) : options (o), seconds (s), pool (t) {}

    void run (Findings& findings, Table& table)
    {
        const auto rows = static_cast<std::size_t> (options.numTracks) * method::numMelBands;
        const auto frames = (static_cast<std::size_t> (seconds) * 44100 + 255) / 256;
        announce ("decomposition: " + std::to_string (options.numTracks) + " tracks x "
                  + std::to_string (seconds) + " s (" + std::to_string (rows) + " x "
                  + std::to_string (frames) + "), " + std::to_string (pool.numWorkers()) + " threads");

        const Problem problem (rows, frames, pool);
        checkAgreement (problem, findings);

        findings.measure (table, subject(), options.rounds, [&] (Figures& found) { round (problem, found); });
        useSimdTarget ({});
        report (problem, findings, table);
    }

private:
    /** Both ways must reach the same model from the same start, or one of them computes something else. */
    void checkAgreement ([[maybe_unused]] const Problem& problem, [[maybe_unused]] Findings& findings)
    {
#ifdef TESSIVAR_HAS_OPENBLAS
        const auto v = problem.view();
        Factors mine (v), theirs (v);
        DecompositionSettings settings;
        settings.numIterations = 2;

        WholeArrayDecomposition wholeArray (v, theirs.w(), theirs.h(), settings.continuityWeight, pool);
        wholeArray.iterate();
        wholeArray.iterate();
        const auto isDone = decompose (v, mine.w(), mine.h(), settings, pool, {});
        difference = modelDifference (mine, theirs);

        if (! isDone || ! (difference < 1.0e-3))
            findings.failures.push_back ("decomposition: the product and its anchor differ by "
                                         + number (100.0 * difference, 3) + " %");
#endif
    }

    [[nodiscard]] Case subject() const
    {
        return { { "tracks", options.numTracks }, { "seconds", seconds }, { "threads", pool.numWorkers() } };
    }

    [[nodiscard]] Case subject (const std::string& kernels) const
    {
        auto result = subject();
        result["kernels"] = kernels;
        return result;
    }

    void round (const Problem& problem, Figures& found)
    {
        const auto v = problem.view();

        for (const auto& target : options.simdTargets)
            found.add (subject (target), "fmaPeak", "flop/s", fmaPeak (vectorWidth (target)));

#ifdef TESSIVAR_HAS_OPENBLAS
        found.add (subject (anchorName), "iteration", "s", timeAnchor (v, pool));
        settle();
#endif

        for (const auto& target : options.simdTargets)
        {
            useSimdTarget (target);
            found.add (subject (target), "iteration", "s", timeProduct (v, pool));
        }
    }

    void report (const Problem& problem, Findings& findings, Table& table)
    {
        auto& figures = findings.figures;
        const auto threads = pool.numWorkers();
        const auto powerBytes = 4.0 * problem.numElements();
        const auto& anchorTime = figures.of (subject (anchorName), "iteration");
        auto names = options.simdTargets;

        if (! anchorTime.empty())
            names.insert (names.begin(), anchorName);

        for (const auto& name : names)
        {
            const auto isAnchor = name == anchorName;
            const auto kernels = subject (name);
            const auto time = figures.of (kernels, "iteration");
            const auto rate =
                time.mapped ([&] (double t) { return flopsPerElement * problem.numElements() / t; });
            const auto share = ratios (rate, figures.of (kernels, "fmaPeak"))
                                   .mapped ([&] (double x) { return x / threads; });
            const auto faster = isAnchor ? Series() : ratios (anchorTime, time);
#ifdef TESSIVAR_HAS_OPENBLAS
            const auto bytes = isAnchor ? powerBytes * WholeArrayDecomposition::passesOverPower : powerBytes;
#else
            const auto bytes = powerBytes;
#endif
            const auto goal = isAnchor ? noGoal : goalFor (options, seconds, name);

            table.rows.push_back ({ sessionLabel (options.numTracks, seconds),
                                    std::to_string (threads),
                                    name,
                                    number (time.median() * 1.0e3, 1),
                                    number (time.minimum() * 1.0e3, 1),
                                    number (rate.median() * 1.0e-9, 1),
                                    percent (share.median()),
                                    number (bytes * 1.0e-6),
                                    number (bytes / time.median() * 1.0e-9, 1),
                                    number (faster.median(), 2),
                                    number (goal, 1) });
            figures.add (kernels, "rate", "flop/s", rate);
            figures.add (kernels, "shareOfPeak", "ratio", share);
            figures.add (kernels, "bytesMoved", "B", bytes);
            figures.add (kernels, "timesAnchor", "ratio", faster);
        }

        figures.add (subject(), "modelDifference", "ratio", difference);
    }

    const BenchmarkOptions& options;
    const int seconds;
    WorkerPool pool;
    double difference = std::numeric_limits<double>::quiet_NaN();
};
} // namespace

Findings benchmarkDecomposition (const BenchmarkOptions& options)
{
    Findings findings;
    Table table;
    table.id = "decomposition";
    table.title = "Decomposition, one iteration";
    table.columns = { "tracks",        "threads",  "kernels", "ms",           "best ms", "GFLOP/s",
                      "share of peak", "MB moved", "GB/s",    "times faster", "target" };

    for (const auto seconds : options.seconds)
        for (const auto threads : options.threads)
            Comparison (options, seconds, threads).run (findings, table);

#ifdef TESSIVAR_HAS_OPENBLAS
    table.notes.push_back ("Anchor: " + WholeArrayDecomposition::libraryName() + ".");
#else
    table.notes.push_back ("Built without OpenBLAS: no anchor, hence no ratios.");
#endif
    findings.tables.push_back (table);
    return findings;
}

} // namespace tessivar::benchmarks
