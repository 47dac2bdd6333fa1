#include "terms/ReductionCurve.h"

#include <catch2/catch.hpp>

#include <limits>
#include <vector>

using namespace tessivar;

TEST_CASE ("ReductionCurve", "[ui][reduction]")
{
    constexpr auto nan = std::numeric_limits<float>::quiet_NaN(),
                   infinite = std::numeric_limits<float>::infinity();
    const std::vector<ReductionCurve::Powers> powers{
        { 1.0f, 1.0f },    // 0 dB
        { 0.1f, 0.001f },  // 20 dB
        { 0.0f, 0.0f },    // silence
        { 1.0e-8f, 0.0f }, // as good as silence
        { 0.1f, 0.0f },    // all of it removed
        { 0.1f, 0.2f },    // louder than before
        { nan, 0.1f },     { 0.1f, nan }, { infinite, 0.1f },
    };
    const ReductionCurve curve (powers);
    REQUIRE (curve.numSteps() == powers.size());

    SECTION ("tells what is removed, at most 60 dB, and nothing of silence")
    {
        CHECK (curve.at (0) == 0.0f);
        CHECK (curve.at (1) == Approx (20.0f));
        CHECK (curve.at (4) == Approx (60.0f));
        CHECK (curve.at (5) == 0.0f);

        for (const auto silent : { 2u, 3u, 6u, 7u, 8u })
            CHECK (curve.at (silent) == ReductionCurve::nothingToTell);
    }

    SECTION ("leaves silence out of mean and maximum")
    {
        CHECK (curve.whole().meanDb == Approx (80.0 / 4.0));
        CHECK (curve.whole().maximumDb == Approx (60.0f));
        CHECK (curve.over (0, 4).meanDb == Approx (10.0));
        CHECK (curve.over (0, 4).numSteps == 2);
        CHECK (curve.over (2, 4).numSteps == 0);
        CHECK (curve.over (2, 4).maximumDb == 0.0f);
        CHECK (curve.over (7, 100).numSteps == 0);
        CHECK (ReductionCurve().whole().numSteps == 0);
    }
}
