// Plays through a real sound server, records what comes out of it and compares that with what an export would
// hold; kills the server under the program; plays twenty-four tracks from disk. Run on demand, see
// docs/playback.md.
#include "tests/playback/PlaybackFixtures.h"
#include "tools/soundserver/JackServer.h"

#include "playback/PlaybackDevice.h"
#include "terms/KnobValues.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <random>
#include <stdexcept>
#include <unordered_map>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
double decibels (double linear)
{
    return 20.0 * std::log10 (std::max (linear, 1.0e-15));
}

std::uint32_t now()
{
    return juce::Time::getMillisecondCounter();
}

/** Engine, device and read-ahead thread, as the program has them, with the message loop run by hand. */
class Player
{
public:
    Player() { thread.startThread(); }

    ~Player()
    {
        device.reset();
        engine.reset();
        thread.stopThread (10000);
    }

    void open (std::span<const PlaybackTrack> tracks, double sampleRate)
    {
        engine->setTracks (tracks, sampleRate);
        engine->selectTrack (tracks.front().id);
        const auto opened = device->openByName ("JACK: system");

        if (opened.failed())
            throw std::runtime_error (opened.getErrorMessage().toStdString());
    }

    /** Lets messages and the watchdog go on for a while; the longest gap between two looks is kept. */
    void run (int milliseconds)
    {
        const auto end = now() + static_cast<std::uint32_t> (milliseconds);

        do
        {
            const auto before = now();
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);

            if (now() - lastTick >= 250)
            {
                device->tick();
                lastTick = now();
            }

            longestGap = std::max (longestGap, now() - before);
        } while (static_cast<std::int32_t> (end - now()) > 0);
    }

    juce::TimeSliceThread thread{ "playbackReadAheadThreadName" };
    std::unique_ptr<PlaybackEngine> engine = std::make_unique<PlaybackEngine> (thread);
    std::unique_ptr<PlaybackDevice> device = std::make_unique<PlaybackDevice> (*engine, juce::File());
    std::uint32_t lastTick = 0, longestGap = 0;
};

/** Stretches of what was recorded, found by their content. */
class Comparison
{
public:
    explicit Comparison (std::vector<float> recordedSamples) : recorded (std::move (recordedSamples)) {}

    /** Looks for the beginning of expected, and compares all of it from there. */
    void find (const char* what, const std::vector<float>& expected)
    {
        constexpr std::ptrdiff_t pattern = 32;
        const auto close = [] (float a, float b) { return std::abs (a - b) < 1.0e-6f; };
        const auto found = std::search (recorded.begin() + searchFrom,
                                        recorded.end(),
                                        expected.begin(),
                                        expected.begin() + pattern,
                                        close);

        if (found == recorded.end() || recorded.end() - found < static_cast<std::ptrdiff_t> (expected.size()))
        {
            std::printf ("  %s: not found in the recording\n", what);
            ++numFailures;
            return;
        }

        double largest = 0.0;

        for (std::size_t i = 0; i < expected.size(); ++i)
            largest = std::max (
                largest,
                static_cast<double> (std::abs (found[static_cast<std::ptrdiff_t> (i)] - expected[i])));

        searchFrom = found - recorded.begin();
        largestDifference = std::max (largestDifference, largest);
        numCompared += expected.size();

        if (decibels (largest) > -140.0)
        {
            std::printf ("  %s: differs by %.1f dBFS\n", what, decibels (largest));
            ++numFailures;
        }
    }

    double largestDifference = 0.0;
    std::size_t numCompared = 0;
    int numFailures = 0;

private:
    const std::vector<float> recorded;
    std::ptrdiff_t searchFrom = 0;
};

