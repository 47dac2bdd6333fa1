#pragma once

#include "engine/AnalysisData.h"
#include "engine/AnalysisPipeline.h"
#include "engine/DataFileGenerator.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/SuppressionRendering.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelFolding.h"
#include "terms/ChannelLayout.h"
#include "tests/support/TemporaryFolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <span>
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

/** Seven channels, of which the first five hold components and the last one the source, as frames. */
inline std::vector<float> folded (std::vector<std::vector<float>> channels, ComponentLevel level)
{
    constexpr std::size_t stride = channelLayout::numRendered;
    const auto length = channels[0].size();
    ChannelPlanes planes{};

    for (std::size_t c = 0; c < stride; ++c)
        planes[c] = channels[c].data();

    foldPlanes (planes, level, length);
    std::vector<float> frames (stride * length);

    for (std::size_t i = 0; i < frames.size(); ++i)
        frames[i] = planes[i % stride][i / stride];

    return frames;
}

/** Components of a track in memory, and the channels that they make with its source. */
class MemorySink : public ComponentSink, public ComponentSource
{
public:
    explicit MemorySink (SampleSource& trackSource) : source (trackSource)
    {
        for (auto& component : components)
            component.resize (static_cast<std::size_t> (source.lengthInSamples()));
    }

    bool write (std::int64_t start, std::size_t n, const ComponentSink::Signals& signals) override
    {
        for (std::size_t c = 0; c < components.size(); ++c)
            if (signals[c] != nullptr)
                std::copy_n (signals[c], n, components[c].begin() + static_cast<std::ptrdiff_t> (start));

        return true;
    }

    bool finish (ComponentLevel finalLevel) override
    {
        level = finalLevel;
        return true;
    }

    std::int64_t lengthInSamples() const override { return source.lengthInSamples(); }

    bool read (std::int64_t start, std::size_t n, const ComponentSource::Signals& signals) override
    {
        for (std::size_t c = 0; c < components.size(); ++c)
            if (signals[c] != nullptr)
                std::copy_n (components[c].begin() + static_cast<std::ptrdiff_t> (start), n, signals[c]);

        return true;
    }

    /** Seven channels, interleaved. */
    [[nodiscard]] std::vector<float> frames() const
    {
        std::vector<std::vector<float>> channels (components.begin(), components.end());
        const auto length = components[0].size();
        channels.resize (channelLayout::numRendered, std::vector<float> (length));
        REQUIRE (source.read (0, channels.back()));
        replaceNonFinite (channels.back());
        return folded (channels, level);
    }

    std::array<std::vector<float>, channelLayout::numBestComponents> components;
    ComponentLevel level;

private:
    SampleSource& source;
};

/** Keeps everything in memory. */
class MemoryStorage : public AnalysisStorage
{
public:
    explicit MemoryStorage (std::span<const AnalysisTrack> analysedTracks)
        : tracks (analysedTracks.begin(), analysedTracks.end())
    {
    }

    ComponentSink* rendered (int track) override
    {
        return &sinks.try_emplace (track, source (track)).first->second;
    }
    ComponentSource* standard (int track) override { return &sinks.at (track); }

    ScratchPlanes* spectrograms (int numPlanes, std::int64_t floats) override
    {
        spectra = std::make_unique<MemoryPlanes> (numPlanes, floats);
        return spectra.get();
    }

    ComponentSink* refined (int track, const TrackFindings&) override { return rendered (track); }

    bool component (int track, int slot, std::int64_t start, std::span<const float> samples) override
    {
        const std::lock_guard lock (componentLock);
        auto& signal = components[{ track, slot }];
        signal.resize (std::max (signal.size(), static_cast<std::size_t> (start) + samples.size()));
        std::copy (samples.begin(), samples.end(), signal.begin() + static_cast<std::ptrdiff_t> (start));
        return true;
    }

    std::map<int, MemorySink> sinks;
    std::map<std::pair<int, int>, std::vector<float>> components;

private:
    [[nodiscard]] SampleSource& source (int track) const
    {
        return *tracks.at (static_cast<std::size_t> (track)).source;
    }

    const std::vector<AnalysisTrack> tracks;
    std::unique_ptr<MemoryPlanes> spectra;
    std::mutex componentLock; // guards components
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
    const auto frames = refined.frames();
    std::vector<float> out (frames.size() / channelLayout::numRendered);
    renderSuppression (out, frames, SuppressionRule::forSetting ({ focus, 0.0f }));
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
