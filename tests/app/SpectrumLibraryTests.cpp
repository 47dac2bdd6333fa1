#include "app/SpectrumLibrary.h"
#include "app/WaveformLibrary.h"

#include "tests/playback/PlaybackFixtures.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <catch2/catch.hpp>

#include <new>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
TrackState trackOf (std::uint32_t contentId, std::int64_t length)
{
    TrackState track;
    track.contentId = contentId;
    track.sourceInfo.sampleRate = 48000.0;
    track.source = std::make_shared<FormulaSamples> (1, length, contentId);
    track.record.setLengthInSamples (length);
    track.record.setDrumType (DrumType::kick);
    return track;
}
} // namespace

TEST_CASE ("The library of spectra computes what was wished for last", "[app][spectrum]")
{
    const juce::ScopedJuceInitialiser_GUI messages;
    SpectrumLibrary library;
    std::vector<std::pair<std::uint32_t, SpectrumPlace>> came;
    library.onTile = [&] (std::uint32_t id, const std::shared_ptr<const SpectrumTile>& tile)
    {
        CHECK (tile->source.size() == SpectrumTile::size);
        CHECK (*std::max_element (tile->source.begin(), tile->source.end()) > 100);
        came.emplace_back (id, tile->place);
    };
    const auto waitFor = [&] (std::size_t count)
    {
        for (int i = 0; i < 2000 && came.size() < count; ++i)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);
    };
    const auto first = trackOf (1, 48000 * 1200), second = trackOf (2, 48000 * 60);

    // A long list of a track that is left at once: at most what was under way comes of it.
    std::vector<SpectrumWish> many;

    for (std::int64_t i = 0; i < 100; ++i)
        many.push_back ({ { 6, i }, nullptr });

    library.request (first, {}, many);
    library.request (second, {}, { { { 3, 2 }, nullptr }, { { 3, 1 }, nullptr } });
    waitFor (2);
    REQUIRE (came.size() == 2);
    CHECK (came[0] == std::pair{ 2u, SpectrumPlace{ 3, 2 } });
    CHECK (came[1] == std::pair{ 2u, SpectrumPlace{ 3, 1 } });

    // The same wish again and again, as while scrolling: each tile is computed once.
    came.clear();

    for (int i = 0; i < 50; ++i)
        library.request (first, {}, { { { 6, 0 }, nullptr }, { { 6, 1 }, nullptr } });

    waitFor (2);
    CHECK (came.size() == 2);

    // Without samples, and with a list that is never waited for.
    auto lost = second;
    lost.source = nullptr;
    library.request (lost, {}, { { { 3, 0 }, nullptr } });
    library.request (first, {}, many);
}

TEST_CASE ("What is read behind the window comes later where memory ran out", "[app][spectrum][waveform]")
{
    const juce::ScopedJuceInitialiser_GUI messages;
    const auto waitUntil = [] (const auto& isDone)
    {
        for (int i = 0; i < 1000 && ! isDone(); ++i)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);

        return isDone();
    };
    auto track = trackOf (1, 48000 * 4);
    const auto samples = std::make_shared<FormulaSamples> (1, track.lengthInSamples(), 1);
    track.source = samples;
    samples->onRead = [reads = 0] (std::size_t) mutable
    {
        if (++reads == 1)
            throw std::bad_alloc();

        return true;
    };

    SECTION ("a tile")
    {
        SpectrumLibrary library;
        std::vector<SpectrumPlace> came;
        library.onTile = [&] (std::uint32_t, const std::shared_ptr<const SpectrumTile>& tile)
        { came.push_back (tile->place); };
        library.request (track, {}, { { { 3, 1 }, nullptr }, { { 3, 0 }, nullptr } });
        REQUIRE (waitUntil ([&] { return came.size() == 2; }));
        CHECK (came[0] == SpectrumPlace{ 3, 1 });
    }

    SECTION ("a waveform")
    {
        WaveformLibrary library;
        library.setTracks ({ track });
        CHECK (waitUntil ([&] { return library.readShare (track) >= 1.0; }));
    }
}
