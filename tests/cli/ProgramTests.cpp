#include "cli/Program.h"
#include "platform/Folders.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;
using nlohmann::json;

namespace
{
/** Kick and snare, half a second each, and everything needed to run the program on them. */
struct Session
{
    Session()
    {
        writeHits (tracks.child ("Kick.wav"), { .seed = 1 });
        writeHits (tracks.child ("Snare.wav"), { .bitsPerSample = 16, .seed = 2 });
    }

    /** Processes the tracks and the further inputs and options into the folder "out". */
    [[nodiscard]] ProgramResult process (std::vector<std::string> further = {}) const
    {
        std::vector<std::string> arguments{ "process",
                                            tracks.path ("Kick.wav"),
                                            tracks.path ("Snare.wav"),
                                            "--out",
                                            outFolder().getFullPathName().toStdString() };
        arguments.insert (arguments.end(), further.begin(), further.end());
        return runTessivar (arguments, cache.folder);
    }

    [[nodiscard]] juce::File outFolder() const { return work.child ("out"); }

    [[nodiscard]] juce::StringArray writtenFiles() const
    {
        juce::StringArray names;
        for (const auto& file : outFolder().findChildFiles (juce::File::findFiles, true))
            names.add (file.getFileName());
        names.sort (false);
        return names;
    }

    /** Nothing of the temporary data is left. */
    [[nodiscard]] bool cacheIsClean() const
    {
        return cache.child ("tessivar/tmp")
            .findChildFiles (juce::File::findFilesAndDirectories, true)
            .isEmpty();
    }

    TemporaryFolder tracks, work, cache;
};

std::string text (const juce::File& file)
{
    return file.getFullPathName().toStdString();
}
} // namespace

