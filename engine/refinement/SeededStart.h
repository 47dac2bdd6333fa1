#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/numerics/MatrixView.h"
#include "terms/DrumType.h"

#include <span>

namespace tessivar
{

/** Replaces rows of random start activations by when the close microphones hear their drums.

    v  stacked mel power, 80 rows for each active track; h  10 x frames, filled with the random start;
    drumTypes of the active tracks, and how many of their frames hold nothing. For close microphone k (in
    Group order, at most ten) with frame energy E_k, e_k = E_k / the 98 % quantile of all but its numSilent[k]
    quietest frames: h[k, t] = clip (min (1, e_k) e_k / sum of e over all active tracks, 0.001, 1). A track
    without energy gets no row; other rows stay random. So which drum a component carries does not depend on
    the random start.
*/
void seedActivations (MatrixView<const float> v,
                      std::span<const DrumType> drumTypes,
                      std::span<const std::size_t> numSilent,
                      MatrixView<float> h);

} // namespace tessivar
