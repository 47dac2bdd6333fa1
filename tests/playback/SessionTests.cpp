#include "tests/playback/FakeDevice.h"
#include "tests/playback/PlaybackFixtures.h"
#include "tools/realtimecheck/RealtimeCheck.h"

#include "playback/DeviceCallback.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 300 * 1000;

/** What a user does, at random but the same every time. */
class ScriptedUser
{
public:
    explicit ScriptedUser (PlaybackEngine& engineToUse) : engine (engineToUse)
    {
        for (std::uint32_t id = 0; id < 6; ++id)
        {
            auto samples =
                std::make_shared<FormulaSamples> (id == 5 ? 1 : 7, length - 1000 * static_cast<int> (id), id);
            samples->onRead = [this] (std::size_t) { return ! disksFail.load(); };
            tracks.push_back (track (id, samples, { 2.0f, 0.1f }));
        }

        engine.setTracks (tracks, 48000.0);
        engine.setPlaysWholeGroup (true);
        engine.play();
    }

    void act()
    {
        auto& t = tracks[random() % tracks.size()];

        switch (random() % 16)
        {
            case 0:
                return engine.seek (static_cast<std::int64_t> (random() % length));
            case 1:
                return engine.seek (length - 2000); // and over the end
            case 2:
            case 3:
                return engine.play();
            case 4:
                return random() % 4 == 0 ? engine.stop() : engine.play();
            case 5:
                return engine.setLoop (
                    LoopRange{ 1000 + static_cast<std::int64_t> (random() % 50000), 60000 });
            case 6:
                return engine.setLoop (std::nullopt);
            case 7:
                return engine.setListening (static_cast<Listening> (random() % 3));
            case 8:
                return engine.selectTrack (t.id);
            case 9:
                return engine.setPlaysWholeGroup (random() % 2 == 0);
            case 10:
                return changeTracks();
            case 11:
                disksFail = random() % 8 == 0;
                return;
            case 12:
                return engine.setVolume (static_cast<float> (random() % 100) / 100.0f);
            case 13:
                t.mix.usesSettingB = ! t.mix.usesSettingB;
                t.mix.solo = random() % 8 == 0;
                t.mix.mute = random() % 4 == 0;
                t.mix.gain = static_cast<float> (random() % 200) / 100.0f;
                t.mix.matching.processed[random() % 2] = static_cast<float> (random() % 200) / 100.0f;
                return engine.setMix (t.id, t.mix);
            default:
                t.mix.settingA.focus = static_cast<float> (random() % 500) / 100.0f;
                return engine.setMix (t.id, t.mix);
        }
    }

private:
    void changeTracks()
    {
        auto fewer = tracks;
        fewer.resize (3 + random() % 4);
        engine.setTracks (fewer, 48000.0);
    }

    PlaybackEngine& engine;
    std::vector<PlaybackTrack> tracks;
    std::atomic<bool> disksFail{ false };
    std::mt19937 random{ 1 };
};

struct SessionResult
{
    std::uint64_t numSamples = 0;
    bool isFinite = true;
};

/** Plays numCallbacks blocks of all sizes through a device's callback as fast as it goes. */
SessionResult callBack (DeviceCallback& callback, int numCallbacks)
{
    SessionResult result;
    std::mt19937 random (2);
    std::vector<float> left (8192), right (8192);
    float* outputs[] = { left.data(), right.data() };
    const int sizes[] = { 0, 1, 17, 32, 64, 64, 64, 127 };

    for (int i = 0; i < numCallbacks; ++i)
    {
        const auto size = i % 1000 == 0 ? 8192 : sizes[random() % std::size (sizes)];
        {
            const RealtimeScope scope;
            callback.audioDeviceIOCallbackWithContext (nullptr, 0, outputs, 2, size, {});
        }

        for (int k = 0; k < size; ++k)
            result.isFinite = result.isFinite && std::isfinite (left[static_cast<std::size_t> (k)]);

        result.numSamples += static_cast<std::uint64_t> (size);
    }

    return result;
}