TEST_CASE ("Program: what is written", "[cli][program]")
{
    const Session session;

    SECTION ("a whole run writes the tracks, tells so and leaves no temporary data")
    {
        const auto result = session.process();
        CHECK (result.exitCode == 0);
        CHECK (session.writtenFiles() == juce::StringArray{ "Kick_Processed.wav", "Snare_Processed.wav" });
        CHECK_THAT (result.out,
                    Contains ("Kick (guessed from \"kick\")") && Contains ("Snare_Processed.wav"));
        CHECK_THAT (result.out, Contains ("The group contains tracks of small duration."));
        CHECK_THAT (result.diagnostics, Contains ("Analyzing: 100 %") && ! Contains ("\x1b"));
        CHECK_THAT (result.out, Contains ("Read 4096 bytes from "));
        CHECK (session.cacheIsClean());

        SECTION ("and a second one replaces them only when told to")
        {
            const auto file = session.outFolder().getChildFile ("Kick_Processed.wav");
            file.replaceWithText ("older");
            const auto refused = session.process();
            CHECK (refused.exitCode == 4);
            CHECK_THAT (refused.diagnostics, Contains ("Kick_Processed.wav") && Contains ("--overwrite"));
            CHECK (file.loadFileAsString() == "older");

            const auto replaced = session.process ({ "--overwrite" });
            CHECK (replaced.exitCode == 0);
            CHECK_THAT (replaced.out, Contains ("Kick_Processed.wav - File already exists - Overwritting."));
            CHECK (decode (file).samples.size() == 20000);
        }

        SECTION ("and one for a document has nothing else on standard output")
        {
            const auto document = session.process ({ "--overwrite", "--json" });
            CHECK (nlohmann::json::accept (document.out));
            CHECK_THAT (document.diagnostics, Contains ("Read 4096 bytes from "));
            const auto quiet = session.process ({ "--overwrite", "--quiet" });
            CHECK (quiet.out + quiet.diagnostics == "");
        }
    }

    SECTION ("a dry run writes nothing")
    {
        const auto result = session.process ({ "--dry-run" });
        CHECK (result.exitCode == 0);
        CHECK_THAT (result.out,
                    Contains ("Memory") && Contains ("needed") && Contains ("Kick_Processed.wav"));
        CHECK_FALSE (session.outFolder().exists());
        CHECK (session.cache.folder.findChildFiles (juce::File::findFilesAndDirectories, true).isEmpty());
    }

    SECTION ("tracks that pass through keep name and samples; component files and format come when asked for")
    {
        const auto room = session.tracks.child ("Room.wav");
        writeHits (room, { .bitsPerSample = 16, .numChannels = 2, .seed = 3 });
        const auto result =
            session.process ({ text (room), "--exclude", "snare", "--components", "--format", "aiff" });
        CHECK (result.exitCode == 0);
        CHECK_THAT (result.out, Contains ("--type \"Room=snare\""));

        const auto names = session.writtenFiles();
        CHECK (names.contains ("Kick_Processed.aiff"));
        CHECK (names.contains ("Snare.aiff"));
        CHECK (names.contains ("Room_L.aiff"));
        CHECK (names.contains ("Room_R.aiff"));
        CHECK (names.size() == 4 + 10);
        CHECK (decode (session.outFolder().getChildFile ("Room_L.aiff")).samples == decode (room).samples);
    }

    SECTION ("samples that are no numbers are counted")
    {
        const auto kick = session.tracks.child ("Kick.wav");
        kick.deleteFile();
        writeHits (kick, { .bitsPerSample = 32, .seed = 1 });
        juce::MemoryBlock bytes;
        REQUIRE (kick.loadFileAsData (bytes));
        std::memset (static_cast<char*> (bytes.getData()) + bytes.getSize() - 4, 0xff, 4);
        REQUIRE (kick.replaceWithData (bytes.getData(), bytes.getSize()));
        const auto tracks = json::parse (session.process ({ "--json" }).out).at ("tracks");
        CHECK (tracks[0]["nonFiniteSamples"] == 1);
        CHECK (tracks[1]["nonFiniteSamples"] == 0);
    }

    SECTION ("a microphone alone is left to the standard method unless the other one was asked for")
    {
        const auto codesAfter = [&] (std::vector<std::string> options, const char* method, bool isSuggested)
        {
            options.insert (options.end(), { "--exclude", "Snare", "--overwrite", "--json" });
            const auto result = session.process (options);
            REQUIRE (result.exitCode == 0);
            const auto document = json::parse (result.out);
            CHECK (document["settings"]["method"] == method);
            CHECK (document["tracks"][0]["suggestedFocus"].is_null() == ! isSuggested);
            CHECK ((document["tracks"][0]["focus"] == 2.5) == ! isSuggested);
            std::vector<int> codes;
            for (const auto& warning : document["warnings"])
                if (const auto code = warning["code"].get<int>(); code >= 12) // on the analysis
                    codes.push_back (code);
            return codes;
        };
        CHECK (codesAfter ({}, "standard", false) == std::vector<int>{ 12, 14 });
        CHECK (codesAfter ({ "--focus", "suggested" }, "standard", false) == std::vector<int>{ 12, 14 });
        CHECK (codesAfter ({ "--method", "standard" }, "standard", false) == std::vector<int>{ 14 });
        const auto codes = codesAfter ({ "--method", "refined" }, "refined", true);
        CHECK (std::count (codes.begin(), codes.end(), 12) == 1);
        CHECK_THAT (session.process ({ "--exclude", "Snare", "--overwrite" }).out,
                    Contains ("The standard method was used instead.")
                        && Contains ("The piece lasts only 0.4 s."));
    }

    SECTION ("a track that would be written over its own source stays as it is")
    {
        const auto room = session.tracks.child ("Room.wav");
        writeHits (room);
        const auto before = room.loadFileAsString();
        const auto result =
            runTessivar (words ("process $ --out $ --overwrite --json",
                                { text (session.tracks.folder), text (session.tracks.folder) }),
                         session.cache.folder);
        CHECK (result.exitCode == 0);
        CHECK (room.loadFileAsString() == before);
        CHECK (json::parse (result.out)["tracks"][1]["file"].is_null());
        CHECK (session.tracks.child ("Kick_Processed.wav").existsAsFile());
    }
}

