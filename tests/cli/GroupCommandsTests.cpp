#include "platform/FileLock.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <map>

#if ! JUCE_WINDOWS
    #include <sys/resource.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;
using nlohmann::json;

namespace
{
/** Kick and snare, half a second each, analysed and saved as a Group. */
struct SavedSession
{
    SavedSession()
    {
        writeHits (tracks.child ("Kick.wav"), { .seed = 1 });
        writeHits (tracks.child ("Snare.wav"), { .bitsPerSample = 16, .seed = 2 });
    }

    [[nodiscard]] ProgramResult run (const std::vector<std::string>& arguments) const
    {
        return runTessivar (arguments, cache.folder);
    }

    [[nodiscard]] ProgramResult run (const std::string& line, const std::vector<std::string>& texts) const
    {
        return run (words (line, texts));
    }

    [[nodiscard]] std::string groupPath() const { return work.path ("Take 3.dls"); }

    void analyse (const std::vector<std::string>& further = {}) const
    {
        std::vector<std::string> arguments{ "analyze", tracks.path(), "--save", groupPath(), "--quiet" };
        arguments.insert (arguments.end(), further.begin(), further.end());
        const auto result = run (arguments);
        INFO (result.diagnostics);
        REQUIRE (result.exitCode == 0);
    }

    [[nodiscard]] json info() const
    {
        const auto result = run ({ "info", groupPath(), "--json" });
        INFO (result.diagnostics);
        REQUIRE (result.exitCode == 0);
        return json::parse (result.out).at ("files").at (0);
    }

    TemporaryFolder tracks, work, cache;
};

juce::MemoryBlock bytesOf (const juce::File& file)
{
    juce::MemoryBlock bytes;
    REQUIRE (file.loadFileAsData (bytes));
    return bytes;
}

#if ! JUCE_WINDOWS
/** Files that this process and its children write may not be longer; as long as the object lives. */
struct FileSizeLimit
{
    explicit FileSizeLimit (rlim_t bytes)
    {
        getrlimit (RLIMIT_FSIZE, &before);
        const rlimit limit{ bytes, before.rlim_max };
        setrlimit (RLIMIT_FSIZE, &limit);
    }

    ~FileSizeLimit() { setrlimit (RLIMIT_FSIZE, &before); }

    struct rlimit before = {};
};
#endif

using Chunks = std::map<std::string, std::vector<std::uint8_t>>;

/** Printable text, as an iXML chunk is read as one. */
std::vector<std::uint8_t> bytesFrom (std::size_t count, std::size_t seed)
{
    std::vector<std::uint8_t> bytes (count);

    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t> ('a' + (i * seed) % 26);

    return bytes;
}

/** Puts chunks, of even sizes, behind those of a WAV file. */
void appendChunks (const juce::File& file, const Chunks& chunks)
{
    juce::MemoryOutputStream whole;
    whole << bytesOf (file);

    for (const auto& [id, content] : chunks)
    {
        whole.write (id.data(), 4);
        whole.writeInt (static_cast<int> (content.size()));
        whole.write (content.data(), content.size());
    }

    juce::MemoryBlock bytes = whole.getMemoryBlock();
    const auto size = juce::ByteOrder::swapIfBigEndian (static_cast<std::uint32_t> (bytes.getSize() - 8));
    bytes.copyFrom (&size, 4, 4);
    REQUIRE (file.replaceWithData (bytes.getData(), bytes.getSize()));
}

Chunks chunksOf (const juce::File& file)
{
    const auto bytes = bytesOf (file);
    const auto* data = static_cast<const std::uint8_t*> (bytes.getData());
    Chunks chunks;

    for (std::size_t at = 12; at + 8 <= bytes.getSize();)
    {
        const auto size = std::size_t{ juce::ByteOrder::littleEndianInt (data + at + 4) };
        REQUIRE (at + 8 + size <= bytes.getSize());
        chunks[std::string (data + at, data + at + 4)].assign (data + at + 8, data + at + 8 + size);
        at += 8 + size + size % 2;
    }

    return chunks;
}
} // namespace

