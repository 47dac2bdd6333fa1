#include "app/AppSettings.h"
#include "app/settings/AbbreviationsState.h"
#include "app/settings/AudioPageState.h"
#include "app/settings/FoldersState.h"
#include "app/settings/PerformanceState.h"
#include "model/SampleRateText.h"
#include "tests/support/SystemPaths.h"

#include <catch2/catch.hpp>

#include <limits>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
juce::String utf8 (const char* text)
{
    return juce::String::fromUTF8 (text);
}

/** Settings in a folder of their own, and a table as the program has it after its start. */
struct Lists
{
    Lists()
    {
        table.setDefaults();
        table.save (&settings);
    }

    ~Lists() { folder.deleteRecursively(); }

    juce::ScopedJuceInitialiser_GUI messages;
    const juce::File folder = juce::File::createTempFile ("");
    SettingsStore settings{ UserFolders::below (folder) };
    AbbreviationTable table;
};
} // namespace

TEST_CASE ("Settings of the audio device", "[app][settings]")
{
    SECTION ("outputs are paired, and named only where the name tells something")
    {
        CHECK (outputPairTexts ({ "Monitors 1", "Monitors 2", "Phones L", "Phones R", "S/PDIF" })
               == juce::StringArray{ utf8 ("1 \xe2\x80\x93 2 (Monitors)"), utf8 ("3 \xe2\x80\x93 4"), "5" });
        CHECK (outputPairTexts ({ "Output channel 1", "Output channel 2" })[0] == utf8 ("1 \xe2\x80\x93 2"));
        CHECK (outputPairTexts ({}).isEmpty());
        CHECK (outputPairChannels (1, 5).toString (2) == "1100");
        CHECK (outputPairChannels (2, 5).toString (2) == "10000");
    }

    SECTION ("lengths stand in samples and milliseconds")
    {
        CHECK (bufferSizeText (256, 48000.0) == utf8 ("256 samples \xc2\xb7 5.3 ms"));
        CHECK (bufferSizeText (256, 0.0) == "256 samples");
        CHECK (latencyText (446, 256, 48000.0) == "Output latency 9.3 ms");
        CHECK (latencyText (0, 480, 48000.0) == "Output latency 10.0 ms");
        CHECK (sampleRateText (176400.0) == "176.4 kHz");
        CHECK (sampleRateText (100000.0) == "100 kHz");
    }

    SECTION ("the note tells whether playback is resampled")
    {
        CHECK (deviceNote (DeviceStatus::running, 48000.0, 48000.0).kind == NoteKind::good);
        CHECK (deviceNote (DeviceStatus::running, 48000.0, 0.0).kind == NoteKind::plain);
        const auto differs = deviceNote (DeviceStatus::converting, 44100.0, 48000.0);
        CHECK (differs.kind == NoteKind::warning);
        CHECK (differs.text == "Device 44.1 kHz, group 48 kHz. Playback is resampled.");
        CHECK (deviceNote (DeviceStatus::none, 0.0, 0.0).text.startsWith ("No audio device."));
        CHECK (deviceNote (DeviceStatus::lost, 48000.0, 48000.0).kind == NoteKind::warning);
    }
}

