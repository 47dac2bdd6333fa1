#include "tools/windowdriver/ProgramRun.h"
#include "tools/windowdriver/VirtualScreen.h"

#define CATCH_CONFIG_RUNNER
#include <catch2/catch.hpp>

#include <cstdlib>
#include <iostream>

namespace tessivar::test
{

namespace
{
constexpr int skipped = 77; // as ctest is told in the CMake file

std::string& displayName()
{
    static std::string name;
    return name;
}
} // namespace

const std::string& testDisplay()
{
    return displayName();
}

int run (int argc, char* argv[])
{
    if (const auto missing = VirtualScreen::missingPrograms(); ! missing.isEmpty())
    {
        std::cout << "window: skipped, not installed: " << missing.joinIntoString (", ") << std::endl;
        return skipped;
    }

    const VirtualScreen screen;
    const XClient client (screen.name());

    if (screen.name().empty() || ! client.isConnected()
        || ! waitUntil ([&] { return client.hasWindowManager(); }, 20000))
    {
        std::cout << "window: skipped, Xvfb or openbox does not start" << std::endl;
        return skipped;
    }

    displayName() = screen.name();

    // The windows of this process open there too, and not on screen 0, which may be somebody else's.
    ::setenv ("DISPLAY", screen.name().c_str(), 1);
    return Catch::Session().run (argc, argv);
}

} // namespace tessivar::test

int main (int argc, char* argv[])
{
    return tessivar::test::run (argc, argv);
}
