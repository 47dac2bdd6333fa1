#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** Fourth pass, track by track: compares the standard output at every whole Focus with the masked track and
    fills the track's analysis: matches, the best match up to every Focus, and the Focus to suggest. */
[[nodiscard]] bool matchFocus (RefinementRun& run, std::size_t track, ProgressRange progress);

/** Whether a drum was found in the track for which the suggestion is sure, or fairly so; call after matchFocus. */
[[nodiscard]] bool isDrumFound (const TrackAnalysis& analysis);

/** How much of what the layers take away goes, 0..1; call after matchFocus. 0 where the evidence contradicts itself, and where
    so little would go (45 dB below the track) that the mask errs more than it mends; 1 from 42 dB on. */
[[nodiscard]] double supportedEffect (const TrackAnalysis& analysis);

} // namespace tessivar::refinement
