#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** Last pass, track by track: writes the seven channels whose whole Focus values are the refined layers. isCancelled: the layers
    are made of what LeakageCancelling has left of the track. */
[[nodiscard]] bool
writeLayers (RefinementRun& run, std::size_t track, bool isCancelled, ProgressRange progress);

} // namespace tessivar::refinement
