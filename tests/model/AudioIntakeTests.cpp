#include "model/Abbreviations.h"
#include "model/LittleEndian.h"
#include "model/audiofile/AudioIntake.h"
#include "tests/model/AudioFileBuilders.h"

#include <catch2/catch.hpp>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

#include <bit>
#include <cmath>
#include <filesystem>
#include <limits>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** Collects the samples, and can be told to fail at a call. */
class RecordingSink final : public IntakeSink
{
public:
    std::vector<std::vector<float>> channels;
    int numBlocks = 0;
    int failingBlock = -1;

    bool begin (const std::vector<IntakeTrack>& tracks) override
    {
        channels.resize (tracks.size());
        return true;
    }

    bool block (int channel, std::int64_t start, std::span<const float> samples) override
    {
        auto& samplesOfChannel = channels[static_cast<std::size_t> (channel)];
        CHECK (start == static_cast<std::int64_t> (samplesOfChannel.size()));
        CHECK (samples.size() <= intakeBlockLength);
        samplesOfChannel.insert (samplesOfChannel.end(), samples.begin(), samples.end());
        return numBlocks++ != failingBlock;
    }
};

/** A file of silence that takes no room on the disk. */
juce::File writeSilence (const WorkFolder& folder,
                         const juce::String& name,
                         const PcmFormat& format,
                         std::int64_t numSamples)
{
    const auto audioSize = numSamples * format.channels * format.bits / 8;
    const auto file = folder.write (name,
                                    text ("RIFF") + u32 (36 + audioSize) + text ("WAVE") + wavFormat (format)
                                        + text ("data") + u32 (audioSize));
    std::filesystem::resize_file (file.getFullPathName().toStdString(),
                                  static_cast<std::uintmax_t> (44 + audioSize));
    return file;
}

TrackState trackNamed (const juce::String& name, std::int64_t length, int bits)
{
    TrackState track;
    track.sourceInfo.file = juce::File ("/session/" + name);
    track.sourceInfo.bitsPerSample = bits;
    track.record.setLengthInSamples (length);
    return track;
}
} // namespace

TEST_CASE ("intakeFile checks in a fixed order", "[model][intake]")
{
    const WorkFolder folder;
    ImportWarnings warnings;
    const auto check = [&] (const juce::File& file, double groupRate = 0.0)
    { return intakeFile (file, groupRate, warnings, nullptr); };

    SECTION ("code 2: no path, a folder, no such file")
    {
        for (const auto& file : { juce::File(), folder.folder, folder.file ("gone.wav") })
        {
            const auto intake = check (file);
            CHECK (intake.code == 2);
            CHECK_FALSE (intake.accepted());
            CHECK_FALSE (intake.outcome.reason.empty());
        }
        CHECK (warnings.entries (2).contains ("gone.wav"));
    }

    SECTION ("code 3: empty, no audio, too many channels, no ordinary file")
    {
        CHECK (check (folder.write ("empty.wav", {})).code == 3);
        CHECK (check (folder.write ("text.wav", text ("not a sound at all"))).code == 3);
        const auto surround = check (writeSilence (folder, "surround.wav", { 6, 44100, 16 }, 20000));
        CHECK (surround.code == 3);
        CHECK (juce::String (surround.outcome.reason).contains ("surround.wav: 6 channels"));

        juce::StringArray entries{ "empty.wav", "text.wav", "surround.wav" };
#if ! JUCE_WINDOWS
        const auto pipe = folder.file ("pipe.wav");
        REQUIRE (::mkfifo (pipe.getFullPathName().toRawUTF8(), 0600) == 0);
        CHECK (check (pipe).code == 3);
        entries.add ("pipe.wav");
#endif
        CHECK (warnings.entries (3) == entries);
    }

    SECTION ("codes 1 and 7: the rate of the group before the rates there are")
    {
        const auto cd = writeSilence (folder, "cd.wav", { 1, 44100, 16 }, 20000);
        const auto low = writeSilence (folder, "low.wav", { 1, 22050, 16 }, 20000);
        CHECK (check (cd, 48000.0).code == 1);
        CHECK (check (cd, 44100.0).accepted());
        const auto first = check (cd);
        REQUIRE (first.accepted());
        CHECK (first.tracks.front().state.sampleRate() == 44100.0);
        CHECK (check (low, 44100.0).code == 1);
        const auto refused = check (low);
        CHECK (refused.code == 7);
        CHECK (juce::String (refused.outcome.reason).contains ("22050 Hz"));
    }

    SECTION ("codes 8 and 10: advice on durations in whole hundredths, never rounded up")
    {
        const auto advice = [&] (std::int64_t length, int rate)
        {
            const auto file = writeSilence (folder, "take.wav", { 1, rate, 8 }, length);
            REQUIRE (check (file).accepted());
            const auto entries =
                warnings.entries (8).joinIntoString (",") + warnings.entries (10).joinIntoString (",");
            warnings.clear();
            return entries;
        };
        const auto rate = GENERATE (44100, 48000, 192000);
        CHECK (advice (rate * 30, rate).isEmpty());
        CHECK (advice (rate * 29999LL / 1000, rate) == "take.wav (29.99secs)");
        CHECK (advice (rate * 600009LL / 1000, rate).isEmpty());
        CHECK (advice (rate * 60001LL / 100, rate) == "take.wav (600.01secs)");
    }

    SECTION ("code 9: less than a block")
    {
        const auto refused = check (writeSilence (folder, "short.wav", {}, 16383));
        CHECK (refused.code == 9);
        CHECK (juce::String (refused.outcome.reason).contains ("16383 samples"));
        CHECK (warnings.entries (9) == juce::StringArray{ "short.wav" });
        CHECK (check (writeSilence (folder, "none.wav", {}, 0)).code == 9);

        const auto accepted = check (writeSilence (folder, "block.wav", {}, 16384));
        CHECK (accepted.accepted());
    }
}

