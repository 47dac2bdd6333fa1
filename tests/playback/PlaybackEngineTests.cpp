#include "tests/playback/PlaybackFixtures.h"
#include "tests/support/SampleChecks.h"

#include "playback/OfflineMix.h"
#include "terms/KnobValues.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <limits>
#include <new>
#include <numbers>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t fadeIn = 96;        // 2 ms at 48 kHz
constexpr std::int64_t fadeOut = 384;      // 8 ms
constexpr std::int64_t rampLength = 480;   // 10 ms
constexpr std::int64_t length = 60 * 1000; // of most tracks here, samples

std::shared_ptr<FormulaSamples> noise (std::uint32_t seed, int channels = 7, std::int64_t samples = length)
{
    return std::make_shared<FormulaSamples> (channels, samples, seed);
}
} // namespace

TEST_CASE ("Playback is the export", "[playback]")
{
    const auto blockSize = GENERATE (1, 7, 480, 512, 8192);
    const auto samples = noise (1);
    const KnobValues setting = GENERATE (KnobValues{ 0.0f, 0.0f },
                                         KnobValues{ 2.3f, 0.0f },
                                         KnobValues{ 5.0f, 0.37f },
                                         KnobValues{ 3.5f, 1.0f });
    EngineRig rig;
    rig.start ({ track (1, samples, setting) });
    const auto heard = rig.render (20000, blockSize);
    checkSame (part (heard, fadeIn, 20000 - fadeIn), exported (*samples, setting, fadeIn, 20000 - fadeIn));
    CHECK (rig.engine.counters().lateBlocks == 0);
    CHECK_FALSE (rig.outputsDiffer);
}

TEST_CASE ("Bypass and removed", "[playback]")
{
    const auto samples = noise (2);
    const KnobValues setting{ 2.6f, 0.2f };
    EngineRig rig;
    rig.start ({ track (1, samples, setting) });
    const auto processed = rig.render (9600);
    rig.engine.seek (0);
    rig.engine.setListening (Listening::removed);
    (void) rig.render (fadeOut);
    const auto removed = rig.render (9600);
    rig.engine.setListening (Listening::bypassed);
    (void) rig.render (rampLength);
    const auto from = rig.engine.position();
    checkSame (rig.render (4800), sourceOf (*samples, from, 4800));

    // Noise of 0.25 in seven channels: rounding of the sum of both stays below -120 dBFS.
    auto sum = sourceOf (*samples, 0, 9600);

    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] -= processed[i] + removed[i];

    checkSame (part (sum, fadeIn, 9600 - fadeIn), std::vector<float> (9600 - fadeIn), 1.0e-6f);

    SECTION ("of a track without a rendering are its source and silence")
    {
        const auto plain = noise (3, 1);
        rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, plain) }, 48000.0);
        (void) rig.render (2000);
        const auto at = rig.engine.position();
        checkSame (rig.render (1000), sourceOf (*plain, at, 1000));
        rig.engine.setListening (Listening::removed);
        (void) rig.render (rampLength);
        CHECK (isSilent (rig.render (1000)));
    }
}

