#pragma once

#include "model/Group.h"
#include "model/RenderedSamples.h"
#include "model/TemporaryStore.h"
#include "model/recovery/RecoverySession.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "tests/model/AudioFileBuilders.h"
#include "tests/support/ForkedProcess.h"

#include <catch2/catch.hpp>

#include <functional>

namespace tessivar::test
{

/** Folders for recovery entries and temporary files, and what fills them. */
struct RecoveryFixture
{
    const juce::ScopedJuceInitialiser_GUI messages;
    WorkFolder owner;
    juce::File entries = owner.file ("recovery"), temporary = owner.file ("tmp");

    [[nodiscard]] std::shared_ptr<RecoverySession>
    session (FileSystemCalls& calls = FileSystemCalls::system()) const
    {
        std::shared_ptr<RecoverySession> made;
        const auto opened = RecoverySession::open (entries, made, calls);
        INFO (opened.getErrorMessage());
        REQUIRE (opened.wasOk());
        return made;
    }

    [[nodiscard]] std::unique_ptr<TemporaryStore> store() const
    {
        std::unique_ptr<TemporaryStore> opened;
        REQUIRE (TemporaryStore::open (temporary, opened).wasOk());
        return opened;
    }

    [[nodiscard]] int numFiles (const juce::File& folder, const juce::String& pattern = "*") const
    {
        return folder.getNumberOfChildFiles (juce::File::findFiles, pattern);
    }

    [[nodiscard]] int numEntries() const { return numFiles (entries, "*.recovery"); }

    [[nodiscard]] int numStores() const
    {
        return temporary.getNumberOfChildFiles (juce::File::findDirectories);
    }
};

inline constexpr int framesOfTracks = 100;

/** Samples whose every value is another one, offset by the seed. */
inline std::shared_ptr<StoreSamples> storedSamples (TemporaryStore& store, int numChannels, float seed)
{
    std::vector<float> values (static_cast<std::size_t> (framesOfTracks * numChannels));

    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = seed + static_cast<float> (i) / 1024.0f;

    std::shared_ptr<StoreFile> file;
    const auto isStored = store.createFile (values.size() * sizeof (float), file).wasOk()
                          && file->write (0, values.data(), values.size() * sizeof (float));
    return isStored ? std::make_shared<StoreSamples> (file, numChannels) : nullptr;
}

/** Component c holds c + i / 1024, at half that level. */
inline std::shared_ptr<RenderedSamples> renderedSamples (TemporaryStore& store,
                                                         const std::shared_ptr<TrackSamples>& source)
{
    std::shared_ptr<StoreFile> file;
    REQUIRE (store.createFile (ComponentFile::sizeFor (framesOfTracks), file).wasOk());
    ComponentFile components (file);
    std::array<std::vector<float>, channelLayout::numBestComponents> values;
    ComponentFile::Signals<const float> signals{};

    for (std::size_t c = 0; c < values.size(); ++c)
    {
        for (int i = 0; i < framesOfTracks; ++i)
            values[c].push_back (static_cast<float> (c) + static_cast<float> (i) / 1024.0f);

        signals[c] = values[c].data();
    }

    const ComponentLevel level{ 0.5f, 1.0f };
    REQUIRE (components.write (0, framesOfTracks, signals));
    REQUIRE (components.writeLevel (level));
    return std::make_shared<RenderedSamples> (file, level, source);
}

inline std::vector<float> framesOf (TrackSamples* samples)
{
    if (samples == nullptr)
        return {};

    std::vector<float> frames (static_cast<std::size_t> (samples->lengthInFrames() * samples->numChannels()));
    REQUIRE (samples->readFrames (0, frames));
    return frames;
}

/** Two tracks, one of which was rendered. */
inline GroupState groupWithAudio (TemporaryStore& store)
{
    GroupState state;
    state.name = juce::String::fromUTF8 ("Take 1 \xc3\xa4");
    state.method = AnalysisMethod::refined;
    state.analysis = GroupState::Analysis{ AnalysisMethod::refined, 7, 2 };

    for (const auto* name : { "kick", "snare" })
    {
        TrackState track;
        track.name = name;
        track.sourceInfo.file = juce::File ("/audio/" + juce::String (name) + ".wav");
        track.sourceInfo.sampleRate = 48000.0;
        track.sourceInfo.bitsPerSample = 24;
        track.sourceInfo.metadata.set ("artist", "somebody");
        track.record.setLengthInSamples (framesOfTracks);
        track.record.setDrumType (DrumType::kick);
        track.record.setKnobs (KnobSetting::a, { 2.5f, 0.25f });
        state.tracks.push_back (track);
    }

    state.tracks[0].rendered = storedSamples (store, channelLayout::numRendered, 0.0f);
    state.tracks[0].source =
        std::make_shared<ChannelOfSamples> (state.tracks[0].rendered, channelLayout::source);
    state.tracks[0].record.setProcessed (true);
    state.tracks[0].analysedAs = state.tracks[0].analysisInput();
    state.tracks[0].findings.leakageDb = -12.5;
    REQUIRE (store.createFile (4000, state.tracks[0].components).wasOk());
    state.tracks[1].source = storedSamples (store, channelLayout::numUnrendered, 0.5f);
    state.tracks[1].rendered = renderedSamples (store, state.tracks[1].source);
    state.tracks[1].record.setProcessed (true);
    state.tracks[1].excluded = true;
    return state;
}

inline RecoveryEntry noted (const GroupState& state, const juce::File& groupFile)
{
    AudioProbes probes;
    return RecoveryEntry::of (state, groupFile, probes);
}

/** Runs work in a process of its own, which then ends at once, as a crash would. */
inline void inDyingProcess (const std::function<void()>& work)
{
    ForkedProcess process (
        [&]
        {
            work();
            return 0;
        });
    REQUIRE (process.wait() == 0);
}

} // namespace tessivar::test