TEST_CASE ("intakeFile goes by content, not by name", "[model][intake]")
{
    const WorkFolder folder;
    ImportWarnings warnings;
    const auto audio = audioBytes (20000 * 2);

    const auto aiff =
        intakeFile (folder.write ("really aiff.wav", aiffFile ({}, audio)), 0.0, warnings, nullptr);
    REQUIRE (aiff.accepted());
    CHECK (aiff.formatName == "AIFF");

    const auto wav = intakeFile (folder.write ("SNARE.WAV", wavFile ({}, audio)), 0.0, warnings, nullptr);
    REQUIRE (wav.accepted());
    CHECK (wav.tracks.front().state.name == "SNARE");
    CHECK (
        intakeFile (folder.write ("no extension", wavFile ({}, audio)), 0.0, warnings, nullptr).accepted());
}

TEST_CASE ("intakeFile decodes into a sink", "[model][intake]")
{
    const WorkFolder folder;
    ImportWarnings warnings;
    RecordingSink sink;

    SECTION ("a stereo file as two tracks, left first")
    {
        processAbbreviations().setDefaults();
        const auto audio = ramp (2, 40000);
        const auto file = folder.write ("Kick in.flac", flacFile (audio, 48000.0));
        std::vector<double> progress;
        const auto intake = intakeFile (
            file, 0.0, warnings, &sink, { {}, [&] (double fraction) { progress.push_back (fraction); } });

        REQUIRE (intake.tracks.size() == 2);
        CHECK (intake.guess.abbreviation == "kick");
        for (const auto channel : { 0, 1 })
        {
            const auto& track = intake.tracks[static_cast<std::size_t> (channel)];
            const auto& state = track.state;
            CHECK (state.name == (channel == 0 ? "Kick in L" : "Kick in R"));
            CHECK (state.sourceInfo.file == file);
            CHECK (state.sourceInfo.channel == channel);
            CHECK (state.sourceInfo.numChannels == 2);
            CHECK (state.sampleRate() == 48000.0);
            CHECK (state.lengthInSamples() == 40000);
            CHECK (state.drumType() == DrumType::kick);
            CHECK (state.soundingKnobs() == startKnobsA);
            CHECK (track.peak == audio.getMagnitude (channel, 0, 40000));
            const auto& samples = sink.channels[static_cast<std::size_t> (channel)];
            REQUIRE (samples.size() == 40000);
            CHECK (std::equal (samples.begin(), samples.end(), audio.getReadPointer (channel)));
        }
        CHECK (progress == std::vector{ 16384 / 40000.0, 32768 / 40000.0, 1.0 });
    }

    SECTION ("with what is not a finite number as counted silence")
    {
        auto audio = Bytes (20000 * 4);
        const auto set = [&] (std::size_t sample, float value)
        { littleEndian::writeU32 (&audio[sample * 4], std::bit_cast<std::uint32_t> (value)); };
        set (0, std::numeric_limits<float>::quiet_NaN());
        set (17000, -std::numeric_limits<float>::infinity());
        set (17001, -1.25f);
        const auto intake = intakeFile (
            folder.write ("a.wav", wavFile ({ 1, 44100, 32, 4, true }, audio)), 0.0, warnings, &sink);
        REQUIRE (intake.accepted());
        CHECK (intake.tracks.front().nonFiniteSamples == 2);
        CHECK (intake.tracks.front().peak == 1.25f);
        CHECK (intake.notes.size() == 1);
        CHECK (sink.channels[0][0] == 0.0f);
        CHECK (sink.channels[0][17000] == 0.0f);
        CHECK (sink.channels[0][17001] == -1.25f);
    }

    SECTION ("until it is stopped, which leaves no track and no code")
    {
        const auto file = folder.write ("a.wav", wavFile ({}, audioBytes (50000 * 2)));
        const auto intake =
            intakeFile (file, 0.0, warnings, &sink, { [&] { return sink.numBlocks == 2; }, {} });
        CHECK (intake.outcome == Outcome::stopped());
        CHECK_FALSE (intake.accepted());
        CHECK_FALSE (intake.code.has_value());
        CHECK (sink.numBlocks == 2);
    }

    SECTION ("until that fails")
    {
        sink.failingBlock = 1;
        const auto file = folder.write ("a.wav", wavFile ({}, audioBytes (50000 * 2)));
        const auto intake = intakeFile (file, 0.0, warnings, &sink);
        CHECK (intake.outcome.end == Outcome::End::noRoom);
        CHECK_FALSE (intake.accepted());
        CHECK (sink.numBlocks == 2);
    }

    SECTION ("and refuses a file that is damaged behind its header")
    {
        auto bytes = flacFile (ramp (1, 100000), 44100.0);
        bytes.resize (bytes.size() / 2);
        const auto intake = intakeFile (folder.write ("cut.flac", bytes), 0.0, warnings, &sink);
        CHECK (intake.code == 3);
        CHECK_FALSE (intake.accepted());
        CHECK (juce::String (intake.outcome.reason).contains ("of 100000 samples"));
        CHECK (warnings.entries (3) == juce::StringArray{ "cut.flac" });
    }

    SECTION ("and takes plain audio that was cut short, with a note")
    {
        auto bytes = wavFile ({}, audioBytes (50000 * 2));
        bytes.resize (bytes.size() / 2);
        const auto intake = intakeFile (folder.write ("cut.wav", bytes), 0.0, warnings, &sink);
        REQUIRE (intake.accepted());
        CHECK (intake.tracks.front().state.lengthInSamples() == 24989);
        CHECK (sink.channels[0].size() == 24989);
        REQUIRE (intake.notes.size() == 1);
        CHECK (intake.notes[0].startsWith ("cut.wav: "));
    }
}

