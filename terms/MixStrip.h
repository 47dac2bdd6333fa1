#pragma once

#include "terms/Mathematics.h"

namespace tessivar
{

/** How a track is heard while all tracks of its Group play together. An aid to listening: no export knows
    it. */
struct MixStrip
{
    static constexpr float lowestDb = -60.0f, highestDb = 6.0f;

    float faderDb = 0.0f; // lowestDb..highestDb; the lowest is silence
    bool solo = false;
    bool mute = false; // comes before solo

    bool operator== (const MixStrip&) const = default;

    /** Clamped to the range; not a number counts as 0 dB. */
    [[nodiscard]] constexpr MixStrip sanitised() const
    {
        auto result = *this;
        result.faderDb = faderDb >= highestDb  ? highestDb
                         : faderDb >= lowestDb ? faderDb
                         : faderDb < lowestDb  ? lowestDb
                                               : 0.0f;
        return result;
    }

    /** The fader's linear gain. */
    [[nodiscard]] float gain() const
    {
        return faderDb > lowestDb
                   ? static_cast<float> (math::power (10.0, static_cast<double> (faderDb) / 20.0))
                   : 0.0f;
    }
};

} // namespace tessivar
