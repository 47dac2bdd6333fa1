#include "tests/playback/PlaybackFixtures.h"

#include "playback/DiskBenchmark.h"
#include "playback/LoudnessMatch.h"

#include <catch2/catch.hpp>

#include <numbers>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Settings of equal loudness", "[playback][loudness]")
{
    // Ten seconds of bursts. The best component is half of the source, so that focus 5 is 6 dB down.
    std::vector<float> frames;

    for (int i = 0; i < 480000; ++i)
    {
        const auto tone =
            i % 24000 < 12000
                ? 0.4f * std::sin (2.0f * std::numbers::pi_v<float> * 0.02f * static_cast<float> (i))
                : 0.0f;
        frames.insert (frames.end(), { 0.5f * tone, 0, 0, 0, 0, 0.5f * tone, tone });
    }

    MemorySamples samples (7, std::move (frames));
    const LoopRange all{ 0, 480000 };
    const auto matched = LoudnessMatch::measure (samples, 48000.0, { 0.0f, 0.0f }, { 5.0f, 0.0f }, all);
    REQUIRE (matched);
    CHECK (matched->gainA == Approx (0.5f).epsilon (0.01));
    CHECK (matched->gainB == 1.0f);
    const auto other = LoudnessMatch::measure (samples, 48000.0, { 5.0f, 0.0f }, { 0.0f, 0.0f }, all);
    REQUIRE (other);
    CHECK (other->gainB == Approx (0.5f).epsilon (0.01));

    SECTION ("silence, too little of it, and a track without a rendering are left alone")
    {
        MemorySamples silence (7, std::vector<float> (7 * 96000)),
            plain (1, std::vector<float> (96000, 0.1f));

        for (const auto& result :
             { LoudnessMatch::measure (silence, 48000.0, {}, { 5.0f, 0.0f }, { 0, 96000 }),
               LoudnessMatch::measure (plain, 48000.0, {}, { 5.0f, 0.0f }, { 0, 96000 }),
               LoudnessMatch::measure (samples, 48000.0, {}, { 5.0f, 0.0f }, { 500, 900 }),
               LoudnessMatch::measure (samples, 48000.0, {}, { 5.0f, 0.0f }, { -9, -5 }) })
        {
            REQUIRE (result);
            CHECK (result->gainA == 1.0f);
            CHECK (result->gainB == 1.0f);
        }
    }

    SECTION ("stops when told to")
    {
        CHECK_FALSE (LoudnessMatch::measure (samples, 48000.0, {}, {}, all, { [] { return true; }, {} }));
    }

    SECTION ("around the position, inside the track")
    {
        CHECK (LoudnessMatch::rangeAround (10, 480000, 48000.0) == LoopRange{ 0, 480000 });
        CHECK (LoudnessMatch::rangeAround (48000 * 100, 48000 * 101, 48000.0)
               == LoopRange{ 48000 * 71, 48000 * 101 });
        CHECK (LoudnessMatch::rangeAround (0, 0, 48000.0) == LoopRange{ 0, 0 });
    }
}

TEST_CASE ("Disk benchmark", "[playback][disk]")
{
    const auto folder = juce::File::createTempFile ("");
    REQUIRE (folder.createDirectory());
    DiskBenchmark result;

    SECTION ("measures, and leaves nothing behind")
    {
        double progress = 0.0;
        bool rises = true;
        const DiskBenchmark::Options options{ 24 << 20, 0.2, 48000.0 };
        REQUIRE (DiskBenchmark::run (folder,
                                     options,
                                     { {},
                                       [&] (double p)
                                       {
                                           rises = rises && p >= progress;
                                           progress = p;
                                       } },
                                     result)
                     .wasOk());
        CHECK (rises);
        CHECK (progress == 1.0);
        CHECK (result.writeBytesPerSecond > 0.0);
        CHECK (result.sequentialBytesPerSecond > 0.0);
        REQUIRE (result.streams.size() == 3);
        CHECK (result.streams.back().bytesPerSecond > 0.0);
        CHECK (folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0);
    }

    SECTION ("stops wherever it is told to")
    {
        for (int stopAt = 1; stopAt < 200; stopAt += 40)
        {
            int asked = 0;
            const auto outcome = DiskBenchmark::run (
                folder, { 24 << 20, 0.2, 48000.0 }, { [&] { return ++asked >= stopAt; }, {} }, result);
            CHECK (outcome.getErrorMessage().contains ("stopped"));
            CHECK (folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0);
        }

        CHECK (result.streams.empty());
    }

    SECTION ("says where it can't write")
    {
        const auto outcome = DiskBenchmark::run (folder.getChildFile ("missing"), {}, {}, result);
        CHECK (outcome.getErrorMessage().contains ("missing"));
    }

    SECTION ("proposes larger pieces and a longer read-ahead for a slower disk")
    {
        // A solid-state disk: all the same. A hard disk: 12 ms for each read, 100 MB/s.
        for (const auto pieces : { 8192, 16384, 32768 })
            result.streams.push_back ({ pieces, 800.0e6, 0.001 });

        result.propose (48000.0);
        CHECK (result.keepsUp);
        CHECK (result.proposal.framesPerRead == 8192);
        CHECK (result.proposal.seconds == 2.0);

        for (auto& s : result.streams)
        {
            const auto bytes = s.framesPerRead * 28.0;
            s.longestRead = 0.012 + bytes / 100.0e6;
            s.bytesPerSecond = bytes / s.longestRead;
        }

        result.propose (48000.0);
        CHECK (result.keepsUp);
        CHECK (result.proposal.framesPerRead == 32768);
        CHECK (result.proposal.seconds > 2.5);
        result.propose (192000.0);
        CHECK_FALSE (result.keepsUp);
        CHECK (result.neededBytesPerSecond == 192000.0 * 28.0 * 24.0);
    }

    folder.deleteRecursively();
}
