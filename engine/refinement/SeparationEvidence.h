#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "terms/WorkControl.h"

#include <cstddef>
#include <vector>

namespace tessivar
{

/** Frequency bands of the evidence: one below 60 Hz, then three an octave, without those that hold no bin. */
class EvidenceBands
{
public:
    EvidenceBands (std::size_t numBins, double binWidthHz);

    [[nodiscard]] std::size_t count() const { return firstBins.size() - 1; }
    [[nodiscard]] std::size_t firstBin (std::size_t band) const { return firstBins[band]; }
    [[nodiscard]] std::size_t endBin (std::size_t band) const { return firstBins[band + 1]; }

private:
    std::vector<std::size_t> firstBins; // and one past the last band
};

/** Evidence that a bin holds the track's own drum: eight pieces, weighed into a mask by a logistic model
    whose nine coefficients were fitted on recordings with known truth.

    Sums over bands are gathered first; weigh() turns them into the part of the logit that the bins of a band
    share; the kernels add the bin's own ratio.
*/
class SeparationEvidence
{
public:
    /** Rows have room for at least numFrames frames. */
    SeparationEvidence (const EvidenceBands& bands,
                        std::size_t room,
                        std::size_t numFrames,
                        double hopSeconds);

    /** Sums over the bins of a band, a row of frames each: fitted power of the own drum, leakage, and
        power of the track. */
    [[nodiscard]] float* own (std::size_t band) { return ownSums.data() + band * rowStride; }
    [[nodiscard]] float* leakage (std::size_t band) { return leakageSums.data() + band * rowStride; }
    [[nodiscard]] float* total (std::size_t band) { return totalSums.data() + band * rowStride; }

    /** Returns false when told to stop. The sums are gone afterwards. */
    [[nodiscard]] bool weigh (const WorkControl& control);

    /** After weigh(): the part of the logit that the bins of a band share, a row of frames. */
    [[nodiscard]] const float* common (std::size_t band) const
    {
        return ownSums.data() + band * rowStride; // it has taken their place
    }

    /** Leakage over own power in dB, over the whole track. After weigh(). */
    [[nodiscard]] double leakageDb() const { return leakageLevelDb; }

    /** Weight of a bin's own log ratio ln (P / q), clipped to +-12. */
    static constexpr float binWeight = 0.396f;

private:
    const EvidenceBands& bands;
    const std::size_t numFrames, rowStride;
    const double holdDecay; // a frame
    AlignedBuffer ownSums, leakageSums, totalSums;
    double leakageLevelDb = 0.0;
};

} // namespace tessivar
