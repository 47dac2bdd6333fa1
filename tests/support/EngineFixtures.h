#pragma once

#include "engine/AnalysisData.h"
#include "engine/AnalysisPipeline.h"
#include "engine/DataFileGenerator.h"
#include "engine/SuppressionRendering.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "tests/support/TemporaryFolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tessivar::test
{

/** The data files of all rates, written once for the test program. */
inline const std::string& resourceFolder()
{
    static const TemporaryFolder folder;
    static const auto path = []
    {
        REQUIRE (writeAllDataFiles (folder.name()).empty());
        return folder.name();
    }();
    return path;
}

inline AnalysisData analysisData (int sampleRate)
{
    AnalysisData data;
    const auto rate = RateParameters::forRate (sampleRate);
    REQUIRE (rate);
    REQUIRE (loadAnalysisData (resourceFolder(), *rate, data, {}, [] (std::string_view, bool) {}));
    return data;
}

/** Samples in memory. */
class MemorySource : public SampleSource
{
public:
    explicit MemorySource (std::vector<float> s) : samples (std::move (s)) {}

    std::int64_t lengthInSamples() const override { return static_cast<std::int64_t> (samples.size()); }

    bool read (std::int64_t start, std::span<float> dest) override
    {
        for (auto& x : dest)
        {
            x = start >= 0 && start < lengthInSamples() ? samples[static_cast<std::size_t> (start)] : 0.0f;
            ++start;
        }

        return ! failsToRead;
    }

    std::vector<float> samples;
    bool failsToRead = false;
};

class MemoryPlanes : public ScratchPlanes
{
public:
    MemoryPlanes (int numPlanes, std::int64_t length)
        : planes (static_cast<std::size_t> (numPlanes),
                  std::vector<float> (static_cast<std::size_t> (length)))
    {
    }

    bool write (int plane, std::int64_t start, std::span<const float> samples) override
    {
        std::copy (samples.begin(), samples.end(), at (plane, start));
        return true;
    }

    bool read (int plane, std::int64_t start, std::span<float> dest) override
    {
        std::copy_n (at (plane, start), dest.size(), dest.begin());
        return true;
    }

    std::vector<std::vector<float>> planes;

private:
    std::vector<float>::iterator at (int plane, std::int64_t start)
    {
        return planes.at (static_cast<std::size_t> (plane)).begin() + static_cast<std::ptrdiff_t> (start);
    }
};

class MemorySink : public RenderedTrackSink, public RenderedTrackSource
{
public:
    explicit MemorySink (std::int64_t length)
        : frames (static_cast<std::size_t> (length) * channelLayout::numRendered)
    {
    }

    bool writeFrames (std::int64_t start, std::span<const float> samples) override
    {
        std::copy (samples.begin(),
                   samples.end(),
                   frames.begin() + static_cast<std::ptrdiff_t> (start) * channelLayout::numRendered);
        return true;
    }

    bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        std::copy_n (frames.begin() + static_cast<std::ptrdiff_t> (start) * channelLayout::numRendered,
                     dest.size(),
                     dest.begin());
        return true;
    }

    std::vector<float> frames;
};

/** Keeps everything in memory. */
class MemoryStorage : public AnalysisStorage
{
public:
    explicit MemoryStorage (std::vector<std::int64_t> trackLengths) : lengths (std::move (trackLengths)) {}

    ScratchPlanes* scratch (int numPlanes, std::int64_t length) override
    {
        planes = std::make_unique<MemoryPlanes> (numPlanes, length);
        return planes.get();
    }

    RenderedTrackSink* rendered (int track) override
    {
        return &sinks.try_emplace (track, lengths.at (static_cast<std::size_t> (track))).first->second;
    }

    ScratchPlanes* spectrograms (int numPlanes, std::int64_t floats) override
    {
        spectra = std::make_unique<MemoryPlanes> (numPlanes, floats);
        return spectra.get();
    }

    RenderedTrackSource* standard (int track) override { return &sinks.at (track); }

    RenderedTrackSink* refined (int track) override
    {
        return &refinedSinks.try_emplace (track, lengths.at (static_cast<std::size_t> (track))).first->second;
    }

    bool component (int track, int slot, std::span<const float> samples) override
    {
        auto& signal = components[{ track, slot }];
        signal.insert (signal.end(), samples.begin(), samples.end());
        return true;
    }

    std::vector<std::int64_t> lengths;
    std::unique_ptr<MemoryPlanes> planes, spectra;
    std::map<int, MemorySink> sinks, refinedSinks;
    std::map<std::pair<int, int>, std::vector<float>> components;
};

/** Options of an analysis that tells nobody what it reads. */
inline AnalysisOptions quietOptions (int threads, AnalysisMethod method = AnalysisMethod::standard)
{
    AnalysisOptions options;
    options.method = method;
    options.resourceFolder = resourceFolder();
    options.numThreads = threads;
    options.diagnostics = [] (std::string_view, bool) {};
    return options;
}

/** A refined track at a Focus. */
inline std::vector<float> renderedAt (const MemorySink& refined, float focus)
{
    std::vector<float> out (refined.frames.size() / channelLayout::numRendered);
    renderSuppression (out, refined.frames, SuppressionRule::forSetting ({ focus, 0.0f }));
    return out;
}

/** Runs a piece of a test on every SIMD target of this machine. */
template <typename Function>
void onEveryTarget (Function&& function)
{
    for (const auto& target : availableSimdTargets())
    {
        INFO ("on " << target);
        REQUIRE (useSimdTarget (target));
        function();
    }

    useSimdTarget ({});
}

} // namespace tessivar::test
