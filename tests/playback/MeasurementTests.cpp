#include "tests/playback/PlaybackFixtures.h"

#include "playback/DiskBenchmark.h"
#include "playback/LoudnessMatch.h"

#include <catch2/catch.hpp>

#include <numbers>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Equal loudness", "[playback][loudness]")
{
    // Ten seconds of bursts. The best component is half of the source, so that focus 5 is 6 dB down, and so
    // is what it removes.
    const auto bursts = [] (float level)
    {
        std::vector<float> frames;

        for (int i = 0; i < 480000; ++i)
        {
            const auto tone =
                i % 24000 < 12000
                    ? level * std::sin (2.0f * std::numbers::pi_v<float> * 0.02f * static_cast<float> (i))
                    : 0.0f;
            frames.insert (frames.end(), { 0.5f * tone, 0, 0, 0, 0, 0.5f * tone, tone });
        }

        return std::make_shared<MemorySamples> (7, std::move (frames));
    };
    const LoopRange all{ 0, 480000 };
    const auto gainsOf = [&] (std::shared_ptr<TrackSamples> samples, LoopRange range)
    {
        auto measured = track (1, std::move (samples), { 0.0f, 0.0f });
        measured.mix.settingB = { 5.0f, 0.0f };
        measured.mix.matching.source = 0.1f; // doesn't count
        const auto match = LoudnessMatch::measure (
            std::vector{ measured, track (2, bursts (0.9f)) }, 48000.0, { .selectedTrack = 1 }, range);
        REQUIRE (match);
        return match->gains();
    };

    SECTION ("turns what is softer up to the source")
    {
        const auto gains = gainsOf (bursts (0.4f), all);
        CHECK (gains.source == Approx (1.0f));
        CHECK (gains.processed[0] == Approx (1.0f).epsilon (0.01));
        CHECK (gains.processed[1] == Approx (2.0f).epsilon (0.01));
        CHECK (gains.removed[1] == Approx (2.0f).epsilon (0.01));
        CHECK (gains.removed[0] == 1.0f); // there is nothing
    }

    SECTION ("turns all down where a peak would clip")
    {
        auto samples = bursts (0.4f);
        std::vector<float> spiked (7 * 480000);
        REQUIRE (samples->readFrames (0, spiked));
        spiked[7 * 5000 + 0] = 0.8f; // of the best component alone: twice that when turned up
        spiked[7 * 5000 + 6] = 0.8f;
        const auto gains = gainsOf (std::make_shared<MemorySamples> (7, std::move (spiked)), all);
        CHECK (gains.processed[1] * 0.8f == Approx (1.0f).epsilon (0.01));
        CHECK (gains.processed[1] == Approx (2.0f * gains.source).epsilon (0.01));
    }

    SECTION ("of the kit counts every track, at its level")
    {
        std::vector tracks{ track (1, bursts (0.2f), { 5.0f, 0.0f }),
                            track (2, bursts (0.2f), { 5.0f, 0.0f }) };
        tracks[1].mix.gain = 0.5f;
        const auto match =
            LoudnessMatch::measure (tracks, 48000.0, { .playsWholeGroup = true, .selectedTrack = 1 }, all);
        REQUIRE (match);
        // 0.2 + 0.1 of source; of that 0.05 from the other track stays, and 0.1 or 0.2 from the selected one.
        CHECK (match->gains().processed[0] == Approx (2.0f).epsilon (0.01));
        CHECK (match->gains().processed[1] == Approx (0.3f / 0.25f).epsilon (0.01));
    }

    SECTION ("leaves alone what is silent, too short, or no rendering")
    {
        for (const auto& gains :
             { gainsOf (std::make_shared<MemorySamples> (7, std::vector<float> (7 * 96000)), { 0, 96000 }),
               gainsOf (std::make_shared<MemorySamples> (1, std::vector<float> (96000, 0.1f)), { 0, 96000 }),
               gainsOf (bursts (0.4f), { 500, 900 }),
               gainsOf (bursts (0.4f), { -9, -5 }) })
            CHECK (gains == MatchingGains{});
    }

    SECTION ("stops when told to")
    {
        CHECK_FALSE (LoudnessMatch::measure (std::vector{ track (1, bursts (0.4f)) },
                                             48000.0,
                                             { .selectedTrack = 1 },
                                             all,
                                             { [] { return true; }, {} }));
    }

    SECTION ("is measured around the position, inside the track")
    {
        CHECK (LoudnessMatch::rangeAround (10, 480000, 48000.0, 30.0) == LoopRange{ 0, 480000 });
        CHECK (LoudnessMatch::rangeAround (48000 * 100, 48000 * 101, 48000.0, 30.0)
               == LoopRange{ 48000 * 71, 48000 * 101 });
        CHECK (LoudnessMatch::rangeAround (0, 0, 48000.0, 30.0) == LoopRange{ 0, 0 });
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
