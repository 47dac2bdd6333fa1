#include "tests/playback/FakeDevice.h"
#include "tests/playback/PlaybackFixtures.h"
#include "tests/support/SampleChecks.h"

#include "playback/PlaybackDevice.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <numbers>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 400 * 1000;

/** An engine with one track, a card, and the device between them. */
class DeviceRig
{
public:
    explicit DeviceRig (double groupRate = 48000.0)
    {
        rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, samples, { 1.5f, 0.0f }) }, groupRate);
        rig.engine.selectTrack (1);
        device.manager().addAudioDeviceType (
            std::make_unique<FakeDeviceType> (std::vector<std::shared_ptr<FakeCard>>{ card, otherCard }));
        otherCard->name = "other card";
        device.onLost = [this] (const juce::String& reason) { losses.add (reason); };
    }

    ~DeviceRig() { folder.deleteRecursively(); }

    void pump (int numBlocks, int blockSize = 512)
    {
        for (int i = 0; i < numBlocks; ++i)
        {
            rig.readAll();
            card->pump (blockSize);
        }
    }

    /** Time goes by without a block; the watchdog looks four times a second. */
    int millisecondsUntilLost()
    {
        for (int waited = 0; waited <= 5000; waited += 250)
        {
            device.tick (clock += 250);

            if (! losses.isEmpty())
                return waited + 250;
        }

        return -1;
    }

    juce::ScopedJuceInitialiser_GUI messageManager;
    const juce::File folder = juce::File::createTempFile ("");
    const juce::File settings = folder.getChildFile ("AudioDeviceSetup.config");
    std::shared_ptr<FormulaSamples> samples = std::make_shared<FormulaSamples> (7, length, 3);
    std::shared_ptr<FakeCard> card = std::make_shared<FakeCard>(), otherCard = std::make_shared<FakeCard>();
    EngineRig rig;
    PlaybackDevice device{ rig.engine, settings };
    juce::StringArray losses;
    std::uint32_t clock = 0xfffffc00u; // runs over within the test
};

/** Signal to noise of a tone of unit level, dB, and its level, by least squares; the ends are left out. */
double signalToNoise (const std::vector<float>& samples, double frequency, double rate, double& level)
{
    double ss = 0, cc = 0, sc = 0, ys = 0, yc = 0, noise = 0;
    const auto skip = std::size_t{ 4000 };
    const auto phase = [&] (std::size_t i)
    { return 2.0 * std::numbers::pi * frequency * static_cast<double> (i) / rate; };

    for (auto i = skip; i + skip < samples.size(); ++i)
    {
        const auto s = std::sin (phase (i)), c = std::cos (phase (i));
        ss += s * s;
        cc += c * c;
        sc += s * c;
        ys += samples[i] * s;
        yc += samples[i] * c;
    }

    const auto det = ss * cc - sc * sc, a = (ys * cc - yc * sc) / det, b = (yc * ss - ys * sc) / det;

    for (auto i = skip; i + skip < samples.size(); ++i)
        noise += std::pow (samples[i] - a * std::sin (phase (i)) - b * std::cos (phase (i)), 2.0);

    level = 20.0 * std::log10 (std::hypot (a, b));
    return 10.0 * std::log10 ((ss * a * a + cc * b * b) / noise);
}
} // namespace