/** Seeks, a loop, A/B, bypass, removed and the kit at one rate. True when everything was as it should. */
bool compareAt (int rate)
{
    const JackServer server (rate, 512);
    const std::int64_t length = 60 * rate;
    const auto samples = std::make_shared<FormulaSamples> (7, length, static_cast<std::uint32_t> (rate));
    const KnobValues a{ 2.4f, 0.15f }, b{ 4.7f, 0.0f };
    auto one = track (1, samples, a);
    one.mix.settingB = b;
    Player player;
    const auto others = std::make_shared<FormulaSamples> (7, length, static_cast<std::uint32_t> (rate) + 1);
    auto two = track (2, others, b);
    two.mix.gain = 0.5f;
    player.open (std::vector<PlaybackTrack>{ one, two }, rate);
    auto& engine = *player.engine;
    const JackCapture capture ("Tessivar:out_1", static_cast<std::size_t> (rate) * 60);
    std::vector<std::function<void (Comparison&)>> checks;

    // What is heard from a little later on: a stretch of so many milliseconds, however long a busy machine
    // takes for it.
    const auto listen = [&] (const char* what, int milliseconds, auto&& expected)
    {
        player.run (60);
        const auto from = engine.position() + 1024;
        const auto count = static_cast<std::int64_t> (rate) * milliseconds / 1000;
        const auto begun = now();

        while (engine.position() < from + count + 2048)
        {
            player.run (10);

            if (player.device->status() == DeviceStatus::lost || now() - begun > 10000)
                throw std::runtime_error ("the server has dropped the program; is the machine busy?");
        }

        checks.push_back ([=] (Comparison& c) { c.find (what, expected (from, count)); });
    };

    const auto withSetting = [&] (KnobValues setting) {
        return [=] (std::int64_t from, std::int64_t count)
        { return exported (*samples, setting, from, count); };
    };

    engine.play();
    listen ("from the start", 500, withSetting (a));
    std::mt19937 random (1);

    for (int i = 0; i < 20; ++i)
    {
        engine.seek (static_cast<std::int64_t> (random() % static_cast<unsigned> (length - 2 * rate)));
        listen ("after a jump", 200, withSetting (a));
    }

    const LoopRange loop{ rate, rate + rate / 2 };
    const auto seam = Transport::seamLength (loop, rate);
    engine.setLoop (loop);
    engine.seek (loop.start);
    player.run (3500); // seven turns

    for (int turn = 0; turn < 3; ++turn)
        checks.push_back (
            [=] (Comparison& c)
            {
                // From the second turn on: the first one fades in. The seam is left out, the sample after it
                // is not.
                c.find ("a turn of the loop", exported (*samples, a, loop.start, loop.length() - seam));
            });

    engine.setLoop (std::nullopt);
    engine.seek (10 * rate);
    one.mix.usesSettingB = true;
    engine.setMix (1, one.mix);
    listen ("setting B", 400, withSetting (b));
    one.mix.usesSettingB = false;
    engine.setMix (1, one.mix);
    listen ("setting A again", 400, withSetting (a));
    engine.setListening (Listening::bypassed);
    listen ("bypass", 400, [=] (auto from, auto count) { return sourceOf (*samples, from, count); });
    engine.setListening (Listening::removed);
    listen ("removed",
            400,
            [=] (auto from, auto count)
            {
                auto result = sourceOf (*samples, from, count);
                const auto processed = exported (*samples, a, from, count);
                std::transform (
                    result.begin(), result.end(), processed.begin(), result.begin(), std::minus<>());
                return result;
            });
    engine.setChoice ({ Listening::processed, true, 1 });
    listen ("the kit",
            400,
            [=] (auto from, auto count)
            {
                auto result = exported (*samples, a, from, count);
                const auto other = exported (*others, b, from, count);

                for (std::size_t i = 0; i < result.size(); ++i)
                    result[i] += 0.5f * other[i];

                return result;
            });
    engine.setPlaysWholeGroup (false);
    listen ("the track again", 400, withSetting (a));
    engine.stop();
    player.run (100);

    Comparison comparison (capture.recorded());

    for (const auto& check : checks)
        check (comparison);

    const auto late = engine.counters().lateBlocks;
    const auto xruns = player.device->manager().getXRunCount();
    std::printf ("%6d Hz: %zu stretches, %.1f s compared, largest difference %.1f dBFS, %llu late blocks, %d "
                 "xruns, callback "
                 "load at most %.1f %%%s\n",
                 rate,
                 checks.size(),
                 static_cast<double> (comparison.numCompared) / rate,
                 decibels (comparison.largestDifference),
                 static_cast<unsigned long long> (late),
                 std::max (0, xruns),
                 100.0 * static_cast<double> (player.device->callback().takePeakLoad()),
                 comparison.numFailures == 0 ? "" : "  FAILED");
    return comparison.numFailures == 0 && late == 0;
}