TEST_CASE ("Switches and knobs make no step", "[playback]")
{
    const auto samples = slowSines (length);
    auto a = track (1, samples, { 4.2f, 0.0f });
    a.mix.settingB = { 0.0f, 0.5f };
    EngineRig rig;
    rig.start ({ a });
    const auto steady = rig.render (4800);
    const auto allowed = largestStep (part (steady, 480, 4000)) + 0.6f / static_cast<float> (rampLength);

    const auto checkChange = [&] (auto&& change, auto&& expected)
    {
        const auto before = rig.engine.position();
        auto heard = rig.render (64);
        change();
        const auto after = rig.render (1024);
        heard.insert (heard.end(), after.begin(), after.end());
        CHECK (largestStep (heard) <= allowed);
        const auto settled = before + 64 + rampLength;
        checkSame (part (heard, 64 + rampLength, 500), expected (settled, 500));
    };

    a.mix.usesSettingB = true;
    checkChange ([&] { rig.engine.setMix (1, a.mix); },
                 [&] (auto at, auto count) {
                     return exported (*samples, { 0.0f, 0.5f }, at, count);
                 });
    checkChange ([&] { rig.engine.setListening (Listening::bypassed); },
                 [&] (auto at, auto count) { return sourceOf (*samples, at, count); });
    rig.engine.setListening (Listening::processed);
    a.mix.settingB = { 5.0f, 0.0f };
    checkChange ([&] { rig.engine.setMix (1, a.mix); },
                 [&] (auto at, auto count) {
                     return exported (*samples, { 5.0f, 0.0f }, at, count);
                 });

    SECTION ("a knob that is turned all the time")
    {
        std::vector<float> heard;

        for (int i = 0; i < 200; ++i)
        {
            a.mix.settingB.focus = 2.5f + 2.5f * std::sin (static_cast<float> (i));
            rig.engine.setMix (1, a.mix);
            const auto block = rig.render (128);
            heard.insert (heard.end(), block.begin(), block.end());
        }

        CHECK (largestStep (heard) <= allowed);
    }

    SECTION ("the volume")
    {
        rig.engine.setVolume (0.25f);
        auto heard = rig.render (1024, 1);
        CHECK (largestStep (heard) <= allowed);
        rig.engine.setVolume (1.0f);
        (void) rig.render (rampLength);
        const auto at = rig.engine.position();
        checkSame (rig.render (500), exported (*samples, { 5.0f, 0.0f }, at, 500), 1.0e-6f);
    }
}

TEST_CASE ("Loop", "[playback]")
{
    const auto samples = noise (4);
    const LoopRange loop{ 10000, 14321 };
    constexpr std::int64_t seam = 240; // 5 ms
    EngineRig rig;
    rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, samples, { 1.5f, 0.0f }) }, 48000.0);
    rig.engine.selectTrack (1);
    rig.engine.setLoop (loop);
    rig.engine.play();
    rig.engine.seek (9000);
    rig.engine.prepare();
    const auto heard = rig.render (1000 + 5 * loop.length(), 333);
    const auto content = exported (*samples, { 1.5f, 0.0f }, 0, length);

    for (int turn = 0; turn < 5; ++turn)
    {
        INFO ("turn " << turn);
        checkSame (part (heard, 1000 + turn * loop.length(), loop.length() - seam),
                   part (content, loop.start, loop.length() - seam));
    }

    // The seam: what leaves and what comes, each weighted so that their powers add up.
    for (const std::int64_t i : { 0, 1, 120, 239 })
    {
        const auto phase =
            std::numbers::pi / 2.0 * (static_cast<double> (i) + 0.5) / static_cast<double> (seam);
        const auto leaving = content[static_cast<std::size_t> (loop.end - seam + i)];
        const auto coming = content[static_cast<std::size_t> (loop.start - seam + i)];
        CHECK (heard[static_cast<std::size_t> (1000 + loop.length() - seam + i)]
               == Approx (leaving * std::cos (phase) + coming * std::sin (phase)).margin (1.0e-5));
    }

    CHECK (rig.engine.counters().lateBlocks == 0);

    SECTION ("has its beginning read before its end is reached")
    {
        EngineRig far;
        far.engine.setTracks (std::vector<PlaybackTrack>{ track (1, noise (8, 7, 900 * 1000)) }, 48000.0);
        far.engine.selectTrack (1);
        far.engine.setLoop (LoopRange{ 30000, 600000 });
        far.engine.seek (590000);
        far.engine.prepare();
        far.engine.play();
        far.readAll();
        (void) far.renderOnly (30000);
        CHECK (far.engine.position() == 50000);
        CHECK (far.engine.counters().lateBlocks == 0);
    }

    SECTION ("ends where it is switched off, and the rest is played through")
    {
        rig.engine.setLoop (std::nullopt);
        const auto at = rig.engine.position();
        checkSame (rig.render (20000), part (content, at, 20000));
    }

    SECTION ("that the position was moved out of is left; playback that starts outside starts with the loop")
    {
        rig.engine.seek (20000);
        (void) rig.render (1000);
        const auto at = rig.engine.position();
        CHECK (at > 20000);
        checkSame (rig.render (5000), part (content, at, 5000));

        for (const std::int64_t outside : { 3000, 14321, 30000 })
        {
            rig.engine.stop();
            (void) rig.render (1000);
            rig.engine.seek (outside);
            rig.engine.play();
            CHECK (rig.engine.position() == loop.start);
        }
    }

    SECTION ("switched on behind the playhead, or just before it gets there, takes it along")
    {
        rig.engine.setLoop (std::nullopt);

        for (const auto& [at, expected] : { std::pair (30000, 10000), { 14000, 10000 }, { 2000, 2000 } })
        {
            rig.engine.seek (at);
            rig.engine.setLoop (loop);
            CHECK (rig.engine.position() == expected);
            rig.engine.setLoop (std::nullopt);
        }
    }

    SECTION ("of no length, of a few samples, and outside the Group")
    {
        for (const auto range :
             { LoopRange{ 12000, 12000 }, LoopRange{ 13000, 12000 }, LoopRange{ 12000, 12100 } })
        {
            rig.engine.setLoop (range);
            CHECK_FALSE (rig.engine.loop());
        }

        rig.engine.setLoop (LoopRange{ -500, length + 500 });
        CHECK (rig.engine.loop() == LoopRange{ 0, length });
        rig.engine.seek (length - 2000);
        (void) rig.render (fadeOut + 2000);
        CHECK (rig.engine.position() == 0);
        checkSame (rig.render (1000), part (content, 0, 1000));
    }
}

