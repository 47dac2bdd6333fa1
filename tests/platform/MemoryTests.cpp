#include "platform/Memory.h"

#include <catch2/catch.hpp>

#ifndef _WIN32
    #include <sys/resource.h>
#endif

using namespace tessivar;

TEST_CASE ("freeMemory", "[memory]")
{
    const auto before = freeMemory();
    REQUIRE (before.has_value());
    CHECK (*before > 0);

#ifndef _WIN32
    rlimit kept = {};
    REQUIRE (::getrlimit (RLIMIT_AS, &kept) == 0);

    // A limit that the process is already beyond leaves nothing.
    rlimit tight = kept;
    tight.rlim_cur = 1 << 20;
    REQUIRE (::setrlimit (RLIMIT_AS, &tight) == 0);
    const auto limited = freeMemory();
    REQUIRE (::setrlimit (RLIMIT_AS, &kept) == 0);
    CHECK (limited == std::uint64_t (0));
#endif
}