TEST_CASE ("checkBatch compares files with their group", "[model][intake]")
{
    ImportWarnings warnings;
    const std::vector group{ trackNamed ("kick.wav", 1000, 24), trackNamed ("short.wav", 900, 24) };

    SECTION ("code 6 for what the batch brings that is short")
    {
        checkBatch (
            group, std::vector{ trackNamed ("a.wav", 999, 24), trackNamed ("b.wav", 1000, 24) }, warnings);
        CHECK (warnings.entries (6) == juce::StringArray{ "a.wav" });
    }

    SECTION ("code 6 for what was the longest until the batch came, but not again for what was short before")
    {
        checkBatch (group, std::vector{ trackNamed ("long.wav", 2000, 24) }, warnings);
        CHECK (warnings.entries (6) == juce::StringArray{ "kick.wav" });
    }

    SECTION ("code 0 for depths that differ from the first track's, once for both channels of a file")
    {
        const std::vector batch{ trackNamed ("a.wav", 1000, 16),
                                 trackNamed ("a.wav", 1000, 16),
                                 trackNamed ("b.wav", 1000, 24) };
        checkBatch (group, batch, warnings);
        CHECK (warnings.entries (0) == juce::StringArray{ "a.wav" });
        warnings.clear();
        checkBatch ({}, batch, warnings);
        CHECK (warnings.entries (0) == juce::StringArray{ "b.wav" });
        CHECK (warnings.entries (6).isEmpty());
    }
}
