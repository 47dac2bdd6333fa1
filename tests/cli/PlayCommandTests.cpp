#include "cli/PlayRequest.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Times of a range", "[cli][play]")
{
    CHECK (parseTimeText ("83.5") == 83.5);
    CHECK (parseTimeText ("1:23.5") == 83.5);
    CHECK (parseTimeText ("1:01:00") == 3660.0);
    CHECK (parseTimeText ("0:00") == 0.0);
    for (const auto* text : { "", ":", "1:", "1.5:00", "-1", "1:2:3:4", "1.2.3", "12s", "." })
        CHECK_FALSE (parseTimeText (text).has_value());
}

TEST_CASE ("render writes what an export holds", "[cli][play]")
{
    // Real drums: of noise a single component holds everything, and nothing would be removed.
    const juce::File demo (TESSIVAR_SOURCE_DIR "/demo");
    const TemporaryFolder tracks, work, cache;
    REQUIRE (demo.getChildFile ("Kick In.flac").copyFileTo (tracks.child ("Kick.flac")));
    REQUIRE (demo.getChildFile ("Floor.flac").copyFileTo (tracks.child ("Floor.flac")));
    const auto run = [&] (const std::vector<std::string>& arguments)
    {
        auto result = runTessivar (arguments, cache.folder);
        INFO (result.diagnostics);
        return result.exitCode;
    };
    const auto group = work.path ("take.dls");
    REQUIRE (run (words ("process $ --out $ --save $ --quiet", { tracks.path(), work.path ("out"), group }))
             == 0);

    SECTION ("of one track, from one time to another")
    {
        REQUIRE (run (words ("render $ --track Kick --from 0.1 --to 0:0.5 --out $",
                             { group, work.path ("a.wav") }))
                 == 0);
        const auto rendered = decode (work.child ("a.wav"));
        const auto exported = decode (work.child ("out/Kick_Processed.wav"));
        REQUIRE (rendered.samples.size() == 17640);

        float worst = 0.0f;
        for (std::size_t i = 0; i < rendered.samples.size(); ++i)
            worst = std::max (worst, std::abs (rendered.samples[i] - exported.samples[i + 4410]));
        CHECK (worst <= 1.0f / 16777216.0f);                                  // half a step of 24 bits
        CHECK (run ({ "render", group, "--out", work.path ("a.wav") }) == 4); // exists
    }

    SECTION ("so that processed and removed make the source again")
    {
        for (const auto& [option, file] : { std::pair{ "--all", "p.wav" },
                                            std::pair{ "--removed", "r.wav" },
                                            std::pair{ "--bypass", "s.wav" } })
            REQUIRE (run ({ "render", group, option, "--out", work.path (file) }) == 0);

        const auto processed = decode (work.child ("p.wav")), removed = decode (work.child ("r.wav")),
                   source = decode (work.child ("s.wav"));
        float worst = 0.0f, loudestRemoved = 0.0f;
        for (std::size_t i = 0; i < source.samples.size(); ++i)
        {
            worst =
                std::max (worst, std::abs (processed.samples[i] + removed.samples[i] - source.samples[i]));
            loudestRemoved = std::max (loudestRemoved, std::abs (removed.samples[i]));
        }
        CHECK (worst < 1.0e-6f);
        CHECK (loudestRemoved > 1.0e-3f);
    }

    SECTION ("and refuses a range in which nothing plays, as play does a device that isn't there")
    {
        CHECK (run ({ "play", group, "--device", "no such device", "--json" }) == 4);
        CHECK (run ({ "render", group, "--from", "25", "--out", work.path ("b.wav") }) == 3);
        CHECK (run ({ "render", group, "--from", "0.5", "--to", "0.2", "--out", work.path ("b.wav") }) == 2);
        CHECK_FALSE (work.child ("b.wav").exists());
    }
}
