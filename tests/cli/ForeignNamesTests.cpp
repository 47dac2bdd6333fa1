#include "platform/DiskNames.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <filesystem>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
using nlohmann::json;

/** Parses a document; the parser refuses what is no UTF-8. */
json parsed (const ProgramResult& result)
{
    INFO (result.diagnostics);
    INFO (result.out);
    REQUIRE (json::accept (result.out));
    return json::parse (result.out);
}
} // namespace

TEST_CASE ("Names of files that are no UTF-8", "[cli][names]")
{
    const TemporaryFolder temporary;
    const auto root = temporary.path();
    const auto folder = root + "/Caf\xe9", out = root + "/out\xff", group = root + "/T\xe4ke\xf6.dls";
    const auto run = [&] (const std::vector<std::string>& arguments)
    { return runTessivar (arguments, temporary.folder); };

    std::filesystem::create_directory (folder);
    writeHits (juce::File (pathOfBytes (folder + "/Kick Gr\xf6\xdf.wav")), { .seed = 1 });
    writeHits (juce::File (pathOfBytes (folder + "/Snare \xf6.wav")), { .seed = 2 });
    writeHits (juce::File (pathOfBytes (folder + "/Tom \xed\xa0\x80\xee\xbe\x80.wav")), { .seed = 3 });
    // A file that can be told to lie there only by its real bytes.
    REQUIRE (std::filesystem::exists (folder + "/Kick Gr\xf6\xdf.wav"));

    SECTION ("are worked on from a folder to files with the same bytes, a Group and back")
    {
        const auto process = run ({ "process", folder, "--out", out, "--save", group, "--json" });
        REQUIRE (process.exitCode == 0);
        const auto document = parsed (process);
        REQUIRE (document.at ("tracks").size() == 3);
        CHECK (document.at ("tracks").at (0).at ("name") == "Kick Größ");
        CHECK (document.at ("savedFile").get<std::string>().ends_with ("/Täkeö.dls"));
        for (const auto* name :
             { "/Kick Gr\xf6\xdf_Processed.wav", "/Tom \xed\xa0\x80\xee\xbe\x80_Processed.wav" })
            CHECK (std::filesystem::exists (out + name));

        const auto info = parsed (run ({ "info", group, "--json" }));
        CHECK (info.at ("files").at (0).at ("name") == "Täkeö");
        for (const auto& track : info.at ("files").at (0).at ("tracks"))
            CHECK (track.at ("sourceIsThere") == true);

        const std::vector<std::vector<std::string>> commands{
            { "edit", group, "--track", "Kick Gr\xf6\xdf", "--rename", "B\xe4ng", "--json" },
            { "verify", group, "--json" },
            { "export", group, "--out", out + "/\xfc", "--track", "B\xe4ng", "--json" },
            { "analyze", group, "--save", root + "/again\xe9.dls", "--json" },
            { "info", folder + "/Snare \xf6.wav", "--json" },
        };
        for (const auto& command : commands)
        {
            const auto result = run (command);
            INFO (command.front());
            CHECK (result.exitCode == 0);
            CHECK (parsed (result).at ("status") == "done");
        }
        CHECK (std::filesystem::exists (root + "/again\xe9.dls"));
        CHECK (parsed (run ({ "info", group, "--json" })).at ("files").at (0).at ("tracks").at (0).at ("name")
               == "Bäng");
        CHECK (run ({ "render", group, "--out", root + "/mix\xe9.wav" }).exitCode == 0);
        CHECK (std::filesystem::exists (root + "/mix\xe9.wav"));
        CHECK (run ({ "classify", "Kick\xe9" }).out.find ("Kické") != std::string::npos);
    }

    SECTION ("are told by readable names when there is nothing to open")
    {
        const auto missing = folder + "/gone\xe9";
        for (const auto& command :
             std::vector<std::vector<std::string>>{ { "info", missing, "--json" },
                                                    { "verify", missing, "--json" },
                                                    { "process", missing, "--out", out, "--json" } })
        {
            const auto result = run (command);
            CHECK (result.exitCode == 3);
            CHECK (parsed (result).at ("status") == "refused");
            CHECK (result.out.find ("Café/goneé") != std::string::npos);
        }
    }
}