TEST_CASE ("Transport", "[playback]")
{
    const auto samples = noise (5);
    const auto content = exported (*samples, { 1.0f, 0.0f }, 0, length);
    EngineRig rig;
    rig.start ({ track (1, samples, { 1.0f, 0.0f }) });

    SECTION ("starts and stops with a short fade, and keeps its place")
    {
        const auto heard = rig.render (4800);
        CHECK (std::abs (heard[0]) <= 0.02f * std::abs (content[0]));
        rig.engine.stop();
        CHECK_FALSE (rig.engine.isPlaying());
        const auto tail = rig.render (1000);
        CHECK (std::abs (tail[static_cast<std::size_t> (fadeOut - 1)]) < 0.003f);
        CHECK (isSilent (part (tail, fadeOut, 1000 - fadeOut)));
        CHECK (rig.engine.position() == 4800 + fadeOut);
        rig.engine.play();
        const auto again = rig.render (1000);
        checkSame (part (again, fadeIn, 900), part (content, 4800 + fadeOut + fadeIn, 900));
    }

    SECTION ("jumps land on the sample")
    {
        (void) rig.render (2000);

        for (const std::int64_t aim : { 30000, 100, 58000, 24575, 24576, 8191 })
        {
            INFO ("to " << aim);
            rig.engine.seek (aim);
            (void) rig.render (fadeOut);
            CHECK (rig.engine.position() == aim);
            const auto heard = rig.render (900, 100);
            checkSame (part (heard, fadeIn, 900 - fadeIn), part (content, aim + fadeIn, 900 - fadeIn));
        }

        CHECK (rig.engine.counters().lateBlocks == 0);
    }

    SECTION ("a jump leaves what still sounds in memory")
    {
        const auto longer = noise (7, 7, 1000 * 1000);
        rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, longer) }, 48000.0);
        (void) rig.render (4000, 64);

        for (int i = 0; i < 20; ++i)
        {
            rig.engine.seek (40000 * i + 300000 * (i % 2));
            rig.readAll();
            (void) rig.render (2000, 64);
        }

        CHECK (rig.engine.counters().lateBlocks == 0);
    }

    SECTION ("a jump, a stop and a start within one fade end where the last command says")
    {
        (void) rig.render (2000);
        rig.engine.seek (40000);
        (void) rig.renderOnly (50);
        rig.engine.stop();
        (void) rig.renderOnly (50);
        rig.engine.play();
        rig.engine.seek (20000);
        (void) rig.render (fadeOut - 100);
        CHECK (rig.engine.position() == 20000);
        const auto heard = rig.render (500);
        checkSame (part (heard, fadeIn, 400), part (content, 20000 + fadeIn, 400));
    }

    SECTION ("stops at the end and begins anew from there")
    {
        (void) rig.render (2000);
        rig.engine.seek (length - 1000);
        const auto heard = rig.render (fadeOut + 1500);
        CHECK_FALSE (rig.engine.isPlaying());
        CHECK (rig.engine.position() == length);
        CHECK (isSilent (part (heard, fadeOut + 1000, 500)));
        CHECK (heard[static_cast<std::size_t> (fadeOut + 999)] == content.back());
        rig.engine.play();
        (void) rig.render (200);
        CHECK (rig.engine.position() == 200);
        rig.engine.seek (length + 5);
        CHECK (rig.engine.position() == length);
        rig.engine.seek (-5);
        CHECK (rig.engine.position() == 0);
    }

    SECTION ("survives no samples, no outputs, one output and more than two")
    {
        std::vector<float> samplesOut (256, 5.0f), third (256, 5.0f);
        float* outputs[] = { nullptr, samplesOut.data(), third.data() };
        rig.readAll();
        rig.engine.render (nullptr, 0, 512);
        rig.engine.render (outputs, 3, 0);
        rig.engine.render (outputs, 3, -1);
        CHECK (rig.engine.position() == 0);
        rig.engine.render (outputs, 3, 256);
        checkSame (part (samplesOut, fadeIn, 160), part (content, fadeIn, 160));
        CHECK (isSilent (third));
        rig.engine.render (outputs + 1, 1, 256);
        checkSame (samplesOut, part (content, 256, 256));
    }

    SECTION ("goes on after a break in rendering, by its last command")
    {
        (void) rig.render (5000);
        rig.engine.prepare();
        const auto heard = rig.render (1000);
        checkSame (part (heard, fadeIn, 900), part (content, 5000 + fadeIn, 900));
        rig.engine.stop();
        rig.engine.seek (777);
        rig.engine.prepare();
        CHECK (isSilent (rig.render (1000)));
        CHECK (rig.engine.position() == 777);
    }
}

