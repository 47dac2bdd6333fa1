#include "tests/playback/PlaybackFixtures.h"
#include "tests/support/SampleChecks.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cmath>
#include <ctime>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr double sampleRate = 48000.0;
constexpr int blockSize = 512;

/** A disk with a clock of its own: a read takes as long as the model says, and meanwhile the sound device
    goes on asking for blocks.
*/
class DiskSimulation
{
public:
    using Latency = std::function<double (double now, std::size_t numBytes)>;

    DiskSimulation (const ReadAheadSettings& settings,
                    int numTracks,
                    std::int64_t length,
                    Latency latencyOfReads)
        : rig (settings), latency (std::move (latencyOfReads)), left (blockSize), right (blockSize)
    {
        for (int t = 0; t < numTracks; ++t)
        {
            auto samples = std::make_shared<FormulaSamples> (7, length, static_cast<std::uint32_t> (t));
            samples->onRead = [this] (std::size_t numBytes)
            {
                advance (latency (now, numBytes));
                return true;
            };
            tracks.push_back (track (static_cast<std::uint32_t> (t), std::move (samples), { 2.5f, 0.1f }));
        }

        rig.engine.setPlaysWholeGroup (true);
        rig.start (tracks);
    }

    void runUntil (double seconds)
    {
        while (now < seconds)
            if (const auto idle = rig.slice(); idle > 0)
                advance (idle * 1.0e-3);
    }

    EngineRig rig;
    std::vector<PlaybackTrack> tracks;
    double now = 0.0;           // seconds
    double startedAfter = -1.0; // seconds
    std::int64_t lastLate = 0;  // block
    std::int64_t numBlocks = 0;

private:
    void advance (double seconds)
    {
        now += seconds;

        for (; static_cast<double> (numBlocks) * blockSize / sampleRate <= now; ++numBlocks)
        {
            const auto lateBefore = rig.engine.counters().lateBlocks;
            float* outputs[] = { left.data(), right.data() };
            rig.engine.render (outputs, 2, blockSize);

            if (startedAfter < 0.0 && rig.engine.position() > 0)
                startedAfter = static_cast<double> (numBlocks) * blockSize / sampleRate;

            if (rig.engine.counters().lateBlocks != lateBefore)
                lastLate = numBlocks;
        }
    }

    const Latency latency;
    std::vector<float> left, right;
};

double hardDisk (double, std::size_t numBytes)
{
    return 0.012 + static_cast<double> (numBytes) / 100.0e6;
}

/** A disk that stands still for a while every five seconds: a read that meets such a time takes that much
    longer.
*/
DiskSimulation::Latency stalling (double stall, DiskSimulation::Latency disk)
{
    return [stall, disk = std::move (disk)] (double now, std::size_t numBytes)
    {
        const auto time = disk (now, numBytes);
        return std::floor ((now + time) / 5.0) > std::floor (now / 5.0) ? time + stall : time;
    };
}

/** Seconds that this thread has had: what other programs take away from it does not count. */
double processorTime()
{
    timespec time{};
    ::clock_gettime (CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double> (time.tv_sec) + static_cast<double> (time.tv_nsec) * 1.0e-9;
}

double fastDisk (double, std::size_t numBytes)
{
    return 0.0001 + static_cast<double> (numBytes) / 500.0e6;
}

void checkKeepsUp (double seconds, const DiskSimulation::Latency& latency, double startWithin)
{
    DiskSimulation disk ({}, 24, static_cast<std::int64_t> ((seconds + 60.0) * sampleRate), latency);
    disk.runUntil (seconds);
    const auto counters = disk.rig.engine.counters();
    INFO ("late blocks " << counters.lateBlocks << ", started after " << disk.startedAfter << " s");
    CHECK (counters.lateBlocks == 0);
    CHECK (disk.startedAfter >= 0.0);
    CHECK (disk.startedAfter <= startWithin);
    CHECK (disk.rig.engine.isPlaying());

    if (seconds >= 600.0)
        WARN (counters.lateBlocks << " late blocks in " << seconds << " s, started after "
                                  << disk.startedAfter << " s");
}

/** A hard disk, a stick that stops for half a second, and a hard disk that does. */
void checkSlowDisks (double seconds)
{
    checkKeepsUp (seconds, hardDisk, 2.0);
    checkKeepsUp (seconds, stalling (0.5, fastDisk), 0.15);
    checkKeepsUp (seconds, stalling (0.5, hardDisk), 3.0);
}
} // namespace