void runSession (int numCallbacks)
{
    juce::TimeSliceThread readAhead ("session");
    readAhead.startThread();
    {
        PlaybackEngine engine (readAhead, { 1.0, 16384 });
        DeviceCallback callback (engine);
        ScriptedUser user (engine);
        SessionResult result;
        const auto breachesBefore = realtimeBreaches().total();

        // The device is another one for each quarter, the middle ones at other rates.
        std::atomic<bool> isDone{ false };
        std::thread device (
            [&]
            {
                for (const auto rate : { 48000.0, 44100.0, 96000.0, 48000.0 })
                {
                    const auto card = std::make_shared<FakeCard>();
                    card->preferredRate = rate;
                    FakeDevice one (card);
                    callback.audioDeviceAboutToStart (&one);
                    const auto part = callBack (callback, numCallbacks / 4);
                    result.numSamples += part.numSamples;
                    result.isFinite = result.isFinite && part.isFinite;
                    callback.audioDeviceStopped();
                }

                isDone = true;
            });

        while (! isDone)
        {
            user.act();
            (void) engine.takeOutputPeaks();
            (void) engine.levels (1);
            (void) engine.position();
            engine.collect();
            std::this_thread::sleep_for (std::chrono::microseconds (200));
        }

        device.join();
        const auto breaches = realtimeBreaches();
        INFO (breaches.text());
        CHECK (breaches.total() == breachesBefore);
        CHECK (result.isFinite);
        CHECK (callback.numCallbacks() >= static_cast<std::uint64_t> (numCallbacks));
        CHECK (engine.counters().mutedSamples == 0);
    }
    readAhead.stopThread (10000);
}
} // namespace

TEST_CASE ("The real-time check counts what it is for", "[playback][realtime]")
{
    if (! countsRealtimeBreaches())
        return;

    const auto before = realtimeBreaches();
    std::mutex mutex;
    {
        const RealtimeScope scope;
        auto* volatile memory = new int (1);
        delete memory;
        const std::scoped_lock lock (mutex);
        std::this_thread::sleep_for (std::chrono::nanoseconds (1));
        char byte = 0;
        (void) ! ::read (-1, &byte, 1);
    }
    const auto after = realtimeBreaches();
    CHECK (after.allocations >= before.allocations + 2);
    CHECK (after.locks > before.locks);
    CHECK (after.sleeps > before.sleeps);
    CHECK (after.fileAccesses > before.fileAccesses);
}

TEST_CASE ("Pages are whole or not there, whoever is faster", "[playback][realtime]")
{
    constexpr int numPages = 4, numReads = 200 * 1000;
    FramePages pages (1, INT64_MAX / 2, numPages);
    std::atomic<bool> isDone{ false };
    std::thread filler (
        [&]
        {
            std::vector<float> frames (FramePages::framesPerPage);

            for (std::int64_t page = 0; ! isDone; page = (page + 1) % 7)
            {
                std::fill (frames.begin(), frames.end(), static_cast<float> (page));
                pages.put (page, frames, [&] (std::int64_t held) { return (held + page) % 5; });
            }
        });
    int numRead = 0, numWrong = 0;

    for (int turn = 0; numRead < numReads; ++turn)
    {
        const auto page = turn % 7;

        if (const auto lease = pages.lease (page))
        {
            ++numRead;
            const auto* frames = lease->frames();
            numWrong += std::all_of (frames,
                                     frames + FramePages::framesPerPage,
                                     [page] (float x) { return x == static_cast<float> (page); })
                            ? 0
                            : 1;
        }
    }

    isDone = true;
    filler.join();
    CHECK (numWrong == 0);
}

TEST_CASE ("The callback neither locks, allocates, reads nor sleeps", "[playback][realtime]")
{
    runSession (40 * 1000);
}

TEST_CASE ("A million callbacks without a lock, an allocation, a read or a sleep", "[.long]")
{
    runSession (1000 * 1000);
}
