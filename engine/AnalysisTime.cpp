#include "engine/AnalysisTime.h"

#include "engine/Decomposition.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <thread>

namespace tessivar
{

namespace
{
// Microseconds of one thread for a frame of a track, with 512-bit vectors, at 513 bins. Steps of the refined
// method depend on the tracks that are compared with each.
constexpr double frontEndCost = 1.5, iterationCost = 0.113, renderingCost = 7.1;
constexpr double modelCost = 5.0, modelCostPerTrack = 0.82, layersCost = 22.0;
constexpr double referenceBins = 513.0;
constexpr double serialShare = 0.1; // of a thread's work that others don't take over
constexpr double startSeconds = 0.05;

/** How many times longer the steps take without 512-bit vectors. */
struct VectorFactors
{
    double decomposition = 1.0, rest = 1.0;

    static VectorFactors ofThisMachine()
    {
        const auto target = simdTargetName();
        return target == "AVX2"   ? VectorFactors{ 1.45, 1.2 }
               : target == "SSE4" ? VectorFactors{ 40.0, 6.0 }
                                  : VectorFactors{};
    }
};

/** Microseconds of an iteration for a frame of a track, the best of several tries. */
double measuredIterationCost()
{
    constexpr std::size_t tracks = 4, rows = tracks * method::numMelBands, frames = 512;
    constexpr std::size_t components = channelLayout::numComponents;
    constexpr int iterations = 4, tries = 4;
    AlignedBuffer v (rows * frames), w (rows * components), h (components * frames);
    WorkerPool pool (1);
    auto best = std::numeric_limits<double>::max();
    DecompositionSettings settings;
    settings.numIterations = iterations;

    for (int i = 0; i < tries; ++i)
    {
        for (const auto values : { v.span(), w.span(), h.span() })
            for (std::size_t n = 0; n < values.size(); ++n)
                values[n] = 1.0f + static_cast<float> (n % 7);

        const auto start = std::chrono::steady_clock::now();

        if (! decompose ({ v.data(), rows, frames },
                         { w.data(), rows, components },
                         { h.data(), components, frames },
                         settings,
                         pool,
                         {}))
            break;

        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
        best = std::min (best, taken.count());
    }

    return best / (iterations * static_cast<double> (tracks * frames));
}
} // namespace

double forecastSeconds (const AnalysisShape& shape, AnalysisMethod method, int numThreads)
{
    static const auto factors = VectorFactors::ofThisMachine();
    static const auto measured = measuredIterationCost();
    const auto active = static_cast<double> (shape.numActive),
               rendered = static_cast<double> (shape.numRendered);
    const auto bins = shape.rate.numBins() / referenceBins;
    auto rest = bins * (active * frontEndCost + rendered * renderingCost);

    if (method == AnalysisMethod::refined)
        rest += bins * (active * (modelCost + modelCostPerTrack * active) + rendered * layersCost);

    const auto pace = measured / (iterationCost * factors.decomposition);
    const auto frameCost = method::numIterations * active * measured + pace * factors.rest * rest;
    const auto cores = static_cast<double> (
        std::clamp (numThreads, 1, std::max (1, static_cast<int> (std::thread::hardware_concurrency()))));
    return startSeconds
           + 1.0e-6 * frameCost * static_cast<double> (shape.numFrames)
                 * (serialShare + (1.0 - serialShare) / cores);
}

} // namespace tessivar
