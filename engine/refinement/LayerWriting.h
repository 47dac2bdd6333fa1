#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** Last pass, track by track: writes the seven channels whose whole Focus values are the refined layers. */
[[nodiscard]] bool writeLayers (RefinementRun& run, std::size_t track, ProgressRange progress);

} // namespace tessivar::refinement