TEST_CASE ("A Group on the command line", "[cli][group]")
{
    const SavedSession session;

    SECTION ("exports from its file what the analysis exported, though the sources are gone")
    {
        const auto processed =
            session.run ("process $ --out $ --focus 2.5 --save $ --quiet",
                         { session.tracks.path(), session.work.path ("direct"), session.groupPath() });
        INFO (processed.diagnostics);
        REQUIRE (processed.exitCode == 0);
        session.tracks.child ("Kick.wav").deleteFile();
        session.tracks.child ("Snare.wav").deleteFile();

        const auto exported =
            session.run ({ "export", session.groupPath(), "--out", session.work.path ("again"), "--json" });
        INFO (exported.diagnostics);
        REQUIRE (exported.exitCode == 0);

        for (const auto* name : { "Kick_Processed.wav", "Snare_Processed.wav" })
            CHECK (bytesOf (session.work.child (juce::String ("direct/") + name))
                   == bytesOf (session.work.child (juce::String ("again/") + name)));

        const auto document = json::parse (exported.out);
        CHECK (document.at ("command") == "export");
        CHECK (document.at ("tracks").at (0).at ("focus") == 2.5);
        CHECK (document.at ("tracks").at (0).at ("typeOrigin") == "group");
        CHECK (session.info().at ("tracks").at (0).at ("sourceIsThere") == false);
    }

    SECTION ("a run that saves nothing writes what one that saves does, wherever the knobs stand")
    {
        for (const auto* knobs : { "refined --focus suggested",
                                   "refined --focus 2.3 --fine 0.2",
                                   "refined --focus 0.4",
                                   "refined --focus Kick=0 --focus Snare=3",
                                   "standard --focus 1.7 --components",
                                   "standard --focus 0.4 --fine 0.2" })
        {
            INFO (knobs);
            const auto options = std::string (" --overwrite --quiet --method ") + knobs;
            REQUIRE (session
                         .run ("process $ --out $ --save $" + options,
                               { session.tracks.path(), session.work.path ("saved"), session.groupPath() })
                         .exitCode
                     == 0);
            REQUIRE (session
                         .run ("process $ --out $" + options,
                               { session.tracks.path(), session.work.path ("alone") })
                         .exitCode
                     == 0);

            for (const auto& file :
                 session.work.child ("saved").findChildFiles (juce::File::findFiles, false))
                CHECK (bytesOf (file) == bytesOf (session.work.child ("alone/" + file.getFileName())));
        }
    }

    SECTION ("keeps an edit of knobs, names and types, and says what needs a new analysis")
    {
        session.analyse();
        const auto edited =
            session.run ("edit $ --track kick --focus-a 80% --fine-b 0.25 --select B --rename $",
                         { session.groupPath(), "Kick In" });
        INFO (edited.diagnostics);
        REQUIRE (edited.exitCode == 0);
        auto info = session.info();
        const auto& kick = info.at ("tracks").at (0);
        CHECK (kick.at ("name") == "Kick In");
        CHECK (kick.at ("settingA").at ("focus") == 4.0);
        CHECK (kick.at ("settingB").at ("fine") == 0.25);
        CHECK (kick.at ("selected") == "B");
        CHECK (info.at ("analysis").at ("changedSince") == false);

        REQUIRE (session.run ({ "edit", session.groupPath(), "--track", "*", "--type", "snare" }).exitCode
                 == 0);
        CHECK (session.info().at ("analysis").at ("changedSince") == true);
        CHECK (session.run ({ "verify", session.groupPath() }).exitCode == 0);

        const auto exported = session.run ("export $ --out $ --track $",
                                           { session.groupPath(), session.work.path ("out"), "Kick In" });
        CHECK (exported.exitCode == 0);
        CHECK_THAT (exported.out, Contains ("has changed since its last analysis"));
        CHECK (session.work.child ("out").getNumberOfChildFiles (juce::File::findFiles) == 1);
    }

    SECTION ("refuses a mistake and changes nothing")
    {
        session.analyse();
        const auto before = bytesOf (session.work.child ("Take 3.dls"));
        const std::vector<std::pair<std::vector<std::string>, const char*>> mistakes{
            { { "--track", "Tom", "--select", "A" }, "no track has this name" },
            { { "--track", "*", "--rename", "Both" }, "a name is for one" },
            { { "--track", "*", "--focus-a", "6" }, "0 to 5" },
            { { "--track", "*", "--exclude", "--include" }, "exclude each other" },
            { { "--track", "*" }, "nothing to change" },
        };

        for (const auto& [options, part] : mistakes)
        {
            std::vector<std::string> arguments{ "edit", session.groupPath() };
            arguments.insert (arguments.end(), options.begin(), options.end());
            const auto result = session.run (arguments);
            CHECK (result.exitCode == 2);
            CHECK_THAT (result.diagnostics, Contains (part));
        }

        CHECK (bytesOf (session.work.child ("Take 3.dls")) == before);
        CHECK (session.run ({ "analyze", session.tracks.path ("Kick.wav"), "--save", session.groupPath() })
                   .exitCode
               == 4); // exists
    }

    SECTION (
        "never costs a source, a group file in use or another result, whatever writes and by whatever name")
    {
        session.analyse();
        const auto group = session.work.child ("Take 3.dls"), kick = session.tracks.child ("Kick.wav"),
                   out = session.work.child ("out");
        const auto tracks = session.tracks.path();
#if JUCE_WINDOWS
        const auto link = session.work.path ("TAKE 3.DLS"); // the same name there
#else
        const auto link = session.work.path ("link.wav");
        REQUIRE (group.createSymbolicLink (juce::File (link), false));
#endif
        const auto groupBytes = bytesOf (group), kickBytes = bytesOf (kick);
        REQUIRE (out.createDirectory().wasOk());
        std::filesystem::create_hard_link (
            kick.getFullPathName().toStdString(),
            out.getChildFile ("Snare_Processed.wav").getFullPathName().toStdString());
        const auto kickPath = kick.getFullPathName().toStdString(),
                   outPath = out.getFullPathName().toStdString();
        const auto file = session.groupPath(), added = session.work.path ("new");
        const std::vector<std::vector<std::string>> commands{
            words ("render $ --out $", { file, file }),
            words ("render $ --out $", { file, link }),
            words ("render $ --out $", { file, kickPath }),
            words ("export $ --out $", { file, outPath }),
            words ("analyze $ --save $", { tracks, kickPath }),
            words ("analyze $ --save $", { file, kickPath }),
            words ("process $ --out $", { tracks, outPath }),
            words ("process $ --out $ --save $", { tracks, added, added + "/Kick_Processed.wav" }),
            words ("process $ --out $ --components --save $",
                   { tracks, added, added + "/Kick_Component07.wav" }),
        };

        for (auto arguments : commands)
        {
            INFO (arguments[0] << " " << arguments.back());
            arguments.emplace_back ("--overwrite");
            const auto result = session.run (arguments);
            INFO (result.diagnostics);
            CHECK (result.exitCode == 4);
            CHECK (bytesOf (group) == groupBytes);
            CHECK (bytesOf (kick) == kickBytes);
            CHECK_FALSE (session.work.child ("new").exists());
        }

        // Of several Groups none is saved over the file of another.
        const auto other = session.work.child ("other/Take 3.dls");
        REQUIRE (other.create().wasOk());
        REQUIRE (group.copyFileTo (other));
        const auto both = session.run (
            "analyze $ $ --save $ --overwrite --quiet",
            { session.groupPath(), other.getFullPathName().toStdString(), session.work.path ("other") });
        CHECK (both.exitCode == 1);
        CHECK_THAT (both.diagnostics, Contains ("group file in use"));
        CHECK (bytesOf (other) == groupBytes);

        // A Group may be saved to its own file, but not to one that another program has open; the refusal
        // comes at once.
        CHECK (session.run ({ "analyze", session.groupPath(), "--save", link, "--overwrite" }).exitCode == 0);
        const auto lock = FileLock::take (group);
        REQUIRE (lock.has_value());
        const auto locked = session.run ({ "analyze", tracks, "--save", session.groupPath(), "--overwrite" });
        CHECK (locked.exitCode == 4);
        CHECK_THAT (locked.diagnostics, Contains ("open in another window") && ! Contains ("Analyzing"));
    }

    SECTION ("keeps both settings and the selector through an analysis, and a value that was given")
    {
        const auto refine =
            [&] (const std::string& input, const char* name, std::vector<std::string> options = {})
        {
            options.insert (options.begin(),
                            { "analyze", input, "--method", "refined", "--save", session.work.path (name) });
            REQUIRE (session.run (options).exitCode == 0);
            const auto info = session.run ({ "info", session.work.path (name), "--json" });
            return json::parse (info.out).at ("files").at (0).at ("tracks");
        };
        session.analyse ({ "--method", "standard" });
        REQUIRE (
            session.run ("edit $ --track snare --focus-b 3.5 --select B", { session.groupPath() }).exitCode
            == 0);
        const auto tracks = refine (session.groupPath(), "refined.dls");
        CHECK (tracks[0]["settingA"]["focus"] == tracks[0]["suggestedFocus"]);
        CHECK (tracks[1]["settingA"]["focus"] == 2.5);
        CHECK (tracks[1]["settingB"]["focus"] == 3.5);
        CHECK (tracks[1]["selected"] == "B");

        const auto given = refine (session.tracks.path(), "given.dls", { "--focus", "Kick=2.5" });
        REQUIRE (given[0]["suggestedFocus"] != 2.5);
        CHECK (given[0]["settingA"]["focus"] == 2.5);
        CHECK (given[1]["settingA"]["focus"] == given[1]["suggestedFocus"]);
        CHECK (refine (session.work.path ("given.dls"), "again.dls")[0]["settingA"]["focus"] == 2.5);

        const auto options = refine (
            session.work.path ("refined.dls"), "options.dls", { "--focus", "Snare=1", "--fine", "Kick=10%" });
        CHECK (options[0]["settingA"]["focus"] == options[0]["suggestedFocus"]);
        CHECK (options[0]["settingA"]["fine"].get<double>() == Approx (0.1));
        CHECK (options[1]["settingA"]["focus"] == 2.5);
        CHECK (options[1]["settingB"]["focus"] == 1.0); // the setting that sounds
    }

    SECTION ("exports what its sources were, though they are gone")
    {
        const std::map<std::string, std::vector<std::uint8_t>> chunks{ { "bext", bytesFrom (602, 1) },
                                                                       { "iXML", bytesFrom (34, 2) },
                                                                       { "zzzz", bytesFrom (6, 3) } };
        session.tracks.child ("Kick.wav").deleteFile();
        session.tracks.child ("Snare.wav").deleteFile();
        writeHits (session.tracks.child ("Kick.wav"), { .bitsPerSample = 32, .seed = 1 });
        writeHits (session.tracks.child ("Snare.wav"), { .numChannels = 2, .seed = 2 });
        std::map<std::string, json> metadata;

        for (const auto* name : { "Kick", "Snare" })
        {
            const auto file = session.tracks.child (juce::String (name) + ".wav");
            appendChunks (file, chunks);
            const auto info = session.run ({ "info", file.getFullPathName().toStdString(), "--json" });
            metadata[name] = json::parse (info.out).at ("files").at (0).at ("metadata");
            REQUIRE_FALSE (metadata[name].empty());
        }

        session.analyse();
        session.tracks.folder.deleteRecursively();
        REQUIRE (session.run ({ "export", session.groupPath(), "--out", session.work.path ("out") }).exitCode
                 == 0);

        const auto saved = session.info();
        REQUIRE (saved.at ("tracks").size() == 3);
        CHECK (saved.at ("tracks")[1].at ("name") == "Snare L");
        CHECK (saved.at ("tracks")[2].at ("name") == "Snare R");

        for (const auto& track : saved.at ("tracks"))
        {
            const auto isKick = track.at ("name") == "Kick";
            CHECK (track.at ("metadata") == metadata[isKick ? "Kick" : "Snare"]);
            CHECK (track.at ("floatingPoint") == isKick);
        }

        for (const auto* name : { "Kick_Processed.wav", "Snare_L_Processed.wav", "Snare_R_Processed.wav" })
        {
            INFO (name);
            const auto exported = session.work.child ("out").getChildFile (name);
            const auto info = session.run ({ "info", exported.getFullPathName().toStdString(), "--json" });
            const auto document = json::parse (info.out).at ("files").at (0);
            const auto isFloat = exported.getFileName().startsWith ("Kick");
            CHECK (document.at ("floatingPoint") == isFloat);
            CHECK (document.at ("bitsPerSample") == (isFloat ? 32 : 24));
            auto kept = chunksOf (exported);

            for (const auto& [id, content] : chunks)
                CHECK (kept[id] == content);
        }
    }

#if ! JUCE_WINDOWS
    SECTION ("is whole, and no file half written, where files may not grow")
    {
        session.analyse();
        const auto before = bytesOf (session.work.child ("Take 3.dls"));
        const auto under = [&] (rlim_t bytes, const std::vector<std::string>& arguments)
        {
            const FileSizeLimit limit (bytes);
            return session.run (arguments);
        };
        const auto edited = under (20000, { "edit", session.groupPath(), "--track", "*", "--focus-b", "1" });
        CHECK (edited.exitCode == 4);
        CHECK_THAT (edited.diagnostics, Contains ("Take 3.dls can't be written: File too large"));
        CHECK (bytesOf (session.work.child ("Take 3.dls")) == before);

        const auto exported =
            under (20000, { "export", session.groupPath(), "--out", session.work.path ("out") });
        CHECK (exported.exitCode == 4);
        CHECK_THAT (exported.diagnostics, Contains ("Kick_Processed.wav") && Contains ("File too large"));
        CHECK (session.work.child ("out").getNumberOfChildFiles (juce::File::findFiles) == 0);

        const auto some =
            under (50000, { "export", session.groupPath(), "--out", session.work.path ("some") });
        CHECK (some.exitCode == 1);
        CHECK (session.work.child ("some/Snare_Processed.wav").existsAsFile());

        const auto input = session.tracks.path();
        const auto none = under (20000, { "analyze", input, "--save", session.work.path ("b.dls") });
        CHECK (none.exitCode == 5);
        CHECK_THAT (none.diagnostics, Contains ("File too large"));
    }
#endif

    SECTION ("is analyzed again from its own audio, by another method, into another file")
    {
        session.analyse ({ "--method", "standard", "--focus", "Kick=1.5" });
        session.tracks.child ("Kick.wav").deleteFile();
        const auto again = session.run ("analyze $ --method refined --save $ --json",
                                        { session.groupPath(), session.work.path ("refined.dls") });
        INFO (again.diagnostics);
        REQUIRE (again.exitCode == 0);
        const auto info =
            json::parse (session.run ({ "info", session.work.path ("refined.dls"), "--json" }).out)
                .at ("files")
                .at (0);
        CHECK (info.at ("analysis").at ("method") == "refined");
        CHECK (info.at ("tracks").at (0).at ("settingA").at ("focus") == 1.5); // the user's own
        CHECK (info.at ("tracks").at (1).at ("suggestedFocus").is_number());
    }
}