TEST_CASE ("Rate conversion", "[playback][device]")
{
    const auto [from, to] = GENERATE (table<double, double> ({ { 44100, 48000 },
                                                               { 48000, 44100 },
                                                               { 88200, 48000 },
                                                               { 96000, 44100 },
                                                               { 192000, 48000 },
                                                               { 44100, 192000 } }));
    RateConverter converter;
    const auto convert = [&, rates = std::pair (from, to)] (double frequency)
    {
        const auto [fromRate, toRate] = rates;
        REQUIRE (converter.prepare (fromRate, toRate));
        std::vector<float> input (static_cast<std::size_t> (fromRate / 2)),
            output (static_cast<std::size_t> (toRate / 2));

        for (std::size_t i = 0; i < input.size(); ++i)
            input[i] = static_cast<float> (
                std::sin (2.0 * std::numbers::pi * frequency * static_cast<double> (i) / fromRate));

        std::size_t read = 0, written = 0;

        while (read < input.size() && written < output.size())
        {
            const auto progress =
                converter.process (input.data() + read,
                                   static_cast<int> (std::min<std::size_t> (512, input.size() - read)),
                                   output.data() + written,
                                   static_cast<int> (std::min<std::size_t> (37, output.size() - written)));
            read += static_cast<std::size_t> (progress.numRead);
            written += static_cast<std::size_t> (progress.numWritten);
        }

        output.resize (written);
        return output;
    };

    for (const auto frequency : { 997.0, 9001.0, 0.43 * std::min (from, to) })
    {
        INFO (from << " to " << to << ", " << frequency << " Hz");
        double level = 0.0;
        CHECK (signalToNoise (convert (frequency), frequency, to, level) >= 110.0);
        CHECK (std::abs (level) <= 0.01);
    }

    if (to < from)
    {
        // What the lower rate can't hold must not come back as something else.
        const auto folded = convert (0.55 * to);
        const auto middle = part (folded, 4000, static_cast<std::int64_t> (folded.size()) - 8000);
        CHECK (std::all_of (middle.begin(), middle.end(), [] (float x) { return std::abs (x) < 3.0e-6f; }));
    }

    CHECK_FALSE (converter.prepare (192000.0, 1000.0));
}

TEST_CASE ("Without a device everything but sound works", "[playback][device]")
{
    DeviceRig d;
    d.card->isPresent = d.otherCard->isPresent = false;
    CHECK (d.device.open().failed());
    CHECK (d.device.status() == DeviceStatus::none);
    CHECK (d.device.statusText() == "No audio device");
    d.rig.engine.seek (5000);
    CHECK (d.rig.engine.position() == 5000);
    CHECK (d.millisecondsUntilLost() == -1); // what never was is not lost
    CHECK (d.device.reopen().failed());
    CHECK (d.device.save().wasOk());
    CHECK_FALSE (d.settings.exists());

    SECTION ("and one that comes later is taken")
    {
        d.card->isPresent = true;
        CHECK (d.device.reopen().wasOk());
        CHECK (d.device.status() == DeviceStatus::running);
    }

    SECTION ("one that can't be opened says why")
    {
        d.card->isPresent = d.card->refusesToOpen = true;
        const auto result = d.device.open();
        CHECK (result.getErrorMessage().contains ("busy"));
    }
}

TEST_CASE ("The device follows the Group's rate", "[playback][device]")
{
    SECTION ("where it can")
    {
        DeviceRig d (96000.0);
        REQUIRE (d.device.open().wasOk());
        CHECK (d.card->rate == 96000.0);
        CHECK (d.device.status() == DeviceStatus::running);
        CHECK (d.device.statusText() == "Fake: card, 96 kHz");
        d.rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, d.samples) }, 44100.0);
        d.pump (1);
        CHECK (isSilent (d.card->left)); // not a block at the wrong rate
        d.device.matchGroupRate();
        CHECK (d.card->rate == 44100.0);
        const auto opened = d.card->numOpened;
        d.device.matchGroupRate();
        CHECK (d.card->numOpened == opened);
    }

    SECTION ("or is given samples at its own")
    {
        DeviceRig d (44100.0);
        d.card->rates = { 48000.0 };
        d.card->preferredRate = 48000.0;
        REQUIRE (d.device.open().wasOk());
        CHECK (d.device.status() == DeviceStatus::converting);
        CHECK (d.device.statusText() == "Device 48 kHz, group 44.1 kHz");
        d.rig.engine.play();
        d.pump (3);

        for (const auto size : { 0, 1, 8192, 37, 512, 8192, -1 })
            d.pump (1, size);

        CHECK (std::find (d.card->left.begin(), d.card->left.end(), 77.0f) == d.card->left.end());
        CHECK (d.card->left == d.card->right);
        CHECK (d.rig.engine.position()
               == Approx (static_cast<double> (d.card->left.size()) * 44100.0 / 48000.0).margin (1024.0));

        // Nothing is converted once all is silent, and it goes on from there when it is played again.
        const auto isSilent = [&] {
            return std::all_of (d.card->left.begin(), d.card->left.end(), [] (float x) { return x == 0.0f; });
        };
        d.rig.engine.stop();
        d.pump (40);
        d.card->left.clear();
        d.pump (4);
        CHECK (isSilent());
        d.rig.engine.play();
        d.pump (4);
        CHECK_FALSE (isSilent());

        d.rig.engine.setTracks (std::vector<PlaybackTrack>{ track (1, d.samples, { 1.5f, 0.0f }) }, 48000.0);
        d.device.matchGroupRate();
        CHECK (d.device.status() == DeviceStatus::running);
    }

    SECTION ("and when the user changes it while it plays")
    {
        DeviceRig d;
        REQUIRE (d.device.open().wasOk());
        d.rig.engine.play();
        d.pump (20);
        auto setup = d.device.manager().getAudioDeviceSetup();
        setup.sampleRate = 96000.0;
        CHECK (d.device.manager().setAudioDeviceSetup (setup, true).isEmpty());
        CHECK (d.device.status() == DeviceStatus::converting);
        d.pump (20);
        CHECK (d.rig.engine.isPlaying());
        CHECK (d.rig.engine.position() > 20 * 512);
        d.device.matchGroupRate();
        CHECK (d.device.status() == DeviceStatus::running);
        const auto at = d.rig.engine.position();
        d.card->left.clear();
        d.pump (10);
        checkSame (part (d.card->left, 96, 5000), exported (*d.samples, { 1.5f, 0.0f }, at + 96, 5000));
    }
}

