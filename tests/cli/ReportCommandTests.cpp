#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;
using nlohmann::json;

namespace
{
/** The figures in a page. */
json figuresOf (const juce::File& page)
{
    const auto text = page.loadFileAsString();
    REQUIRE (text.endsWith ("</html>\n"));
    return json::parse (text.fromFirstOccurrenceOf ("id=\"tessivar-report\">", false, false)
                            .upToFirstOccurrenceOf ("</script>", false, false)
                            .toStdString());
}
} // namespace

TEST_CASE ("Reports of the command line", "[cli][program][report]")
{
    const TemporaryFolder tracks, work, cache;
    writeHits (tracks.child ("Kick.wav"), { .seed = 1 });
    writeHits (tracks.child ("Snare.wav"), { .bitsPerSample = 16, .seed = 2 });
    const auto page = work.child ("pages/Take.html");
    const auto run = [&] (std::vector<std::string> arguments)
    { return runTessivar (arguments, cache.folder); };
    const auto process = [&] (std::vector<std::string> further)
    {
        further.insert (further.begin(),
                        { "process", tracks.path(), "--out", work.path ("out"), "--overwrite" });
        return run (further);
    };

    SECTION ("tell what the run tells, from the audio that it wrote")
    {
        const auto dry = process ({ "--report", work.path ("pages/Take.html"), "--dry-run" });
        CHECK (dry.exitCode == 0);
        CHECK_THAT (dry.out, Contains (work.path ("pages/Take.html")));
        CHECK_FALSE (page.exists());

        for (const std::string method : { "standard", "refined" })
        {
            const auto result = process ({ "--report",
                                           work.path ("pages/Take.html"),
                                           "--json",
                                           "--method",
                                           method,
                                           "--seed",
                                           "3",
                                           "--focus",
                                           "Kick=3" });
            INFO (result.diagnostics);
            REQUIRE (result.exitCode == 0);
            const auto told = json::parse (result.out);
            CHECK (told["reportFile"] == work.path ("pages/Take.html"));

            const auto figures = figuresOf (page);
            CHECK (figures["method"] == method);
            CHECK (figures["seed"] == 3);
            CHECK (figures["state"] == "done");
            CHECK (figures["warnings"] == told["warnings"]);
            REQUIRE (figures["tracks"].size() == 2);

            for (std::size_t i = 0; i < 2; ++i)
            {
                CHECK (figures["tracks"][i]["name"] == told["tracks"][i]["name"]);
                CHECK (figures["tracks"][i]["focus"] == told["tracks"][i]["focus"]);
                CHECK (figures["tracks"][i]["removedDb"].get<double>()
                       == Approx (told["tracks"][i]["removedDb"].get<double>()).margin (1e-9));
                CHECK (figures["tracks"][i]["peakAfter"] == told["tracks"][i]["peak"]);
            }
        }
    }

    SECTION ("are made of group files, with the knobs in them, and never replace what they are made of")
    {
        const auto group = work.path ("Take.dls");
        REQUIRE (run ({ "analyze", tracks.path(), "--save", group, "--quiet" }).exitCode == 0);
        REQUIRE (run ({ "edit", group, "--track", "Kick", "--focus-a", "0" }).exitCode == 0);
        const auto result = run ({ "report", group, "--out", work.path ("pages/Take.html"), "--json" });
        INFO (result.diagnostics);
        REQUIRE (result.exitCode == 0);
        CHECK (json::parse (result.out)["report"] == work.path ("pages/Take.html"));
        CHECK (figuresOf (page)["tracks"][0]["removedDb"] == -200.0);
        CHECK (figuresOf (page)["origin"] == group);

        CHECK (run ({ "report", group, "--out", work.path ("pages/Take.html") }).exitCode == 4);
        CHECK (run ({ "report", group, "--out", group, "--overwrite" }).exitCode == 4);
        CHECK (run ({ "report", group, "--out", tracks.path ("Kick.wav"), "--overwrite" }).exitCode == 4);
        CHECK (run ({ "report", work.path ("gone.dls"), "--out", work.path ("b.html") }).exitCode == 3);
        CHECK (run ({ "verify", group }).exitCode == 0);

        // Several Groups have a page each.
        const auto both = run (
            { "process", group, tracks.path(), "--out", work.path ("both"), "--report", work.path ("all") });
        INFO (both.diagnostics);
        REQUIRE (both.exitCode == 0);
        CHECK (work.child ("all").getNumberOfChildFiles (juce::File::findFiles, "*.html") == 2);
    }

    SECTION ("are refused before the work")
    {
        CHECK (process ({ "--report-audio" }).exitCode == 2);
        CHECK (process ({ "--report", tracks.path ("Kick.wav") }).exitCode == 4);
        CHECK (process ({ "--report", work.path ("out/Kick_Processed.wav") }).exitCode == 4);
        CHECK (process ({ "--report", work.path() }).exitCode == 4);
        CHECK_FALSE (work.child ("out").exists());
    }
}
