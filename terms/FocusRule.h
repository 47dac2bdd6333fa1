#pragma once

#include "terms/KnobValues.h"
#include "terms/Mathematics.h"

#include <cmath>

namespace tessivar
{

/** Share of the layer of the whole Focus below that still sounds at this Focus: 1 at whole values. */
[[nodiscard]] inline float layerFade (float focus)
{
    return static_cast<float> (
        math::power (static_cast<double> (0.001f), static_cast<double> (focus - std::floor (focus))));
}

/** Share of what is removed that Fine mixes back: (1001^fine - 1) / 1000, exactly 0 and 1 at its ends. */
[[nodiscard]] inline float mixedBack (float fine)
{
    if (fine <= 0.0f)
        return 0.0f;

    return fine >= fineMaximum
               ? 1.0f
               : static_cast<float> ((math::power (1001.0, static_cast<double> (fine)) - 1.0) / 1000.0);
}

} // namespace tessivar
