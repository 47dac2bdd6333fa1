#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** First pass: the smoothed power of every track, and in 16 bits that of its standard output at Focus 4 as
    the first estimate of its own drum, go to the planes in tiles of bins by 256 frames. */
[[nodiscard]] bool gatherPowers (RefinementRun& run, ProgressRange progress);

} // namespace tessivar::refinement
