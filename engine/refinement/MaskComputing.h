#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** Third pass, track by track: the mask of every bin and frame from its log ratio and the evidence that its
    band shares, in place of the log ratios and in rows of frames. */
[[nodiscard]] bool computeMask (RefinementRun& run,
                                std::size_t track,
                                const SeparationEvidence& evidence,
                                ProgressRange progress);

} // namespace tessivar::refinement
