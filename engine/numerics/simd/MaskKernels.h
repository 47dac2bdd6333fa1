#pragma once

#include "engine/numerics/simd/Kernel.h"

#include <cstddef>
#include <cstdint>

namespace tessivar::kernels
{

/** Passes that turn powers and evidence into gains. Rows may start anywhere; n is a multiple of 16. No
    operation is fused, and logarithm and exponential are our own polynomials (after Moshier's Cephes, 2e-7
    relative; minimax ones with 2e-5 for gains and for what 16 bits hold), so results are the same on every
    instruction set.

    What is kept between two passes takes 16 bits per bin and frame: a log ratio in steps of 4e-4, a mask as
    its negative logarithm in steps of 6e-4. Half a step is less than 0.003 dB of gain.
*/

inline constexpr float logRatioLimit = 12.0f; // of a bin's own log ratio, in either direction
inline constexpr float logMaskLimit = 40.0f;  // masks are at least exp (-40)

/** Powers of consecutive frames, each averaged with its two neighbours, sixteen frames at a time in lane
    layout (engine/numerics/BlockFft.h): from the spectra of frames t .. t + 15 the means of frames t - 1 .. t
    + 14. history: the powers of the two frames before, two floats a bin; takes those of the last two.
*/
extern const Kernel<void (float* means, float* history, const float* spectrum, std::size_t numBins)>
    smoothPowers;

/** Spectra of the frames before, in lane layout: lane l of a row of 16 takes lane l - 1; lane 0 comes from
    last, a float for each row, which takes lane 15.
*/
extern const Kernel<void (float* spectrum, float* last, std::size_t numRows)> delayFrames;

/** sums[l] = sum of rows[i * 16 + l]: groups of 32 rows, then their sums. */
extern const Kernel<void (float* sums, const float* rows, std::size_t numRows)> sumRows;

/** dest += a. */
extern const Kernel<void (float* dest, const float* a, std::size_t n)> accumulate;

/** dest += weight * clip (ln (a / b), lowest, highest), where a and b count as 1e-30 at least. */
extern const Kernel<void (
    float* dest, const float* a, const float* b, float weight, float lowest, float highest, std::size_t n)>
    addLogRatios;

/** codes = clip (ln (own / leakage), +-logRatioLimit), full scale 32767. */
extern const Kernel<void (std::int16_t* codes, const float* own, const float* leakage, std::size_t n)>
    packLogRatios;

/** mask = -ln m, m = 1 / (1 + exp (-logit)), logit = common + weight * log ratio; 65535 stands for
    logMaskLimit. May work in place. */
extern const Kernel<void (
    std::uint16_t* mask, const std::int16_t* ratios, const float* common, float weight, std::size_t n)>
    packMask;

/** gains = m^exponent. */
extern const Kernel<void (float* gains, const std::uint16_t* mask, float exponent, std::size_t n)> maskGains;

/** logits[bin * 16 + l] = common[l] + weight * log ratio, for sixteen frames of the bins of a band. */
extern const Kernel<void (
    float* logits, const std::int16_t* ratios, const float* common, float weight, std::size_t numBins)>
    bandLogits;

/** logs = log2 (powers + 1e-20). */
extern const Kernel<void (float* logs, const float* powers, std::size_t n)> logarithms;

/** Sixteen frames of what the gains of all layers share, in lane layout. */
struct GainEvidence
{
    const float* logits;       // but for the layer's own part
    const float* logTotals;    // log2 of the track's power
    const std::uint16_t* mask; // as packMask leaves it
    float outputWeight;        // of ln K in the logit, there clipped to -6..0
};

/** gains = G^0.6 m^0.1 K^0.15, G = 1 / (1 + exp (-logit - outputWeight ln K)), K = min (1, sqrt (layer /
    total)), where layer is what smoothPowers makes of history and spectrum.
*/
extern const Kernel<void (
    float* gains, float* history, const float* spectrum, const GainEvidence& evidence, std::size_t numBins)>
    layerGains;

/** The same where the mask m stands for K. */
extern const Kernel<void (float* gains, const GainEvidence& evidence, std::size_t numBins)> maskLayerGains;

/** Sums over the bins of a band for sixteen frames of a track x, of what a subtraction takes from it, s, and
    of what its mask m would take, (1 - m) x: |x - s|^2, |s|^2, |(1 - m) x|^2, Re (s conj ((1 - m) x)) and
    (1 - m) |x|^2, 16 floats each, one after the other. Spectra in lane layout.
*/
extern const Kernel<void (
    float* sums, const float* track, const float* subtracted, const std::uint16_t* mask, std::size_t numBins)>
    subtractionSums;

/** foreign = (1 - m) powers: the part of a track's power that the mask calls leakage. */
extern const Kernel<void (float* foreign, const float* powers, const std::uint16_t* mask, std::size_t n)>
    foreignPowers;

/** What gains keep of a band for sixteen frames, summed over its bins: of leakage, min (foreign,
    (1 - gain^2) powers) gain^2, as gains tell more than the mask does; and of the own drum, (powers -
    foreign) gain^2; 16 floats each, one after the other. */
extern const Kernel<void (
    float* sums, const float* foreign, const float* powers, const float* gains, std::size_t numBins)>
    keptPowers;

} // namespace tessivar::kernels