TEST_CASE ("Twenty-four tracks from slow disks", "[playback][disk]")
{
    checkSlowDisks (40.0);
}

TEST_CASE ("A hard disk that stops just when playback has begun", "[playback][disk]")
{
    const DiskSimulation* simulation = nullptr;
    double stoppedAt = -1.0;
    DiskSimulation disk ({},
                         24,
                         static_cast<std::int64_t> (60.0 * sampleRate),
                         [&] (double now, std::size_t numBytes)
                         {
                             if (simulation == nullptr || simulation->startedAfter < 0.0 || stoppedAt >= 0.0)
                                 return hardDisk (now, numBytes);

                             stoppedAt = now;
                             return 0.5 + hardDisk (now, numBytes);
                         });
    simulation = &disk;
    disk.runUntil (10.0);
    CHECK (stoppedAt >= 0.0);
    CHECK (stoppedAt <= 2.0);
    CHECK (disk.rig.engine.counters().lateBlocks == 0);
}

TEST_CASE ("Twenty-four tracks from slow disks for ten minutes", "[.long]")
{
    checkSlowDisks (600.0);
}

TEST_CASE ("Time that a block of twenty-four tracks takes", "[.long]")
{
    EngineRig rig;
    std::vector<PlaybackTrack> tracks;

    for (std::uint32_t t = 0; t < 24; ++t)
        tracks.push_back (track (t, std::make_shared<FormulaSamples> (7, 48000 * 600, t), { 2.5f, 0.1f }));

    rig.engine.setPlaysWholeGroup (true);
    rig.start (tracks);
    const auto turnsKnobs = GENERATE (false, true);
    std::vector<double> seconds;
    std::vector<float> left (blockSize), right (blockSize);
    float* outputs[] = { left.data(), right.data() };

    for (int i = 0; i < 10000; ++i)
    {
        rig.readAll();

        for (auto& t : tracks)
        {
            t.mix.settingA.focus = static_cast<float> (i % 50) / 10.0f;

            if (turnsKnobs)
                rig.engine.setMix (t.id, t.mix);
        }

        const auto before = processorTime();
        rig.engine.render (outputs, 2, blockSize);
        seconds.push_back (processorTime() - before);
    }

    std::sort (seconds.begin(), seconds.end());
    const auto period = blockSize / sampleRate;
    WARN ((turnsKnobs ? "all knobs turning" : "nothing turning")
          << ": median " << 100.0 * seconds[seconds.size() / 2] / period << " %, 99.9th percentile "
          << 100.0 * seconds[seconds.size() * 999 / 1000] / period
          << " % of the period of 512 samples at 48 kHz");
    CHECK (seconds[seconds.size() * 999 / 1000] <= 0.25 * period);
}

TEST_CASE ("A stall that is longer than the read-ahead", "[playback][disk]")
{
    bool isStalled = false;
    double stalledAt = 0.0;
    DiskSimulation disk ({ 1.5, 32768 },
                         4,
                         static_cast<std::int64_t> (60.0 * sampleRate),
                         [&] (double now, std::size_t numBytes)
                         {
                             if (now < 8.0 || isStalled)
                                 return fastDisk (now, numBytes);

                             isStalled = true;
                             stalledAt = now;
                             return 4.0;
                         });
    disk.runUntil (20.0);
    CHECK (isStalled);
    const auto& engine = disk.rig.engine;
    CHECK (engine.counters().lateBlocks > 100); // of 4 s without data 1.5 s were in memory at most
    CHECK (static_cast<double> (disk.lastLate) * blockSize / sampleRate <= stalledAt + 4.2);

    // The clock has not shifted, and what is heard is what belongs there.
    const auto start = std::ceil (disk.startedAfter * sampleRate / blockSize);
    CHECK (engine.position()
           == Approx ((static_cast<double> (disk.numBlocks) - start) * blockSize).margin (blockSize));
    const auto at = engine.position();
    std::vector<float> expected (blockSize);

    for (const auto& t : disk.tracks)
    {
        static_cast<FormulaSamples&> (*t.samples).onRead = nullptr;
        const auto one = exported (*t.samples, t.mix.settingA, at, blockSize);

        for (std::size_t i = 0; i < one.size(); ++i)
            expected[i] += one[i];
    }

    checkSame (disk.rig.renderOnly (blockSize), expected, 1.0e-6f);
}