TEST_CASE ("Program: exit codes", "[cli][program]")
{
    const Session session;

    SECTION ("2: nothing is done on wrong usage")
    {
        CHECK (session.process ({ "--focus", "7" }).exitCode == 2);
        CHECK (runTessivar ({}, session.cache.folder).exitCode == 2);
        const auto result = session.process ({ "--type", "Snaer=snare" });
        CHECK (result.exitCode == 2);
        CHECK_THAT (result.diagnostics, Contains ("\"Snaer\"") && Contains ("\"Kick\", \"Snare\""));

        // A variable that is not set is no folder, and no file.
        const auto kick = session.tracks.path ("Kick.wav");
        for (const auto& arguments :
             std::vector<std::vector<std::string>>{ { "process", kick, "--out", "" },
                                                    { "process", "", "--out", "/x" },
                                                    { "analyze", kick, "--save", "" },
                                                    { "classify", kick, "--types", "" },
                                                    { "info", kick, "" } })
        {
            const auto empty = runTessivar (arguments, session.cache.folder);
            CHECK (empty.exitCode == 2);
            CHECK_THAT (empty.diagnostics, Contains ("an empty name is given"));
        }
        CHECK_FALSE (session.outFolder().exists());
    }

    SECTION ("1: bad files are told by name and reason, the others are processed")
    {
        const auto& tracks = session.tracks;
        tracks.child ("empty.wav").create();
        tracks.child ("text.wav").replaceWithText ("This is no audio file at all.");
        writeHits (tracks.child ("slow.wav"), { .sampleRate = 22050.0 });
        writeHits (tracks.child ("other rate.wav"), { .sampleRate = 48000.0 });
        writeHits (tracks.child ("blip.wav"), { .lengthInSamples = 16383 });
        const auto odd = possibleFileName (juce::String::fromUTF8 ("Tom \"1\": \xc3\xa9\n\x1b[2J.wav"));
        writeHits (tracks.child (odd), { .seed = 5 });

        const auto result = session.process ({ text (tracks.child ("empty.wav")),
                                               text (tracks.child ("text.wav")),
                                               text (tracks.child ("slow.wav")),
                                               text (tracks.child ("other rate.wav")),
                                               text (tracks.child ("blip.wav")),
                                               text (tracks.child ("gone.wav")),
                                               text (tracks.child (odd)),
                                               "--json" });
        CHECK (result.exitCode == 1);

        const auto document = json::parse (result.out);
        CHECK (document["status"] == "partial");
        CHECK (document["tracks"].size() == 3);
        std::vector<int> codes;
        for (const auto& refused : document["refused"])
            codes.push_back (refused["code"].get<int>());
        CHECK (codes == std::vector<int>{ 3, 3, 1, 1, 9, 2 });
        for (const auto* name :
             { "empty.wav", "text.wav", "slow.wav", "other rate.wav", "blip.wav", "gone.wav" })
            CHECK_THAT (result.diagnostics, Contains (name));
        CHECK_THAT (result.diagnostics, Contains ("22050") && Contains ("16383") && ! Contains ("\x1b"));

        CHECK (session.writtenFiles().size() == 3);
        CHECK (session.outFolder()
                   .getChildFile (odd.upToLastOccurrenceOf (".", false, false) + "_Processed.wav")
                   .existsAsFile());
    }

    SECTION ("1 from a dry run too, for a file that turns out damaged when it is read")
    {
        juce::MemoryBlock flac;
        REQUIRE (juce::File (TESSIVAR_SOURCE_DIR "/demo/HH.flac").loadFileAsData (flac));
        const auto cut = session.tracks.child ("HH.flac");
        REQUIRE (cut.replaceWithData (flac.getData(), flac.getSize() / 2));
        const auto planned = session.process ({ text (cut), "--method", "standard", "--dry-run", "--json" });
        CHECK (planned.exitCode == 1);
        const auto plan = json::parse (planned.out);
        REQUIRE (plan.at ("tracks").size() == 2);
        CHECK (plan["tracks"][0]["focus"] == 2.5); // where the window's knobs start
        CHECK (plan["forecast"]["standard"]["temporaryNeeded"] == plan["forecast"]["temporaryNeeded"]);
        CHECK (plan["forecast"]["refined"]["seconds"] > plan["forecast"]["standard"]["seconds"]);
        CHECK (plan["forecast"]["refined"]["memoryNeeded"] > plan["forecast"]["memoryNeeded"]);
        CHECK (session.process ({ text (cut) }).exitCode == 1);
    }

    SECTION ("3: no usable file, no drum to analyze, or a hi-hat alone")
    {
        const auto& tracks = session.tracks;
        const auto out = session.work.path ("out");
        const auto run = [&] (std::vector<std::string> arguments)
        {
            arguments.insert (arguments.begin(), "process");
            arguments.insert (arguments.end(), { "--out", out });
            return runTessivar (arguments, session.cache.folder);
        };
        CHECK (run ({ tracks.path ("gone.wav") }).exitCode == 3);

        const auto hat = run ({ tracks.path ("Kick.wav"), "--type", "Kick=hiHat" });
        CHECK (hat.exitCode == 3);
        CHECK_THAT (hat.diagnostics, Contains ("a Kick or Snare track has to be present in the Group."));

        const auto nothing = run ({ tracks.path ("Kick.wav"), "--type", "Kick=other" });
        CHECK (nothing.exitCode == 3);
        CHECK_THAT (nothing.diagnostics, Contains ("Group has no close microphones to analyze."));
        CHECK_FALSE (juce::File (out).exists());
    }

    SECTION ("4: a target that can't be a folder")
    {
        session.work.child ("out").replaceWithText ("a file");
        const auto result = session.process();
        CHECK (result.exitCode == 4);
        CHECK_THAT (result.diagnostics, Contains ("out") && Contains ("not a folder"));
        CHECK (session.outFolder().loadFileAsString() == "a file");
    }

    SECTION ("5: the temporary folder can't be used")
    {
        const auto result = session.process ({ "--temp", text (session.tracks.child ("Kick.wav")) });
        CHECK (result.exitCode == 5);
        CHECK_THAT (result.diagnostics, Contains ("Kick.wav"));
        CHECK_FALSE (session.outFolder().exists());
    }

    SECTION ("70: what nobody expected is told in a line")
    {
        std::ostringstream out, diagnostics;
        const CommandContext context{ .out = out,
                                      .diagnostics = diagnostics,
                                      .resourceFolder = juce::File (TESSIVAR_BIN_DIR "/Resources"),
                                      .stopRequested = []() -> bool
                                      { throw std::runtime_error ("odd \xf6"); } };
        const auto code = runProgram (
            words ("process $ --out $ --temp $",
                   { text (session.tracks.folder), text (session.outFolder()), text (session.cache.folder) }),
            context);
        CHECK (code == 70);
        CHECK_THAT (diagnostics.str(), Contains ("tessivar-cli: error of the program itself: odd ö\n"));
        CHECK (session.writtenFiles().isEmpty());
    }
}

