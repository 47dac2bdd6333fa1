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

/** Evidence that a bin holds the track's own drum, in two steps: eight pieces from the model, weighed into a
    mask by a logistic model, and after the subtraction of leakage ten more, weighed with them into a gain.
    The coefficients of both were fitted on recordings with known truth.

    Sums over bands are gathered first; weigh() turns them into the parts of both logits that the bins of a
    band share, and weighRemainder() adds to the gain's what the remainder's sums tell. The kernels add what
    differs by bin.
*/
class SeparationEvidence
{
public:
    /** Rows have room for at least numFrames frames, in whole vectors. */
    SeparationEvidence (const EvidenceBands& bands,
                        std::size_t room,
                        std::size_t numFrames,
                        double hopSeconds);

    /** How many frames hold something, of which the loudest are what levels are relative to; all of them
        until told. */
    void setNumSounding (std::size_t frames) { numSounding = frames; }

    /** Sums over the bins of a band, a row of frames each: fitted power of the own drum, leakage, and
        power of the track. */
    [[nodiscard]] float* own (std::size_t band) { return rowOf (ownSums, band); }
    [[nodiscard]] float* leakage (std::size_t band) { return rowOf (leakageSums, band); }
    [[nodiscard]] float* total (std::size_t band) { return rowOf (totalSums, band); }

    /** Returns false when told to stop. The sums are gone afterwards but for those of total(). */
    [[nodiscard]] bool weigh (const WorkControl& control);

    /** From now on total() is for the power of what a subtraction leaves, not yet averaged over neighbouring
        frames; all zeros at first. */
    void beginRemainder();

    /** From beginRemainder() on, when maskLogit() is gone: room for the power that the mask takes from
        the track, not averaged either; all zeros at first. */
    [[nodiscard]] float* foreign (std::size_t band) { return rowOf (ownSums, band); }
    [[nodiscard]] const float* foreign (std::size_t band) const { return rowOf (ownSums, band); }

    /** Whether beginRemainder() was called. */
    [[nodiscard]] bool isSubtracted() const { return hasRemainder; }

    /** Adds to the gain's logit what the remainder tells, or the track where nothing is subtracted. Returns
        false when told to stop. total() is gone afterwards. */
    [[nodiscard]] bool weighRemainder (const WorkControl& control);

    /** After weigh() and weighRemainder(): the parts of the logits that the bins of a band share, a row of
        frames. */
    [[nodiscard]] const float* maskLogit (std::size_t band) const { return rowOf (ownSums, band); }
    [[nodiscard]] const float* gainLogit (std::size_t band) const { return rowOf (leakageSums, band); }

    /** Leakage over own power in dB, over the whole track. After weigh(). */
    [[nodiscard]] double leakageDb() const { return leakageLevelDb; }

    /** How often the own drum clearly begins. After weigh(). */
    [[nodiscard]] std::size_t numOnsets() const { return onsetCount; }

    /** Weights of a bin's own log ratio ln (P / q), clipped to +-12. */
    static constexpr float maskRatioWeight = 0.396f, gainRatioWeight = 0.147f;

    /** Weight of ln K in the gain's logit, where K is the standard output's amplitude over the remainder's,
        clipped to -6..0. */
    static constexpr float gainOutputWeight = 1.104f;

private:
    // The sums make room for what is made of them.
    [[nodiscard]] float* rowOf (AlignedBuffer& rows, std::size_t band) const
    {
        return rows.data() + band * rowStride;
    }

    [[nodiscard]] const float* rowOf (const AlignedBuffer& rows, std::size_t band) const
    {
        return rows.data() + band * rowStride;
    }

    [[nodiscard]] std::size_t roomOfRow() const; // whole vectors of frames

    /** Rows of frames: dest += weight * clip (ln (a / b), -12, highest). */
    void addLogRatios (float* dest, const float* a, const float* b, double weight, double highest) const;

    const EvidenceBands& bands;
    const std::size_t numFrames, rowStride;
    std::size_t numSounding;
    const double hopSeconds;
    AlignedBuffer ownSums, leakageSums, totalSums;
    std::vector<double> onsets; // their strength
    std::size_t onsetCount = 0;
    bool hasRemainder = false;
    double leakageLevelDb = 0.0;
};

} // namespace tessivar
