#pragma once

#include "jobs/ImportTracks.h"
#include "model/TemporaryStore.h"
#include "terms/ChannelLayout.h"
#include "tests/support/EngineFixtures.h"
#include "tests/support/WorkFolder.h"
#include "tools/filefaults/FileFaults.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <catch2/catch.hpp>

#include <atomic>
#include <cstring>
#include <functional>

namespace tessivar::test
{

/** Deterministic noise within +-amplitude. */
inline std::vector<float> noise (std::int64_t length, std::uint32_t seed, float amplitude = 0.5f)
{
    juce::Random random (seed);
    std::vector<float> samples (static_cast<std::size_t> (length));

    for (auto& sample : samples)
        sample = amplitude * (2.0f * random.nextFloat() - 1.0f);

    return samples;
}

/** Puts samples into a file of the store. */
inline std::shared_ptr<StoreFile> stored (TemporaryStore& store, const std::vector<float>& samples)
{
    std::shared_ptr<StoreFile> file;
    REQUIRE (store.createFile (samples.size() * sizeof (float), file).wasOk());
    REQUIRE (file->write (0, samples.data(), samples.size() * sizeof (float)));
    return file;
}

inline std::vector<float> samplesOf (StoreFile& file)
{
    std::vector<float> samples (file.sizeInBytes() / sizeof (float));
    REQUIRE (file.read (0, samples.data(), samples.size() * sizeof (float)));
    return samples;
}

/** A signal for a track: one channel, or frames of seven. */
inline std::shared_ptr<TrackSamples> storedTrack (TemporaryStore& store,
                                                  const std::vector<float>& samples,
                                                  int numChannels = channelLayout::numUnrendered)
{
    return std::make_shared<StoreSamples> (stored (store, samples), numChannels);
}

inline std::vector<float> samplesOf (TrackSamples& samples)
{
    std::vector<float> result (static_cast<std::size_t> (samples.lengthInFrames() * samples.numChannels()));
    REQUIRE (samples.readFrames (0, result));
    return result;
}

inline std::unique_ptr<TemporaryStore> openStore (const juce::File& parent)
{
    std::unique_ptr<TemporaryStore> store;
    const auto opened = TemporaryStore::open (parent, store);
    INFO (opened.getErrorMessage());
    REQUIRE (store != nullptr);
    return store;
}

} // namespace tessivar::test
