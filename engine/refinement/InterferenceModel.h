#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/refinement/RiseRules.h"
#include "engine/refinement/TwinMicrophones.h"
#include "terms/WorkControl.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** How far each drum is heard in each microphone, bin by bin.

    Every microphone i hears its own drum's power P_i and, through gains L_ij that do not change over time,
    the others': V_i ~ sum over j of L_ij P_j, L_ii = 1. The gains are bounded by what the frames in which j
    is loudest allow, and both are fitted by five multiplicative updates that lower the Itakura-Saito
    divergence (one source a microphone; compare Praetzlich, Bittner, Liutkus, Mueller 2015). Bins are
    independent of each other.
*/
class InterferenceModel
{
public:
    /** For M tracks, of which twins leave nothing in each other; M * M rules for the bounds of the gains, by
        default the wariest. Owns scratch of about 2 * M * 256 floats and numFrames indices; one for each
        worker. */
    InterferenceModel (const TwinMicrophones& twins,
                       std::size_t numFrames,
                       std::span<const RiseRule> rules = {});

    /** Rows of frames of one bin: power V_i and first estimate P_i of the own drum, M rows each, rowStride
        floats apart, 64-byte aligned, with room up to a multiple of 256 frames. On return source holds the
        fitted P_i and power the leakage q_i = max (sum over j other than i of L_ij P_j, 1e-30). Returns
        false when told to stop. */
    [[nodiscard]] bool fit (float* power, float* source, std::size_t rowStride, const WorkControl& control);

    /** The fitted gains of the last bin, M x M, row-major. */
    [[nodiscard]] std::span<const float> gains() const { return gain; }

private:
    /** Puts a track's numLoud loudest frames first in loudest, in any order; of equal ones the earlier. */
    void findLoudest (const float* power);

    [[nodiscard]] bool boundGains (const WorkControl& control);

    /** Lowers the bounds of a drum's gains to what the onsets among its loudest frames allow: a microphone
        that does not rise with it holds its own drum's ring. */
    void boundByRises (std::size_t drum);
    void start();
    void updateGains();

    [[nodiscard]] float* powerOf (std::size_t track) { return rows.power + track * rows.stride; }

    /** The frames of a block, from first on, and the scratch for it. */
    [[nodiscard]] kernels::InterferenceBlock blockAt (std::size_t first);

    /** The same with the scratch filled by the model. */
    [[nodiscard]] kernels::InterferenceBlock modelBlock (std::size_t first);

    struct Rows
    {
        float *power = nullptr, *sources = nullptr;
        std::size_t stride = 0;
    };

    Rows rows; // of the bin in hand
    const std::size_t numTracks, numFrames, numLoud;
    const TwinMicrophones twins;
    std::vector<RiseRule> rules;
    std::vector<float> gain, bound, floors;
    std::vector<double> numerators, denominators;
    AlignedBuffer reciprocals, quotients, peaks;
    std::vector<std::uint32_t> loudest;
    std::vector<float> ratios, ownLevels; // in the loudest frames
};

} // namespace tessivar
