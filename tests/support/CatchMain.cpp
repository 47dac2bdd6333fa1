#define CATCH_CONFIG_RUNNER
#include "tests/support/Environment.h"

#include <catch2/catch.hpp>

int main (int argc, char* argv[])
{
    // The tests of this program need no display, and one that is there, or goes meanwhile, must make no
    // difference. (Without the variable the toolkit looks for the first display of the machine.)
    tessivar::test::setVariable ("DISPLAY", "none");
    return Catch::Session().run (argc, argv);
}