TEST_CASE ("Tracks together", "[playback]")
{
    std::vector<PlaybackTrack> tracks{ track (1, noise (11), { 2.5f, 0.0f }),
                                       track (2, noise (12), { 4.0f, 0.3f }),
                                       track (3, noise (13, 1)),
                                       track (4, nullptr) };
    EngineRig rig;
    rig.start (tracks);
    rig.engine.setPlaysWholeGroup (true);
    (void) rig.render (1000);
    const auto apply = [&]
    {
        for (const auto& t : tracks)
            rig.engine.setMix (t.id, t.mix);

        (void) rig.render (rampLength);
    };

    const auto checkMix = [&] (std::vector<float> gains)
    {
        const auto at = rig.engine.position();
        std::vector<float> expected (2000);

        for (std::size_t t = 0; t < 3; ++t)
        {
            const auto one = exported (*tracks[t].samples, tracks[t].mix.settingA, at, 2000);

            for (std::size_t i = 0; i < one.size(); ++i)
                expected[i] += gains[t] * one[i];
        }

        checkSame (rig.render (2000), expected, 1.0e-7f);
    };

    checkMix ({ 1, 1, 1 });
    tracks[0].mix.mute = true;
    tracks[1].mix.gain = 0.5f;
    apply();
    checkMix ({ 0, 0.5f, 1 });
    tracks[2].mix.solo = true;
    tracks[0].mix.solo = true; // mute wins
    apply();
    checkMix ({ 0, 0, 1 });
    CHECK (rig.engine.levels (2).source == 0.0f);
    CHECK (rig.engine.levels (3).source > 0.1f);

    SECTION ("the selected track alone plays whatever solo, mute and gain say, and a switch keeps the place")
    {
        rig.engine.setPlaysWholeGroup (false);
        (void) rig.render (rampLength);
        checkMix ({ 1, 0, 0 });
        const auto before = rig.engine.position();
        rig.engine.selectTrack (2);
        (void) rig.render (rampLength);
        CHECK (rig.engine.position() == before + rampLength);
        checkMix ({ 0, 1, 0 });
        CHECK (rig.engine.counters().lateBlocks == 0);
    }

    SECTION ("the offline twin gives the same samples")
    {
        tracks[2].mix.solo = tracks[0].mix.solo = false;
        apply();
        OfflineMix offline (tracks, 48000.0, { Listening::processed, true, 0 });
        const auto at = rig.engine.position();
        std::vector<float> expected (3000);
        REQUIRE (offline.read (at, expected));
        checkSame (rig.render (3000), expected);
        CHECK (offline.lengthInSamples() == length);
    }

    SECTION ("a change of the set leaves the others alone, and what is new joins in")
    {
        tracks[2].mix.solo = tracks[0].mix.solo = false;
        tracks[0].mix.mute = false;
        tracks[1].mix.gain = 1.0f;
        apply();
        auto fewer = tracks;
        fewer.erase (fewer.begin() + 1);
        const auto before = rig.engine.position();
        rig.engine.setTracks (fewer, 48000.0);
        (void) rig.render (3000);
        CHECK (rig.engine.position() > before + 1000);
        checkMix ({ 1, 0, 1 });
        const auto joined = rig.engine.position();
        rig.engine.setTracks (tracks, 48000.0);
        (void) rig.render (rampLength);
        CHECK (rig.engine.position() == joined + rampLength); // nothing goes, so nothing stops
        checkMix ({ 1, 1, 1 });
        rig.engine.setTracks ({}, 48000.0);
        CHECK (rig.engine.position() == 0);
        CHECK (isSilent (part (rig.render (2000), fadeOut, 1000)));
        CHECK_FALSE (rig.engine.isPlaying());
    }
}