TEST_CASE ("Settings of the abbreviations", "[app][settings]")
{
    Lists lists;
    AbbreviationsState state (lists.table, lists.settings);
    state.select (DrumType::snare);

    SECTION ("an edit counts in the try at once, for the program when saved, in the file for the next start")
    {
        CHECK (state.tryName ("Rim click 02.wav").type == DrumType::other);
        state.edit ("snare; snr; sn; rim");
        const auto trial = state.tryName ("Rim click 02.wav");
        CHECK (trial.type == DrumType::snare);
        CHECK (trial.why == utf8 ("Decided by \xe2\x80\x9crim\xe2\x80\x9d."));
        CHECK (lists.table.classify ("Rim click 02.wav").drumType == DrumType::other);
        CHECK (state.hasChanges());
        REQUIRE (state.save().wasOk());
        CHECK_FALSE (state.hasChanges());
        CHECK (lists.table.classify ("Rim click 02.wav").drumType == DrumType::snare);

        const SettingsStore again (UserFolders::below (lists.folder));
        AbbreviationTable nextStart;
        REQUIRE (nextStart.load (&again));
        CHECK (nextStart.classify ("Rim click 02.wav").drumType == DrumType::snare);
        CHECK (nextStart.list (DrumType::oh) == "oh");
    }

    SECTION ("what was not saved is gone after leaving, a reset too")
    {
        state.edit ("clap");
        REQUIRE (state.save().wasOk());
        state.edit ("something else");
        state.reload();
        CHECK (state.text() == "clap");
        state.reset();
        CHECK (state.text() == AbbreviationTable::defaultList (DrumType::snare));
        CHECK (state.hasChanges());
        state.reload();
        CHECK (state.text() == "clap");
        CHECK (lists.table.list (DrumType::snare) == "clap");
    }

    SECTION ("edits of several types are saved together")
    {
        state.edit ("clap");
        state.select (DrumType::kick);
        state.edit ("thump");
        REQUIRE (state.save().wasOk());
        CHECK (lists.settings.getValue ("snare") == "clap");
        CHECK (lists.settings.getValue ("kick") == "thump");
    }

    SECTION ("an empty entry is told, a quoted separator is none")
    {
        for (const auto* text : { "snare;", ";snare", "a;;b", "a, ,b" })
        {
            state.edit (text);
            CHECK (state.hasEmptyEntry());
        }

        for (const auto* text : { "snare", "", "'a;b'", "snare; snr" })
        {
            state.edit (text);
            CHECK_FALSE (state.hasEmptyEntry());
        }

        state.edit ("snare;");
        CHECK (state.tryName ("Room.wav").type == DrumType::snare);
        CHECK (state.tryName ("Room.wav").why == "Decided by an empty entry.");
    }

    SECTION ("a removed entry goes on working, and one of another type stays there: both are told")
    {
        CHECK (state.hints().isEmpty());
        state.edit ("snare; snr; kick");
        CHECK (state.hints()
               == juce::StringArray{ utf8 ("\xe2\x80\x9ckick\xe2\x80\x9d stays with Kick."),
                                     "A removed entry keeps working until the next start." });
        REQUIRE (state.save().wasOk());
        CHECK (state.hints().size() == 2);
        CHECK (lists.table.classify ("SN.wav").drumType == DrumType::snare);
    }

    SECTION ("names that nothing decides, and overheads, say so")
    {
        CHECK (state.tryName ("Room.wav").why == "No entry occurs in the name, so it is Other.");
        CHECK (state.tryName ("OH L.wav").type == DrumType::oh);
        CHECK (state.tryName ("OH L.wav").why.endsWith ("Overheads are passed through as is."));
    }

    SECTION ("lists that the next start replaces are known as such")
    {
        CHECK_FALSE (state.willBeLost());
        state.edit ("clap");
        CHECK (state.willBeLost());
        lists.settings.setValue (settingsKeys::exportPath, lists.folder.getFullPathName());
        CHECK_FALSE (state.willBeLost());
    }

    SECTION ("where the settings can't be written the lists hold for this run")
    {
        lists.folder.deleteRecursively();
        REQUIRE (lists.folder.replaceWithText ("a file in the way"));
        state.edit ("clap");
        const auto saved = state.save();
        CHECK (saved.failed());
        CHECK (saved.getErrorMessage().contains (lists.settings.file().getFullPathName()));
        CHECK (lists.table.classify ("Clap.wav").drumType == DrumType::snare);
    }
}

TEST_CASE ("Settings of the folders", "[app][settings]")
{
    const auto folder = juce::File::createTempFile ("");
    REQUIRE (folder.createDirectory());
    const auto shared = folder.getChildFile ("shared");
    const auto folders = UserFolders::below (folder.getChildFile ("user"));

    SECTION ("the default becomes the user's choice only where it can be written to")
    {
        CHECK (withDefaultTemporaryFolder ({}, folders, shared).temporaryFiles == shared);
        REQUIRE (shared.replaceWithText ("a file in the way"));
        const auto chosen = withDefaultTemporaryFolder ({}, folders, shared);
        REQUIRE (chosen.temporaryFiles.has_value());
        CHECK (*chosen.temporaryFiles != shared);
        CHECK (chosen.temporaryFiles->isAChildOf (folder));
    }

    SECTION ("the reason for the folder is told")
    {
        using Reason = TemporaryFolderChoice::Reason;
        CHECK (temporaryFolderNote ({ folder, Reason::chosenByUser }, shared).isEmpty());
        CHECK (temporaryFolderNote ({ folder, Reason::sharedNotWritable }, shared)
                   .contains (shared.getFullPathName()));
        const auto file = folder.getChildFile ("file");
        REQUIRE (file.replaceWithText ("x"));
        CHECK (temporaryFolderNote ({ file, Reason::chosenByUser }, shared).contains ("is a file"));
        CHECK (checkFolder (file).failed());
        CHECK (checkFolder (file.getChildFile ("below")).failed());
        CHECK (checkFolder (folder.getChildFile ("new/one")).wasOk());
    }

    SECTION ("bytes are told in units that read well")
    {
        CHECK (byteText (0) == "0 bytes");
        CHECK (byteText (999) == "999 bytes");
        CHECK (byteText (6400000000u) == "6.4 GB");
        CHECK (byteText (999960000u) == "1.0 GB");
        CHECK (byteText (9960000u) == "10 MB");
        CHECK (byteText (312345678901u) == "312 GB");
        CHECK (byteText (std::numeric_limits<std::uint64_t>::max()).endsWith (" TB"));
    }

    SECTION ("the disk's bar is what is taken of it")
    {
        CHECK (TemporaryDisk{ 250, 1000, 0 }.usedFraction() == Approx (0.75));
        CHECK (TemporaryDisk{ 2000, 1000, 0 }.usedFraction() == 0.0);
        CHECK (TemporaryDisk{ std::nullopt, 1000, 0 }.usedFraction() == 0.0);
        CHECK (TemporaryDisk::of (folder).free.has_value());
        CHECK (TemporaryDisk::of (folder).usedFraction() > 0.0);
    }

    folder.deleteRecursively();
}

