#define CATCH_CONFIG_RUNNER
#include <catch2/catch.hpp>

#include <cstdlib>

int main (int argc, char* argv[])
{
    // The tests of this program need no display, and one that is there, or goes meanwhile, must make no
    // difference. (Without the variable the toolkit looks for the first display of the machine.)
    ::setenv ("DISPLAY", "none", 1);
    return Catch::Session().run (argc, argv);
}