TEST_CASE ("Samples that come late", "[playback]")
{
    const auto samples = noise (6, 7, 400 * 1000);
    const auto content = exported (*samples, { 1.0f, 0.0f }, 0, 400 * 1000);
    EngineRig rig ({ 1.0, 8192 });
    rig.start ({ track (1, samples, { 1.0f, 0.0f }) });

    SECTION ("the clock waits for the first ones")
    {
        CHECK (isSilent (rig.renderOnly (4800)));
        CHECK (rig.engine.isWaiting());
        CHECK (rig.engine.position() == 0);
        CHECK (rig.engine.counters().lateBlocks == 0);
    }

    SECTION ("are silence, counted, and then it goes on exactly in place")
    {
        (void) rig.render (4800);
        std::vector<float> heard;

        // The disk stands still for two seconds.
        for (int i = 0; i < 200; ++i)
        {
            const auto block = rig.renderOnly (480);
            heard.insert (heard.end(), block.begin(), block.end());
        }

        CHECK (rig.engine.counters().lateBlocks > 50);
        CHECK (rig.engine.position() == 4800 + 96000);
        CHECK (isSilent (part (heard, 60000, 36000)));
        checkSame (part (heard, 0, 40000), part (content, 4800, 40000));

        const auto counted = rig.engine.counters().lateBlocks;
        const auto after = rig.render (4800);
        checkSame (part (after, 64, 4700), part (content, 4800 + 96000 + 64, 4700));
        CHECK (rig.engine.counters().lateBlocks == counted);
    }

    SECTION ("because a read fails: counted, and tried again")
    {
        bool broken = true;
        samples->onRead = [&] (std::size_t) { return ! broken; };
        rig.engine.seek (200000);
        (void) rig.render (300 * 1000, 4096); // more than it waits for
        CHECK (rig.engine.counters().failedReads >= 1);
        CHECK (rig.engine.unreadableSamples() == samples);
        CHECK (rig.engine.counters().lateBlocks > 0);
        CHECK (rig.engine.position() > 200000);
        broken = false;
    }

    SECTION ("because memory runs out: read later")
    {
        samples->onRead = [reads = 0] (std::size_t) mutable
        {
            if (++reads == 1)
                throw std::bad_alloc();

            return true;
        };
        rig.engine.seek (200000);
        REQUIRE_NOTHROW (rig.render (300 * 1000, 4096));
        CHECK (rig.engine.position() > 200000);
    }
}

