#pragma once

#include "engine/refinement/RefinementSpectra.h"

#include <cstddef>

namespace tessivar::refinement
{

/** Powers of two microphones in one bin and what they have in common, summed over frames. */
struct CrossPower
{
    /** Adds the first frames of a bin of two spectra in lane layout. */
    void add (const float* a, const float* b, std::size_t numFrames)
    {
        for (std::size_t l = 0; l < numFrames; ++l)
        {
            const auto aRe = static_cast<double> (a[l]), aIm = static_cast<double> (a[l + blockFrames]),
                       bRe = static_cast<double> (b[l]), bIm = static_cast<double> (b[l + blockFrames]);
            powerA += aRe * aRe + aIm * aIm;
            powerB += bRe * bRe + bIm * bIm;
            re += aRe * bRe + aIm * bIm;
            im += aIm * bRe - aRe * bIm;
        }
    }

    /** Products of both powers and of what is common: their ratio is the coherence, 0..1. */
    [[nodiscard]] double powers() const { return powerA * powerB; }
    [[nodiscard]] double common() const { return re * re + im * im; }

private:
    double powerA = 0.0, powerB = 0.0, re = 0.0, im = 0.0;
};

/** A coherence without what chance gives so few independent frames. */
[[nodiscard]] inline double beyondChance (double coherence, double numIndependent)
{
    const auto chance = 1.0 / numIndependent;
    return (coherence - chance) / (1.0 - chance);
}

} // namespace tessivar::refinement
