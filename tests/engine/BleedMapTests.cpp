#include "engine/SuppressionRendering.h"
#include "terms/BleedMap.h"
#include "tests/support/EngineFixtures.h"

#include <cmath>
#include <limits>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Bleed map", "[engine][bleed]")
{
    // Two microphones; the second drum arrives in the first in one band, at -20 dB and less with every Focus.
    BleedMap map (2);

    for (std::size_t focus = 0; focus < BleedMap::numFocusSteps; ++focus)
    {
        map.power (0, 0, 2, focus) = 6.0f;
        map.power (0, 0, 3, focus) = 4.0f;
        map.power (0, 1, 5, focus) = 0.1f * std::pow (0.25f, static_cast<float> (focus));
    }

    SECTION ("levels follow Focus and Fine as the signals do")
    {
        CHECK (map.levelDb (0, 1, std::nullopt, {}) == Approx (-20.0).margin (0.001));
        CHECK (map.levelDb (0, 1, 5, { 1.0f, 0.0f }) == Approx (-26.0206).margin (0.001));
        CHECK (map.levelDb (0, 1, std::nullopt, { 2.5f, 1.0f }) == Approx (-20.0).margin (0.001));
        CHECK (map.levelDb (0, 0, 2, {}) == Approx (-2.2185).margin (0.001));

        for (const auto knobs :
             { KnobValues{ 3.4f, 0.0f }, KnobValues{ 0.9f, 0.3f }, KnobValues{ 5.0f, 0.0f } })
        {
            // As if it were a signal with layers of these amplitudes: what is rendered of it.
            std::array<float, channelLayout::numRendered> frame{};
            const auto layer = [&] (std::size_t focus) { return std::sqrt (map.power (0, 1, 5, focus)); };

            for (std::size_t c = 0; c < frame.size(); ++c)
                frame[c] = c == 0 ? layer (5) : c <= 5 ? layer (5 - c) - layer (6 - c) : layer (0);

            std::array<float, 1> out{};
            renderSuppression (out, frame, SuppressionRule::forSetting (knobs));
            CHECK (
                map.levelDb (0, 1, std::nullopt, knobs)
                == Approx (10.0 * std::log10 (static_cast<double> (out[0] * out[0]) / 10.0)).margin (0.01));
        }
    }

    SECTION ("there is no level where nothing arrives, or of a microphone without a drum")
    {
        CHECK_FALSE (map.levelDb (0, 1, 4, {}));
        CHECK_FALSE (map.levelDb (1, 0, std::nullopt, {}));
        CHECK_FALSE (map.levelDb (1, 1, std::nullopt, {}));
    }

    SECTION ("takes no values that are none")
    {
        auto values = std::vector (map.values().begin(), map.values().end());
        CHECK (BleedMap::of (2, values) == map);
        CHECK_FALSE (BleedMap::of (1, values));

        for (const auto bad : { -1.0f, std::nanf (""), std::numeric_limits<float>::infinity() })
        {
            values[7] = bad;
            CHECK_FALSE (BleedMap::of (2, values));
        }
    }
}
