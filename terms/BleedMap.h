#pragma once

#include "terms/FocusRule.h"
#include "terms/KnobValues.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tessivar
{

/** How loud every drum arrives in every microphone of a Group, as the refined method found.

    Rows are microphones, columns are drums: both the tracks that the analysis rendered, one after the other
    as the Group holds them; TrackFindings::bleedPlace tells a track's. Powers are sums of squared spectral
    magnitudes over the frames in which the microphone hears anything, in one unit for the map. Two
    microphones on one drum (TrackFindings::sharedDrum) have no path between them: their powers in each
    other are 0, as are those of drums that the model found nothing of.

    An estimate. What a microphone's mask takes is its leakage, what its layers leave of that is told bin by
    bin; band by band (three an octave) and frame by frame it goes to the drums by what the interference
    model says of each. Some more may seem left under loud hits than is. Where nothing is subtracted the
    model's own powers stand. After an analysis for known knobs the steps that these don't need stand as the
    source's.
*/
class BleedMap
{
public:
    /** Octaves, as wide as three bands of the model's; the first begins at 0 Hz and the last one ends at
        half the sample rate. */
    static constexpr std::array<double, 7> bandBorders{
        120.0, 240.0, 480.0, 960.0, 1920.0, 3840.0, 7680.0
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

    /** Of a drum in a microphone's track with these knobs. Between whole Focus values the amplitudes
        fade as the layers do, and Fine mixes the source back. */
    [[nodiscard]] double
    powerAt (std::size_t microphone, std::size_t drum, std::size_t band, KnobValues knobs) const
    {
        const auto [focus, fine] = knobs.sanitised();
        const auto whole = static_cast<std::size_t> (focus);
        const auto amplitude = [&] (std::size_t step)
        { return std::sqrt (static_cast<double> (power (microphone, drum, band, step))); };
        const auto next = amplitude (std::min (whole + 1, numFocusSteps - 1));
        const auto kept = next + static_cast<double> (layerFade (focus)) * (amplitude (whole) - next);
        const auto result = kept + static_cast<double> (mixedBack (fine)) * (amplitude (0) - kept);
        return result * result;
    }

    /** dB of a drum in a microphone's track with these knobs, in one band or in all, against the
        microphone's own drum as a whole in its source: bands add up, and a drum in its own microphone
        shows what the knobs take of it. Nothing where none of it arrives. */
    [[nodiscard]] std::optional<double> levelDb (std::size_t microphone,
                                                 std::size_t drum,
                                                 std::optional<std::size_t> band,
                                                 KnobValues knobs) const
    {
        const auto sum = [&] (std::size_t of, std::optional<std::size_t> one, KnobValues at)
        {
            auto total = 0.0;

            for (std::size_t b = 0; b < numBands; ++b)
                if (! one || b == *one)
                    total += powerAt (microphone, of, b, at);

            return total;
        };

        const auto own = sum (microphone, std::nullopt, {}), arriving = sum (drum, band, knobs);
        return own > 0.0 && arriving > 0.0 ? std::optional (10.0 * math::log10 (arriving / own))
                                           : std::nullopt;
    }

    /** All powers, in the order microphone, drum, band, Focus. */
    [[nodiscard]] std::span<const float> values() const { return powers; }

    /** The map of these values; nothing unless there are as many as numDrums makes, finite and >= 0. */
    [[nodiscard]] static std::optional<BleedMap> of (std::size_t numDrums, std::vector<float> values)
    {
        BleedMap map (numDrums);

        if (values.size() != map.powers.size()
            || ! std::all_of (values.begin(),
                              values.end(),
                              [] (float value) { return std::isfinite (value) && value >= 0.0f; }))
            return std::nullopt;

        map.powers = std::move (values);
        return map;
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