TEST_CASE ("Program: the small commands", "[cli][program]")
{
    const TemporaryFolder temporary;
    const auto run = [&] (const std::vector<std::string>& arguments)
    { return runTessivar (arguments, temporary.folder); };

    SECTION ("classify tells type and reason")
    {
        const auto result = run ({ "classify", "Kick_01.wav", "SD Top.wav", "OH L.wav" });
        CHECK (result.exitCode == 0);
        CHECK_THAT (result.out, Contains ("guessed from \"kick\"") && Contains ("Overhead"));
        CHECK_THAT (result.out, Contains ("Other") && Contains ("nothing in the name"));
    }

    SECTION ("the user's lists count, or those of a file, and nothing is written to the settings")
    {
        const auto settings = temporary.child ("config/Tessivar/tessivar.config");
        settings.getParentDirectory().createDirectory();
        settings.replaceWithText ("<PROPERTIES><VALUE name=\"kick\" val=\"kick; boom\"/>"
                                  "<VALUE name=\"exportPath\" val=\"/tmp\"/></PROPERTIES>");
        const auto own = run ({ "classify", "Boom.wav", "Snare.wav" });
        CHECK_THAT (own.out,
                    Contains ("guessed from \"boom\", user's list") && Contains ("nothing in the name"));

        temporary.child ("lists.txt").replaceWithText ("# ours\nsnare = SD; clack\n");
        writeHits (temporary.child ("Clack.wav"));
        const auto info =
            run ({ "info", temporary.path ("Clack.wav"), "--types", temporary.path ("lists.txt"), "--json" });
        const auto file = json::parse (info.out).at ("files").at (0);
        CHECK (file["type"] == "snare");
        CHECK (file["abbreviation"] == "clack");
        CHECK (file["list"] == "snare");
        CHECK (file["listOrigin"] == "file");
        CHECK_THAT (run ({ "classify", "--types", temporary.path ("lists.txt"), "Kick.wav" }).out,
                    Contains ("guessed from \"kick\"\n"));

        temporary.child ("lists.txt").replaceWithText ("snare = SD\nsnaer = clack\n");
        const auto bad = run ({ "classify", "--types", temporary.path ("lists.txt"), "Kick.wav" });
        CHECK (bad.exitCode == 2);
        CHECK_THAT (bad.diagnostics, Contains ("lists.txt: line 2"));

        settings.replaceWithText ("<PROPERTIES");
        const auto damaged = run ({ "classify", "Boom.wav", "Snare.wav" });
        CHECK_THAT (damaged.out, Contains ("guessed from \"sn\"") && Contains ("nothing in the name"));
        CHECK_THAT (damaged.diagnostics, Contains ("tessivar.config: damaged"));
        CHECK (settings.loadFileAsString() == "<PROPERTIES");
        CHECK (settings.getParentDirectory().getNumberOfChildFiles (juce::File::findFilesAndDirectories)
               == 1);
    }

#if JUCE_WINDOWS
    SECTION ("patterns stand for the files that fit, as shells take them apart elsewhere")
    {
        for (const auto* name : { "Kick 10.wav", "Kick 2.wav", "Snare.wav" })
            writeHits (temporary.child (name));

        const auto files =
            json::parse (run ({ "info", temporary.path ("kick*.wav"), "--json" }).out)["files"];
        REQUIRE (files.size() == 2);
        CHECK (files[0]["file"] == temporary.path ("Kick 2.wav"));
        CHECK (run ({ "info", temporary.path ("Tom*.wav") }).exitCode == 3);
    }
#endif

    SECTION ("selftest passes on what was built")
    {
        const auto result = run ({ "selftest" });
        CHECK (result.exitCode == 0);
        CHECK_THAT (result.out, Contains ("ok") && ! Contains ("FAILED"));
    }

    SECTION ("version and help go to standard output")
    {
        CHECK_THAT (run ({ "--version" }).out, Catch::StartsWith ("tessivar-cli 0."));
        const auto help = run ({ "process", "--help" });
        CHECK (help.exitCode == 0);
        CHECK_THAT (help.out, Contains ("--focus [NAME=]VALUE"));
        CHECK (help.diagnostics.empty());
    }
}
