#pragma once

#include "engine/refinement/RefinementPasses.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tessivar::refinement
{

/** How far what a microphone holds at another drum's hits may count as that drum's leakage, by band: less
    than 1 where the microphone's own drum is hit together with the other one.
*/
class CommonHits
{
public:
    CommonHits (std::size_t numBands, std::size_t tracks)
        : numTracks (tracks), shares (numBands * tracks * tracks, 1.0f)
    {
    }

    /** M x M for M tracks: entry i * M + j is for what drum j leaves in microphone i. */
    [[nodiscard]] std::span<float> ofBand (std::size_t band)
    {
        return std::span (shares).subspan (band * numTracks * numTracks, numTracks * numTracks);
    }

    [[nodiscard]] std::span<const float> ofBand (std::size_t band) const
    {
        return std::span (shares).subspan (band * numTracks * numTracks, numTracks * numTracks);
    }

private:
    std::size_t numTracks;
    std::vector<float> shares;
};

/** Finds the drums that are hit together. Where a microphone is nearly as loud at most hits of another drum
    as at its own, either much leaks into it or its own drum plays too. Leakage is a filtered copy of the
    other drum, so the two spectra are coherent; two drums are not. There the share is the coherence at the
    other drum's hits (averaged over at most 64 frames, the square of its magnitude, without what chance
    gives), by band, over what leakage is coherent at least.

    M transforms and 16 M flops a bin for each of these frames and drum; 0.5 MB for each worker.
*/
[[nodiscard]] std::optional<CommonHits>
findCommonHits (RefinementRun& run, const GatheredPowers& powers, ProgressRange progress);

} // namespace tessivar::refinement
