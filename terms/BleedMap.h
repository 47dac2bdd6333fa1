#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <vector>

namespace tessivar
{

/** How loud every drum arrives in every microphone of a Group, as the refined method found.

    Rows are microphones, columns are drums: both the tracks that the analysis rendered, one after the other as
    the Group holds them; TrackFindings::bleedPlace tells a track's. Powers are sums of squared spectral magnitudes
    over the whole take, in one unit for the map.
*/
class BleedMap
{
public:
    /** Octaves, more or less; the first band begins at 0 Hz and the last one ends at half the sample rate. */
    static constexpr std::array<double, 7> bandBorders{
        125.0, 250.0, 500.0, 1000.0, 2000.0, 4000.0, 8000.0
    }; // Hz
    static constexpr std::size_t numBands = bandBorders.size() + 1;
    static constexpr std::size_t numFocusSteps = 6; // 0..5; 0 is the source

    explicit BleedMap (std::size_t numDrums) : n (numDrums), powers (n * n * numBands * numFocusSteps) {}

    [[nodiscard]] std::size_t numDrums() const { return n; }

    /** Of a drum in a microphone's track as this whole Focus leaves it. */
    [[nodiscard]] float& power (std::size_t microphone, std::size_t drum, std::size_t band, std::size_t focus)
    {
        return powers[index (microphone, drum, band, focus)];
    }

    [[nodiscard]] float
    power (std::size_t microphone, std::size_t drum, std::size_t band, std::size_t focus) const
    {
        return powers[index (microphone, drum, band, focus)];
    }

    bool operator== (const BleedMap&) const = default;

private:
    [[nodiscard]] std::size_t
    index (std::size_t microphone, std::size_t drum, std::size_t band, std::size_t focus) const
    {
        assert (microphone < n && drum < n && band < numBands && focus < numFocusSteps);
        return ((microphone * n + drum) * numBands + band) * numFocusSteps + focus;
    }

    std::size_t n;
    std::vector<float> powers;
};

} // namespace tessivar