/** Plays to a server that does not wait, and says where the recording departs from what was rendered, and
    whose fault that is: the recorder's where the server went through cycles without it. True when the program
    knows of at least as many blocks that it was late for as the rest shows.
*/
bool playUnderLoad (int seconds)
{
    constexpr int rate = 48000, block = 512;
    const JackServer server (rate, block, JackServer::Clients::notAwaited);
    const std::int64_t length = (seconds + 5) * rate;
    const auto samples = std::make_shared<FormulaSamples> (7, length, 5u);
    const KnobValues setting{ 2.4f, 0.15f };
    Player player;
    player.open (std::vector<PlaybackTrack>{ track (1, samples, setting) }, rate);
    const JackCapture capture ("Tessivar:out_1", static_cast<std::size_t> (2 * length));
    player.engine->play();
    player.run (1000 * seconds);
    player.engine->stop();
    player.run (200);

    constexpr std::size_t same = 16; // samples in a row that are found by chance nowhere else
    const auto expected = exported (*samples, setting, 0, length);
    const auto recorded = capture.recorded();
    std::unordered_multimap<float, std::size_t> places;

    for (std::size_t i = 0; i + same < expected.size(); ++i)
        places.emplace (expected[i], i);

    const auto placeOf = [&] (std::size_t at) -> std::optional<std::size_t>
    {
        const auto [first, last] = places.equal_range (recorded[at]);

        for (auto place = first; place != last; ++place)
            if (std::equal (expected.begin() + static_cast<std::ptrdiff_t> (place->second),
                            expected.begin() + static_cast<std::ptrdiff_t> (place->second + same),
                            recorded.begin() + static_cast<std::ptrdiff_t> (at)))
                return place->second;

        return {};
    };

    std::optional<std::size_t> previous; // place of the sample before
    std::size_t lastKnown = 0;
    int byProgram = 0, byRecorder = 0;

    for (std::size_t at = 0; at + same < recorded.size();)
    {
        if (previous && *previous + 1 < expected.size() && recorded[at] == expected[*previous + 1])
        {
            previous = *previous + 1;
            lastKnown = at++;
            continue;
        }

        if (const auto place = placeOf (at))
        {
            if (previous)
            {
                const auto extra =
                    static_cast<std::ptrdiff_t> (at - lastKnown)
                    - (static_cast<std::ptrdiff_t> (*place) - static_cast<std::ptrdiff_t> (*previous));
                const auto isRecorders = capture.hasMissedBefore (at);
                std::printf ("  at %.3f s: %td samples %s, by the %s\n",
                             static_cast<double> (at) / rate,
                             std::abs (extra),
                             extra > 0 ? "more" : "fewer",
                             isRecorders ? "recorder" : "program");
                (isRecorders ? byRecorder : byProgram) += static_cast<int> (std::abs (extra)) / block;
            }

            previous = place;
            lastKnown = at;
        }

        ++at;
    }

    const auto known = player.device->numDropouts();
    std::printf ("%d s: the recording lacks or repeats %d blocks by the recorder, %d by the program, which "
                 "knows of %llu; "
                 "%d xruns of the server\n",
                 seconds,
                 byRecorder,
                 byProgram,
                 static_cast<unsigned long long> (known),
                 capture.numOverruns());
    return known >= static_cast<std::uint64_t> (byProgram);
}

/** Kills the server at random moments; the program must notice, say so, and go on. */
bool kill (int numKills)
{
    constexpr int rate = 48000;
    const auto samples = std::make_shared<FormulaSamples> (7, std::int64_t{ 600 } * rate, 1);
    auto server = std::make_unique<JackServer> (rate, 512);
    Player player;
    int numNotices = 0;
    std::uint32_t killedAt = 0, slowestNotice = 0, slowestResume = 0;
    player.device->onLost = [&] (const juce::String&)
    {
        ++numNotices;
        slowestNotice = std::max (slowestNotice, now() - killedAt);
    };
    player.open (std::vector<PlaybackTrack>{ track (1, samples, { 2.0f, 0.0f }) }, rate);
    std::mt19937 random (3);
    int numResumed = 0, numKept = 0;

    for (int i = 0; i < numKills; ++i)
    {
        player.engine->play();
        player.run (300 + static_cast<int> (random() % 500));
        const auto before = player.engine->position();
        killedAt = now();
        server->stop (i % 2 == 0 ? SIGKILL : SIGTERM);
        player.run (1300);
        const auto kept = player.engine->position();
        numKept += ! player.engine->isPlaying() && kept >= before && kept <= before + rate ? 1 : 0;
        server = std::make_unique<JackServer> (rate, 512);

        if (const auto reopened = player.device->reopen(); reopened.failed())
        {
            std::printf ("  kill %d: %s\n", i + 1, reopened.getErrorMessage().toRawUTF8());
            continue;
        }

        player.engine->play();
        const auto reopenedAt = now();

        while (player.engine->position() == kept && now() - reopenedAt < 3000)
            player.run (5);

        slowestResume = std::max (slowestResume, now() - reopenedAt);
        player.run (100);
        numResumed += player.engine->position() > kept && player.engine->isPlaying() ? 1 : 0;
    }

    std::printf ("%d kills: %d notices, the slowest after %u ms; position kept %d times, resumed %d times, "
                 "at most %u ms "
                 "after the new start; longest gap in the message loop %u ms\n",
                 numKills,
                 numNotices,
                 slowestNotice,
                 numKept,
                 numResumed,
                 slowestResume,
                 player.longestGap);
    return numNotices == numKills && numKept == numKills && numResumed == numKills && slowestNotice <= 1000;
}

