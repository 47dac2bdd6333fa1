#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/refinement/RiseRules.h"
#include "engine/refinement/SilentFrames.h"
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

    Frames in which a microphone is silent, muted as it were, say nothing about its gains nor, through it,
    about the drums.
*/
class InterferenceModel
{
public:
    /** For M tracks, of which twins leave nothing in each other; M * M rules for the bounds of the gains, by
        default the wariest. Owns scratch of about 2 * M * 256 floats and numFrames indices, and two rows of
        floats for each track that is ever silent and one more; one for each worker. */
    InterferenceModel (const TwinMicrophones& twins,
                       std::size_t numFrames,
                       std::span<const RiseRule> rules = {},
                       const SilentFrames& silent = {});

    /** From now on the bounds of the gains are multiplied with these, M x M: 0..1. */
    void setShares (std::span<const float> sharesToUse) { shares = sharesToUse; }

    /** Rows of frames of one bin: power V_i and first estimate P_i of the own drum, M rows each, rowStride
        floats apart, 64-byte aligned, with room up to a multiple of 256 frames. On return source holds the
        fitted P_i and power the leakage q_i = max (sum over j other than i of L_ij P_j, 1e-30). Returns
        false when told to stop. */
    [[nodiscard]] bool fit (float* power, float* source, std::size_t rowStride, const WorkControl& control);

    /** The fitted gains of the last bin, M x M, row-major. */
    [[nodiscard]] std::span<const float> gains() const { return gain; }

private:
    /** Puts a row's numLoud loudest frames first in loudest, in any order; of equal ones the earlier. */
    void findLoudest (const float* power, std::size_t numLoud);

    [[nodiscard]] bool boundGains (const WorkControl& control);

    /** Bounds a drum's gains into these microphones by what its loudest frames allow. */
    void boundGains (std::size_t drum, std::size_t numLoud, std::span<const std::size_t> microphones);

    /** Lowers the bounds to what the onsets among the loudest frames allow: a microphone that does not rise
        with the drum holds its own drum's ring. */
    void boundByRises (std::size_t drum, std::size_t numLoud, std::span<const std::size_t> microphones);
    void start();
    void updateGains();

    [[nodiscard]] float* powerOf (std::size_t track) { return rows.power + track * rows.stride; }

    /** The frames of a block, from first on, and the scratch for it. */
    [[nodiscard]] kernels::InterferenceBlock blockAt (std::size_t first);

    /** Which of a microphone's frames to leave out. */
    enum class Silence
    {
        itself,
        withNeighbours
    };

    /** The same with the scratch filled by the model. */
    [[nodiscard]] kernels::InterferenceBlock modelBlock (std::size_t first, Silence leftOut);

    struct Rows
    {
        float *power = nullptr, *sources = nullptr;
        std::size_t stride = 0;
    };

    Rows rows; // of the bin in hand
    const std::size_t numTracks, numFrames;
    const TwinMicrophones twins;
    std::vector<RiseRule> rules;
    std::span<const float> shares;
    std::vector<float> gain, bound, floors;
    std::vector<double> numerators, denominators;
    AlignedBuffer reciprocals, quotients, peaks;
    std::vector<std::uint32_t> loudest;
    std::vector<float> ratios, ownLevels; // in the loudest frames

    /** A microphone that is silent in some frames. */
    struct MutedMicrophone
    {
        std::size_t track = 0;
        AlignedBuffer sounding, distant;       // a row of frames: 0 where it is silent, or close to that
        std::vector<std::size_t> numWithDrums; // distant frames in which a drum's track sounds, by drum
    };

    std::vector<MutedMicrophone> muted;
    std::vector<std::size_t> unmuted, numSounding; // other microphones; frames of each track
    AlignedBuffer distantPower;                    // of a drum, where a microphone is not muted
};

} // namespace tessivar
