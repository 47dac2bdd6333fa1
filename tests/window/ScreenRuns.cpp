#include "tools/windowdriver/ProgramRun.h"
#include "tools/windowdriver/VirtualScreen.h"

#include <catch2/catch.hpp>

using namespace tessivar::test;

TEST_CASE ("The window fits every screen", "[window][screens]")
{
    struct Case
    {
        int width, height;
        const char* scale;
    };

    for (const auto& [width, height, scale] : { Case{ 1024, 640, "1" },
                                                Case{ 1280, 720, "1" },
                                                Case{ 1366, 768, "1" },
                                                Case{ 1366, 768, "1.5" },
                                                Case{ 1500, 900, "1.35" },
                                                Case{ 2560, 1440, "2" } })
    {
        INFO (width << " x " << height << " at " << scale);
        const VirtualScreen screen (std::to_string (width) + "x" + std::to_string (height));
        REQUIRE (! screen.name().empty());
        UserAtScreen user (screen.name());
        REQUIRE (waitUntil ([&] { return user.x.hasWindowManager(); }));

        // Where it was on a larger screen.
        user.presetSettings ({ { "windowState", "1900 700 1800 1100" } });
        ProgramRun run (user, {}, { { "TESSIVAR_SCALE", scale } });
        REQUIRE (run.waitForWindow());
        const auto bounds = [&] { return user.x.boundsOf (run.window); };
        const juce::Rectangle<int> all (width, height);

        // Below its title bar, with all of it in sight.
        CHECK (waitUntil ([&] { return all.withTrimmedTop (10).contains (bounds()); }));
        run.keepPicture ("screen-" + juce::String (width));

        const auto before = bounds();
        user.x.key ("F11");
        CHECK (waitUntil ([&] { return bounds() == all; }));
        user.x.key ("F11");
        CHECK (waitUntil ([&] { return bounds() == before; }));
        CHECK (run.quit() == 0);
    }
}