TEST_CASE ("Several Groups on the command line", "[cli][group]")
{
    const SavedSession session;
    session.analyse();
    session.work.child ("Bank.dls").replaceWithText ("RIFF a bank of instruments, not a Group");

    SECTION ("go on after one that fails, and end with a summary")
    {
        const auto result =
            session.run ("export $ $ --out $",
                         { session.work.path ("Bank.dls"), session.groupPath(), session.work.path ("out") });
        CHECK (result.exitCode == 1);
        CHECK_THAT (result.diagnostics, Contains ("Bank.dls"));
        CHECK_THAT (result.out, Contains ("refused") && Contains ("done"));
        CHECK (session.work.child ("out/Take 3/Kick_Processed.wav").existsAsFile());
        CHECK_FALSE (session.work.child ("out/Bank").exists());
    }

    SECTION ("are made of folders too, each with its own files")
    {
        TemporaryFolder takes;
        for (const auto* take : { "One", "Two" })
        {
            takes.child (take).createDirectory();
            writeHits (takes.child (take + juce::String ("/Snare.wav")), { .seed = 3 });
        }

        const auto result = session.run ("process $ $ --each --out $ --save $ --json",
                                         { takes.path ("One"),
                                           takes.path ("Two"),
                                           session.work.path ("out"),
                                           session.work.path ("groups") });
        INFO (result.diagnostics);
        REQUIRE (result.exitCode == 0);
        CHECK (json::parse (result.out).at ("groups").size() == 2);
        for (const auto* take : { "One", "Two" })
        {
            CHECK (session.work.child ("out/" + juce::String (take) + "/Snare_Processed.wav").existsAsFile());
            CHECK (session.work.child ("groups/" + juce::String (take) + ".dls").existsAsFile());
        }
    }

    SECTION ("are verified one by one, with what is damaged")
    {
        auto bytes = bytesOf (session.work.child ("Take 3.dls"));
        static_cast<char*> (bytes.getData())[1000] ^= 1; // within the audio of the first track
        const auto damaged = session.work.child ("damaged.dls");
        REQUIRE (damaged.replaceWithData (bytes.getData(), bytes.getSize()));

        const auto result = session.run ("verify $ $ --json",
                                         { session.groupPath(), damaged.getFullPathName().toStdString() });
        CHECK (result.exitCode == 1);
        const auto files = json::parse (result.out).at ("files");
        CHECK (files.at (0).at ("intact") == true);
        CHECK (files.at (1).at ("intact") == false);
        CHECK (files.at (1).at ("damage").size() == 1);
        CHECK (files.at (1).at ("readable") == json::array ({ "Snare" }));
        CHECK (session.run ({ "verify", session.work.path ("Bank.dls") }).exitCode == 3);

        REQUIRE (session.work.child ("Take 3.dls").appendText ("a save that was begun"));
        const auto begun = session.run ({ "verify", session.groupPath() });
        CHECK (begun.exitCode == 6);
        CHECK_THAT (begun.out, Contains ("interrupted save, nothing lost"));
    }
}