TEST_CASE ("Settings of the performance", "[app][settings]")
{
    SECTION ("choices hold the stored value, whatever it is")
    {
        CHECK (threadChoices (8, 0).texts[0] == "Automatic (8 cores)");
        CHECK (threadChoices (8, 3).selected == 3);
        CHECK (threadChoices (2, 64).selected == 2);
        CHECK (threadChoices (2, -1).selected == 0);

        const auto seconds = readAheadChoices (2.7);
        CHECK (seconds.texts[seconds.selected] == "2.7 s");
        CHECK (std::is_sorted (seconds.values.begin(), seconds.values.end()));
        CHECK (readAheadChoices (3.0).values.size() + 1 == seconds.values.size());

        const auto pieces = pieceChoices (32768);
        CHECK (pieces.texts[pieces.selected] == "32768 frames (0.9 MB)");
        CHECK (interfaceSizeIndex (150) == 3);
        CHECK (interfaceSizeIndex (137) == 0);
    }

    SECTION ("the interface never gets larger than a screen that the window must fit into")
    {
        juce::PropertySet settings;
        CHECK (interfaceScale (settings, 2560, 1440) == 1.5);
        CHECK (interfaceScale (settings, 1366, 768) == 1.0);
        CHECK (interfaceScale (settings, 1024, 600) == Approx (0.85));
        settings.setValue (appSettingsKeys::interfaceSize, 150);
        CHECK (interfaceScale (settings, 1920, 1080) == 1.5);
        CHECK (interfaceScale (settings, 1366, 768) == Approx (1.15));
    }

    SECTION ("the test file leaves room on the disk")
    {
        CHECK (benchmarkFileBytes (std::nullopt) == DiskBenchmark::Options{}.fileBytes);
        CHECK (benchmarkFileBytes (std::uint64_t{ 1 } << 50) == DiskBenchmark::Options{}.fileBytes);
        CHECK (benchmarkFileBytes (std::uint64_t{ 1 } << 30) == std::int64_t{ 1 } << 28);
        CHECK_FALSE (benchmarkFileBytes (std::uint64_t{ 1 } << 20).has_value());
    }

    DiskBenchmark result;
    result.sequentialBytesPerSecond = 1840.4e6;
    result.writeBytesPerSecond = 90e6;
    result.streams = { { 8192, 700e6, 0.003 }, { 16384, 900e6, 0.3123 } };
    result.propose (48000.0);
    const juce::Time when (2026, 4, 6, 14, 2);
    const auto summary = BenchmarkSummary::of (result, systemFile ("/Scratch"), when);

    SECTION ("a benchmark reads as figures, a verdict and a proposal")
    {
        CHECK (summary.headline() == utf8 ("Read 1,840 MB/s \xc2\xb7 Write 90 MB/s"));
        CHECK (summary.verdict (when)
               == systemPath ("/Scratch") + " is fast enough for any group. Tested today, 14:02.");
        CHECK (summary.verdict (when + juce::RelativeTime::days (1)).contains ("Tested 2026-05-06, 14:02."));
        CHECK (summary.proposal.framesPerRead == 16384);
        CHECK (summary.proposal.seconds >= result.proposal.seconds - 1.0e-6);
        CHECK (summary.proposalText (ReadAheadSettings{}).startsWith ("Proposed: "));
        CHECK (summary.proposalText (summary.proposal).isEmpty());

        auto slow = summary;
        slow.keepsUp = false;
        slow.streamsBytesPerSecond = 20e6;
        CHECK (slow.verdict (when).startsWith (systemPath ("/Scratch")
                                               + " reads 24 tracks at 20 MB/s; they need 32 MB/s."));
    }

    SECTION ("it survives the settings file, and rubbish there is none")
    {
        const auto read = BenchmarkSummary::fromText (summary.toText());
        REQUIRE (read.has_value());
        CHECK (read->headline() == summary.headline());
        CHECK (read->verdict (when) == summary.verdict (when));
        CHECK (read->proposalText (summary.proposal).isEmpty());

        for (const auto* text : { "", "{", "[]", "7", "{\"folder\": 3, \"read\": 1}", "{\"folder\": \"/\"}" })
            CHECK_FALSE (BenchmarkSummary::fromText (text).has_value());

        const auto wild = BenchmarkSummary::fromText (
            "{\"folder\": \"/\", \"read\": 1e308, \"write\": -4, \"seconds\": 1e99, \"frames\": -5}");
        REQUIRE (wild.has_value());
        CHECK (wild->proposal.seconds <= 30.0);
        CHECK (wild->proposal.framesPerRead >= 8192);
        CHECK (wild->headline().isNotEmpty());
    }
}