TEST_CASE ("A device that dies", "[playback][device]")
{
    DeviceRig d;
    REQUIRE (d.device.open().wasOk());
    d.rig.engine.play();
    d.device.tick (d.clock += 250);
    d.pump (100);
    d.device.tick (d.clock += 250);
    const auto position = d.rig.engine.position();
    CHECK (position == 100 * 512);

    SECTION ("without a word")
    {
        d.card->hasDiedSilently = true;
        CHECK (d.millisecondsUntilLost() <= 1000);
    }

    SECTION ("with a word")
    {
        d.card->dieLoudly();
        CHECK (d.millisecondsUntilLost() <= 250);
    }

    SECTION ("by being pulled out")
    {
        d.card->isPresent = d.otherCard->isPresent = false;
        d.device.manager().closeAudioDevice();
        CHECK (d.millisecondsUntilLost() <= 250);
        CHECK (d.device.reopen().failed());
        CHECK (d.device.status() == DeviceStatus::none);
    }

    CHECK_FALSE (d.rig.engine.isPlaying());
    CHECK (d.rig.engine.position() == position);
    (void) d.millisecondsUntilLost();
    CHECK (d.losses.size() == 1); // said once

    // One call brings it back, and it goes on where it was, without a remnant of what was under way.
    d.card->isPresent = true;
    REQUIRE (d.device.reopen().wasOk());
    CHECK (d.device.status() == DeviceStatus::running);
    d.card->left.clear();
    d.pump (4);
    CHECK (isSilent (d.card->left));
    CHECK (d.rig.engine.position() == position);
    d.rig.engine.play();
    d.card->left.clear();
    d.pump (10);
    checkSame (part (d.card->left, 96, 5000), exported (*d.samples, { 1.5f, 0.0f }, position + 96, 5000));
}

TEST_CASE ("A device that overruns", "[playback][device]")
{
    // What it missed while nothing played nobody heard; a device that is opened anew counts from 0.
    DeviceRig d;
    REQUIRE (d.device.open().wasOk());
    d.device.tick (d.clock += 250);
    d.card->overruns = 5;
    d.pump (1);
    d.device.tick (d.clock += 250);
    CHECK (d.device.numDropouts() == 0);

    d.rig.engine.play();
    d.pump (4);
    d.card->overruns = 7;
    d.device.tick (d.clock += 250);
    CHECK (d.device.numDropouts() == 2);

    d.card->overruns = 0;
    REQUIRE (d.device.reopen().wasOk());
    d.pump (4);
    d.device.tick (d.clock += 250);
    d.card->overruns = 1;
    d.device.tick (d.clock += 250);
    CHECK (d.device.numDropouts() == 3);
}

