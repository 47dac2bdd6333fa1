#include "platform/DiskNames.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <iostream>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
using nlohmann::json;

/** A name on disk of these letters (ISO 8859-1): bytes that are no UTF-8, or text where names are that. */
std::string onDisk (const std::string& letters)
{
#if JUCE_WINDOWS
    juce::String text;

    for (const auto letter : letters)
        text += juce::String::charToString (static_cast<std::uint8_t> (letter));

    return text.toStdString();
#else
    return letters;
#endif
}

/** A path as the system has it. */
std::filesystem::path diskPath (const std::string& bytes)
{
#if JUCE_WINDOWS
    const auto units = utf16OfPath (pathOfBytes (bytes));
    return std::wstring (units.begin(), units.end());
#else
    return bytes;
#endif
}

/** Parses a document; the parser refuses what is no UTF-8. */
json parsed (const ProgramResult& result)
{
    INFO (result.diagnostics);
    INFO (result.out);
    REQUIRE (json::accept (result.out));
    return json::parse (result.out);
}
} // namespace

TEST_CASE ("Names of files beyond ASCII, and beyond Unicode", "[cli][names]")
{
    const TemporaryFolder temporary;
    const auto root = temporary.path();
    const auto folder = root + onDisk ("/Caf\xe9"), out = root + onDisk ("/out\xff"),
               group = root + onDisk ("/T\xe4ke\xf6.dls"), kick = onDisk ("Kick Gr\xf6\xdf");
    std::string tom = "Tom \xed\xa0\x80\xee\xbe\x80"; // half of a pair, and a carrier itself
    const auto run = [&] (const std::vector<std::string>& arguments)
    { return runTessivar (arguments, temporary.folder); };
    const auto isThere = [] (const std::string& path) { return std::filesystem::exists (diskPath (path)); };

    std::filesystem::create_directory (diskPath (folder));

    if (juce::File (pathOfBytes (folder + "/" + tom + ".wav")).create().failed())
    {
        std::cout << "skipped: names here hold no half of a pair\n";
        tom = "Tom \xee\xbe\x80";
    }

    writeHits (juce::File (pathOfBytes (folder + "/" + kick + ".wav")), { .seed = 1 });
    writeHits (juce::File (pathOfBytes (folder + onDisk ("/Snare \xf6.wav"))), { .seed = 2 });
    writeHits (juce::File (pathOfBytes (folder + "/" + tom + ".wav")), { .seed = 3 });
    // A file that can be told to lie there only by its real name.
    REQUIRE (isThere (folder + "/" + kick + ".wav"));

    SECTION ("are worked on from a folder to files with the same bytes, a Group and back")
    {
        const auto process = run ({ "process", folder, "--out", out, "--save", group, "--json" });
        REQUIRE (process.exitCode == 0);
        const auto document = parsed (process);
        REQUIRE (document.at ("tracks").size() == 3);
        CHECK (document.at ("tracks").at (0).at ("name") == "Kick Größ");
        CHECK (document.at ("savedFile").get<std::string>().ends_with ("Täkeö.dls"));
        for (const auto& name : { kick, tom })
            CHECK (isThere (out + "/" + name + "_Processed.wav"));

        const auto info = parsed (run ({ "info", group, "--json" }));
        CHECK (info.at ("files").at (0).at ("name") == "Täkeö");
        for (const auto& track : info.at ("files").at (0).at ("tracks"))
            CHECK (track.at ("sourceIsThere") == true);

        const std::vector<std::vector<std::string>> commands{
            { "edit", group, "--track", kick, "--rename", onDisk ("B\xe4ng"), "--json" },
            { "verify", group, "--json" },
            { "export", group, "--out", out + onDisk ("/\xfc"), "--track", onDisk ("B\xe4ng"), "--json" },
            { "analyze", group, "--save", root + onDisk ("/again\xe9.dls"), "--json" },
            { "info", folder + onDisk ("/Snare \xf6.wav"), "--json" },
        };
        for (const auto& command : commands)
        {
            const auto result = run (command);
            INFO (command.front());
            CHECK (result.exitCode == 0);
            CHECK (parsed (result).at ("status") == "done");
        }
        CHECK (isThere (root + onDisk ("/again\xe9.dls")));
        CHECK (parsed (run ({ "info", group, "--json" })).at ("files").at (0).at ("tracks").at (0).at ("name")
               == "Bäng");
        CHECK (run ({ "render", group, "--out", root + onDisk ("/mix\xe9.wav") }).exitCode == 0);
        CHECK (isThere (root + onDisk ("/mix\xe9.wav")));
        CHECK (run ({ "classify", onDisk ("Kick\xe9") }).out.find ("Kické") != std::string::npos);
    }

    SECTION ("are told by readable names when there is nothing to open")
    {
        const auto missing = folder + onDisk ("/gone\xe9");
        for (const auto& command :
             std::vector<std::vector<std::string>>{ { "info", missing, "--json" },
                                                    { "verify", missing, "--json" },
                                                    { "process", missing, "--out", out, "--json" } })
        {
            const auto result = run (command);
            CHECK (result.exitCode == 3);
            CHECK (parsed (result).at ("status") == "refused");
            CHECK (result.out.find ("Café") != std::string::npos);
            CHECK (result.out.find ("goneé") != std::string::npos);
        }
    }
}
