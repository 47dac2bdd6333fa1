#pragma once

#include <catch2/catch.hpp>

#include <algorithm>
#include <cmath>
#include <span>

namespace tessivar::test
{

/** Checks that samples are equal. Of vectors of thousands that differ it names the first place. */
inline void checkSame (std::span<const float> found, std::span<const float> expected, float tolerance = 0.0f)
{
    REQUIRE (found.size() == expected.size());
    const auto differs = std::mismatch (found.begin(),
                                        found.end(),
                                        expected.begin(),
                                        [&] (float a, float b) { return std::abs (a - b) <= tolerance; });
    INFO ("at sample " << differs.first - found.begin());
    CHECK (differs.first == found.end());
}

} // namespace tessivar::test