/** One track of a file that holds many. */
class FileSamples final : public TrackSamples
{
public:
    FileSamples (int descriptorToRead, std::int64_t offsetInBytes, std::int64_t lengthInFrames)
        : descriptor (descriptorToRead), offset (offsetInBytes), length (lengthInFrames)
    {
    }

    int numChannels() const override { return 7; }
    std::int64_t lengthInFrames() const override { return length; }
    juce::String lastError() const override { return {}; }
    Location location() const override { return {}; }

    bool readFrames (std::int64_t start, std::span<float> dest) override
    {
        const auto bytes = static_cast<ssize_t> (dest.size_bytes());
        return ::pread (descriptor, dest.data(), dest.size_bytes(), offset + start * 28) == bytes;
    }

private:
    const int descriptor;
    const std::int64_t offset, length;
};

/** Twenty-four tracks from a file in a folder, in real time. */
bool playFromDisk (const char* folder, int seconds)
{
    constexpr int rate = 48000, numTracks = 24;
    const std::int64_t length = (seconds + 5) * rate;
    auto name = std::string (folder) + "/tessivar-jack-XXXXXX";
    const auto file = ::mkstemp (name.data());
    ::unlink (name.c_str());
    std::vector<float> block (1 << 18);
    std::mt19937 random (1);

    for (auto& x : block)
        x = static_cast<float> (random() % 2001) / 1000.0f * 0.01f - 0.01f;

    for (std::int64_t done = 0; done < numTracks * length * 28;
         done += static_cast<std::int64_t> (block.size() * 4))
        if (::write (file, block.data(), block.size() * 4) < 0)
            throw std::runtime_error (std::string ("can't write to ") + folder);

    ::fdatasync (file);
    (void) ::posix_fadvise (file, 0, 0, POSIX_FADV_DONTNEED);

    const JackServer server (rate, 512);
    std::vector<PlaybackTrack> tracks;

    for (std::uint32_t t = 0; t < numTracks; ++t)
        tracks.push_back (
            track (t, std::make_shared<FileSamples> (file, t * length * 28, length), { 2.5f, 0.1f }));

    Player player;
    player.open (tracks, rate);
    player.engine->setPlaysWholeGroup (true);
    (void) player.device->callback().takePeakLoad();
    auto& engine = *player.engine;
    engine.play();

    // To places that nobody has read yet.
    std::uint32_t slowestStart = 0;

    for (int i = 0; i < 10; ++i)
    {
        const auto aim = (i * 7 % 10) * length / 10;
        const auto before = now();
        engine.seek (aim);

        while (engine.position() == aim && now() - before < 5000)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (1);

        slowestStart = std::max (slowestStart, now() - before);
        player.run (200);
    }

    engine.seek (0);
    player.run (1000 * seconds);
    const auto late = engine.counters().lateBlocks;
    std::printf ("%d tracks from %s for %d s: started after %u ms at most, %llu late blocks, %d xruns, "
                 "callback load %.1f %% on "
                 "average, %.1f %% at most\n",
                 numTracks,
                 folder,
                 seconds,
                 slowestStart,
                 static_cast<unsigned long long> (late),
                 std::max (0, player.device->manager().getXRunCount()),
                 100.0 * static_cast<double> (player.device->callback().load()),
                 100.0 * static_cast<double> (player.device->callback().takePeakLoad()));
    ::close (file);
    return late == 0;
}
} // namespace

int main (int argc, char** argv)
{
    const juce::ScopedJuceInitialiser_GUI juceIsUp;
    silenceSoundLibraries();
    const std::vector<std::string> arguments (argv + 1, argv + argc);
    const auto number = [&] (std::size_t index) { return std::stoi (arguments.at (index)); };
    bool passed = true;
    std::setvbuf (stdout, nullptr, _IOLBF, 0);

    try
    {
        if (arguments.size() == 2 && arguments[0] == "--kills")
            passed = kill (number (1));
        else if (arguments.size() == 3 && arguments[0] == "--disk")
            passed = playFromDisk (arguments[1].c_str(), number (2));
        else if (arguments.size() == 2 && arguments[0] == "--load")
            passed = playUnderLoad (number (1));
        else if (arguments.size() == 2 && arguments[0] == "--rate")
            passed = compareAt (number (1));
        else if (arguments.empty())
        {
            for (const auto rate : { 44100, 48000, 96000, 192000 })
                passed = compareAt (rate) && passed;
        }
        else
        {
            std::printf ("tessivar_playback_jack [--rate HZ | --load SECONDS | --kills NUMBER | --disk "
                         "FOLDER SECONDS]\n");
            return 2;
        }
    }
    catch (const std::exception& e)
    {
        std::printf ("%s\n", e.what());
        return 1;
    }

    return passed ? 0 : 1;
}
