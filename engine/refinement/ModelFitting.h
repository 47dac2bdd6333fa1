#pragma once

#include "engine/refinement/RefinementRun.h"

#include <vector>

namespace tessivar::refinement
{

/** Second pass: fits the interference model to the powers in the planes, band by band. Sums the bands into
    the evidence (one for each track) and puts the log ratio of own drum and leakage in place of a track's
    power, in the same tiles. */
[[nodiscard]] bool
fitModel (RefinementRun& run, std::vector<SeparationEvidence>& evidence, ProgressRange progress);

/** Bytes that a worker holds meanwhile, at least the room for one bin of all tracks. */
[[nodiscard]] std::uint64_t modelBytes (const SpectrumShape& shape, std::size_t numTracks);

} // namespace tessivar::refinement
