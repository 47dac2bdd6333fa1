#include "engine/SpectrumColumns.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace tessivar
{

TEST_CASE ("A sine stands in its band at its level", "[spectrum]")
{
    const auto rate = GENERATE (44100.0, 48000.0, 96000.0, 192000.0);
    const auto frequency = GENERATE (60.0, 440.0, 5000.0, 19000.0);
    SpectrumColumns columns (rate);
    std::vector<float> sine (columns.windowLength());

    for (std::size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float> (
            0.1 * std::sin (2.0 * std::numbers::pi * frequency * static_cast<double> (i) / rate));

    // More windows than are transformed at a time, one of them silent.
    std::vector<const float*> windows (17, sine.data());
    windows[3] = nullptr;
    std::vector<float> levels (windows.size() * SpectrumColumns::numBands);
    columns.compute (windows, levels);

    const auto last = levels.end() - SpectrumColumns::numBands;
    const auto loudest = std::max_element (last, levels.end());
    const auto band = static_cast<double> (loudest - last);

    CHECK (columns.frequencyOf (band - 1.5) < frequency + rate / static_cast<double> (sine.size()));
    CHECK (columns.frequencyOf (band + 1.5) > frequency - rate / static_cast<double> (sine.size()));
    CHECK (*loudest < -19.0f);
    CHECK (*loudest > -26.0f); // in low bands, which are narrower than the window tells apart, it is spread
    CHECK (levels[3 * SpectrumColumns::numBands + static_cast<std::size_t> (band)]
           == SpectrumColumns::floorDb);
}

} // namespace tessivar
