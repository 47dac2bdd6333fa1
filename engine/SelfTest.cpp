#include "engine/SelfTest.h"

#include "engine/AnalysisData.h"
#include "engine/Decomposition.h"
#include "engine/numerics/BlockFft.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace tessivar
{

namespace
{
std::string formatted (const char* pattern, double value)
{
    char text[64];
    std::snprintf (text, sizeof text, pattern, value);
    return text;
}

SelfTestLine checkDataFiles (const std::string& folder)
{
    const auto files = allDataFiles();
    std::string wrong;
    std::size_t numRight = 0;

    for (const auto& file : files)
    {
        std::error_code error;
        const auto size = std::filesystem::file_size (pathOf (folder) / file.name, error);

        if (! error && size == file.numFloats * sizeof (float))
            ++numRight;
        else
            wrong += (wrong.empty() ? "" : ", ") + file.name
                     + (error ? " is missing"
                              : " has " + std::to_string (size) + " bytes, not "
                                    + std::to_string (file.numFloats * sizeof (float)));
    }

    return { "data files", wrong.empty(), wrong.empty() ? std::to_string (numRight) + " files" : wrong };
}

SelfTestLine checkReconstruction (const std::string& folder, const RateParameters& rate)
{
    AnalysisData data;
    const auto isLoaded = loadAnalysisData (folder, rate, data, {}, [] (std::string_view, bool) {});

    const auto frameLength = static_cast<std::size_t> (rate.frameLength);
    const auto length = 8 * frameLength;
    BlockFft fft (data.window.span());
    const auto blockLength = BlockFft::numFrames * fft.hop(), numBlocks = length / blockLength + 1;
    std::vector<float> signal (numBlocks * blockLength + frameLength), rebuilt (signal.size());
    AlignedBuffer spectrum (fft.spectrumFloats()), weights (fft.numBins()), gains (BlockFft::numFrames);
    OverlapCarry carry (fft.hop());
    RandomStream random (1);

    for (std::size_t i = frameLength; i < frameLength + length; ++i)
        signal[i] = 2.0f * random.next() - 1.0f;

    std::fill_n (weights.data(), weights.size(), 1.0f);
    std::fill_n (gains.data(), gains.size(), 2.0f / static_cast<float> (rate.frameLength));

    for (std::size_t start = 0; start < numBlocks * blockLength; start += blockLength)
    {
        fft.load (signal.data() + start);
        fft.forward (spectrum.data());
        fft.prepare (spectrum.data());
        fft.overlapWeighted (rebuilt.data() + start, carry, weights.data(), gains.data());
    }

    float worst = 0.0f;

    for (std::size_t i = frameLength; i < frameLength + length; ++i)
        worst = std::max (worst, std::abs (rebuilt[i] - signal[i]));

    return { "reconstruction at " + std::to_string (rate.sampleRate) + " Hz",
             isLoaded && worst <= 2.0e-6f,
             "largest error " + formatted ("%.1e", static_cast<double> (worst)) };
}

SelfTestLine checkTargets()
{
    constexpr std::size_t rows = 80, frames = 300;
    std::vector<float> v (rows * frames);
    RandomStream random (2);

    for (auto& x : v)
        x = random.next() * random.next();

    std::vector<float> expected;
    auto isEqual = true;
    std::string names;
    const auto best = simdTargetName();

    for (const auto& target : availableSimdTargets())
    {
        useSimdTarget (target);
        RandomStream start (3);
        std::vector<float> factors ((rows + frames) * channelLayout::numComponents);

        for (auto& x : factors)
            x = start.next();

        WorkerPool pool (1);
        DecompositionSettings settings;
        settings.numIterations = 3;
        isEqual &= decompose (
            { v.data(), rows, frames },
            { factors.data(), rows, channelLayout::numComponents },
            { factors.data() + rows * channelLayout::numComponents, channelLayout::numComponents, frames },
            settings,
            pool,
            {});

        if (expected.empty())
            expected = factors;

        isEqual &= std::memcmp (expected.data(), factors.data(), expected.size() * sizeof (float)) == 0;
        names += (names.empty() ? "" : ", ") + target;
    }

    useSimdTarget ({});
    return { "SIMD target", isEqual, best + " in use; equal bits on " + names };
}
} // namespace

std::vector<SelfTestLine> runSelfTest (const std::string& resourceFolder)
{
    std::vector<SelfTestLine> lines{ checkDataFiles (resourceFolder) };

    for (const auto& rate : supportedRates)
        lines.push_back (checkReconstruction (resourceFolder, rate));

    lines.push_back (checkTargets());
    return lines;
}

} // namespace tessivar