TEST_CASE ("Broken samples never come out", "[playback]")
{
    std::vector<float> frames (7 * 9600, 0.1f);
    frames[7 * 1000 + 2] = std::numeric_limits<float>::quiet_NaN();
    frames[7 * 2000 + 6] = std::numeric_limits<float>::infinity();
    frames[7 * 3000 + 0] = -1.0e38f;
    frames[7 * 4000 + 0] = 3.0e38f;
    frames[7 * 4000 + 1] = 3.0e38f;
    EngineRig rig;
    rig.start ({ track (1, std::make_shared<MemorySamples> (7, std::move (frames))) });

    for (const auto listening : { Listening::processed, Listening::removed, Listening::bypassed })
    {
        rig.engine.setListening (listening);
        rig.engine.seek (0);
        rig.engine.play();
        const auto heard = rig.render (11000);
        CHECK (std::all_of (heard.begin(),
                            heard.end(),
                            [] (float x) { return std::abs (x) <= PlaybackEngine::outputLimit; }));
    }

    CHECK (rig.engine.counters().mutedSamples >= 3);
    CHECK (rig.engine.counters().clippedSamples >= 2);
    CHECK (std::isfinite (rig.engine.levels (1).source));
}

TEST_CASE ("Levels", "[playback]")
{
    // Source 0.5, best component 0.2, all others 0: at focus 5 the processed signal is 0.2 and 0.3 was
    // removed.
    std::vector<float> frames;

    for (int i = 0; i < length; ++i)
        frames.insert (frames.end(), { 0.2f, 0, 0, 0, 0, 0.3f, 0.5f });

    EngineRig rig;
    rig.start ({ track (1, std::make_shared<MemorySamples> (7, std::move (frames)), { 5.0f, 0.0f }) });
    (void) rig.render (4800);
    CHECK (rig.engine.levels (1).source == Approx (0.5f));
    CHECK (rig.engine.levels (1).processed == Approx (0.2f));
    CHECK (rig.engine.levels (1).removed == Approx (0.3f));
    CHECK (rig.engine.takeOutputPeaks()[1] == Approx (0.2f));
    rig.engine.setListening (Listening::bypassed);
    (void) rig.render (4800);
    CHECK (rig.engine.levels (1).processed == Approx (0.2f)); // what is heard does not matter
    CHECK (rig.engine.takeOutputPeaks()[0] == Approx (0.5f));
    rig.engine.stop();
    (void) rig.render (1000);
    CHECK (rig.engine.levels (1).source == 0.0f);
    (void) rig.engine.takeOutputPeaks();
    CHECK (rig.engine.takeOutputPeaks()[0] == 0.0f);
}
