#include "platform/Memory.h"

#include <catch2/catch.hpp>
#include <juce_core/juce_core.h>

#include <cstddef>
#include <new>

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

// The sanitizer ends the program instead.
#if ! defined(__SANITIZE_ADDRESS__)
TEST_CASE ("Memory that the toolkit can't have is told of", "[memory]")
{
    constexpr auto tooMuch = std::size_t{ 1 } << 62;
    juce::HeapBlock<char> block;
    CHECK_THROWS_AS (block.malloc (tooMuch), std::bad_alloc);
    CHECK_THROWS_AS (block.realloc (tooMuch), std::bad_alloc);
}
#endif
