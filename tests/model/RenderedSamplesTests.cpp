#include "model/RenderedSamples.h"
#include "tests/support/MemorySamples.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>

#include <limits>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Rendered tracks are folded as they are read", "[model][rendered]")
{
    const WorkFolder work;
    std::unique_ptr<TemporaryStore> opened;
    REQUIRE (TemporaryStore::open (work.folder, opened).wasOk());
    const std::shared_ptr<TemporaryStore> store (std::move (opened));

    // Two blocks of the file and a part of a third.
    constexpr std::int64_t length = 2 * 16384 + 1000;
    constexpr std::size_t numSamples = length;
    const auto componentAt = [] (std::size_t c, std::size_t i)
    { return static_cast<float> (c + 1) * static_cast<float> (i % 1021) / 1024.0f; };
    std::vector<float> source (numSamples);

    for (std::size_t i = 0; i < numSamples; ++i)
        source[i] = static_cast<float> (i % 509) / 256.0f;

    source[20000] = std::numeric_limits<float>::quiet_NaN();
    std::shared_ptr<StoreFile> file;
    REQUIRE (store->createFile (ComponentFile::sizeFor (length), file).wasOk());
    ComponentFile components (file);
    CHECK_FALSE (components.readLevel()); // not written yet

    // In stretches that reach across the blocks, last one first.
    for (std::int64_t start = 30000; start >= 0; start -= 10000)
    {
        const auto n = static_cast<std::size_t> (std::min<std::int64_t> (10000, length - start));
        std::array<std::vector<float>, 5> values;
        ComponentFile::Signals<const float> signals{};

        for (std::size_t c = 0; c < values.size(); ++c)
        {
            for (std::size_t i = 0; i < n; ++i)
                values[c].push_back (componentAt (c, static_cast<std::size_t> (start) + i));

            signals[c] = values[c].data();
        }

        REQUIRE (components.write (start, n, signals));
    }

    const ComponentLevel level{ 0.7f, 0.9f };
    REQUIRE (components.writeLevel (level));
    CHECK (components.readLevel()->gain == level.gain);
    CHECK (components.readLevel()->rescaling == level.rescaling);

    RenderedSamples samples (file, level, std::make_shared<MemorySamples> (1, source));
    REQUIRE (samples.lengthInFrames() == length);
    std::vector<float> frames (7 * numSamples);
    REQUIRE (samples.readFrames (0, frames));

    for (std::size_t i = 0; i < numSamples; ++i)
    {
        const auto own = i == 20000 ? 0.0f : source[i];
        auto sum = 0.0f;

        for (std::size_t c = 0; c < 5; ++c)
        {
            const auto expected = componentAt (c, i) * level.gain * level.rescaling;
            sum += expected;
            REQUIRE (frames[7 * i + c] == expected);
        }

        REQUIRE (frames[7 * i + 5] == own - sum);
        REQUIRE (frames[7 * i + 6] == own);
    }

    // Channel by channel, all and some, the same.
    for (const auto& wanted : { std::vector<std::size_t>{ 0, 1, 2, 3, 4, 5, 6 }, { 5 }, { 1, 6 }, {} })
    {
        constexpr std::size_t n = 9000;
        constexpr std::int64_t start = 16000;
        std::vector<float> room (7 * n);
        ChannelPlanes planes{};

        for (const auto c : wanted)
            planes[c] = room.data() + c * n;

        REQUIRE (samples.readPlanes (start, n, planes));

        for (const auto c : wanted)
            for (std::size_t i = 0; i < n; ++i)
                REQUIRE (planes[c][i] == frames[7 * (static_cast<std::size_t> (start) + i) + c]);
    }
}