TEST_CASE ("A device that the user changes by hand", "[playback][device]")
{
    DeviceRig d;
    REQUIRE (d.device.open().wasOk());
    d.pump (1);
    d.device.tick (d.clock += 250);
    d.card->dieLoudly();
    CHECK (d.millisecondsUntilLost() <= 250);

    SECTION ("is watched instead of the one that was lost")
    {
        auto setup = d.device.manager().getAudioDeviceSetup();
        setup.outputDeviceName = "other card";
        REQUIRE (d.device.manager().setAudioDeviceSetup (setup, true).isEmpty());
        d.device.tick (d.clock += 250);
        CHECK (d.device.status() == DeviceStatus::running);
        d.otherCard->pump (512);
        d.losses.clear();
        CHECK (d.millisecondsUntilLost() <= 1000);
    }

    SECTION ("to none, while nothing plays, is no loss")
    {
        REQUIRE (d.device.reopen().wasOk());
        d.device.tick (d.clock += 250);
        d.losses.clear();
        d.device.manager().closeAudioDevice();
        CHECK (d.millisecondsUntilLost() == -1);
        CHECK (d.device.status() == DeviceStatus::none);
    }
}

TEST_CASE ("A device that takes its time to start is not lost", "[playback][device]")
{
    DeviceRig d;
    REQUIRE (d.device.open().wasOk());

    for (int waited = 0; waited < 3000; waited += 250)
        d.device.tick (d.clock += 250);

    CHECK (d.losses.isEmpty());
    d.pump (1);
    d.device.tick (d.clock += 250);
    CHECK (d.losses.isEmpty());
    CHECK (d.millisecondsUntilLost() <= 1000); // but then it must go on
}

TEST_CASE ("The choice of a device outlasts the program", "[playback][device]")
{
    DeviceRig d;
    REQUIRE (d.folder.createDirectory());

    SECTION ("kept in the settings file")
    {
        CHECK (d.device.outputNames() == juce::StringArray{ "Fake: card", "Fake: other card" });
        REQUIRE (d.device.openByName ("other card").wasOk());
        REQUIRE (d.device.openByName ("Fake: other card").wasOk());
        CHECK (d.device.openByName ("no such card").failed());
        auto setup = d.device.manager().getAudioDeviceSetup();
        setup.bufferSize = 64;
        REQUIRE (d.device.manager().setAudioDeviceSetup (setup, true).isEmpty());
        REQUIRE (d.device.save().wasOk());
        CHECK (d.folder.getNumberOfChildFiles (juce::File::findFiles) == 1);

        PlaybackDevice again (d.rig.engine, d.settings);
        again.manager().addAudioDeviceType (
            std::make_unique<FakeDeviceType> (std::vector<std::shared_ptr<FakeCard>>{ d.card, d.otherCard }));
        REQUIRE (again.open().wasOk());
        CHECK (again.manager().getAudioDeviceSetup().outputDeviceName == "other card");

        d.otherCard->isPresent = false;
        PlaybackDevice without (d.rig.engine, d.settings);
        without.manager().addAudioDeviceType (
            std::make_unique<FakeDeviceType> (std::vector<std::shared_ptr<FakeCard>>{ d.card, d.otherCard }));
        CHECK (without.open().wasOk());
        CHECK (without.manager().getAudioDeviceSetup().outputDeviceName == "card");
    }

    SECTION ("a damaged file counts as none")
    {
        for (const auto* text :
             { "", "<", "<DEVICESETUP", "<OTHER/>", "<DEVICESETUP audioDeviceRate=\"-1e400\"/>", "\x01\x02" })
        {
            REQUIRE (d.settings.replaceWithText (text));
            CHECK (d.device.open().wasOk());
            CHECK (d.device.status() == DeviceStatus::running);
        }
    }

    SECTION ("a folder that can't be written to is reported")
    {
        d.folder.deleteRecursively();
        REQUIRE (d.folder.replaceWithText ("a file"));
        REQUIRE (d.device.openByName ("other card").wasOk());
        auto setup = d.device.manager().getAudioDeviceSetup();
        setup.bufferSize = 64;
        REQUIRE (d.device.manager().setAudioDeviceSetup (setup, true).isEmpty());
        CHECK (d.device.save().failed());
    }
}
