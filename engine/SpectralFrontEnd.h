#pragma once

#include "engine/AnalysisData.h"
#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Sets samples that are NaN or infinite to 0 and returns how many there were. */
std::int64_t replaceNonFinite (std::span<float> samples);

/** A track as the analysis sees it: tom templates first where the Group is padded, then the track's samples,
    then zeros to the Group's length. Reads as zeros on both sides, so that frames need no special case at the
    ends.
*/
class PaddedSignal
{
public:
    /** source and data must outlive this. */
    PaddedSignal (SampleSource& source,
                  DrumType drumType,
                  const AnalysisShape& shape,
                  const AnalysisData& data);

    /** Samples from padded position start on; positions before 0 and past the end are zeros. Non-finite
        samples read as 0. Returns false when the source can't be read. May be called from several threads. */
    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest) const;

private:
    SampleSource& source;
    std::span<const float> drumTemplate; // empty: none
    std::int64_t paddingSamples;
};

/** Where a frame of a padded signal starts: a frame of zeros leads the signal. */
[[nodiscard]] inline std::int64_t frameStart (std::int64_t frame, const RateParameters& rate)
{
    return frame * rate.hop - rate.frameLength;
}

/** Frames first .. end - 1. */
struct FrameRange
{
    std::int64_t first = 0, end = 0;

    [[nodiscard]] std::int64_t size() const { return end - first; }

    /** Samples that the frames span, from frameStart (first, rate) on. */
    [[nodiscard]] std::size_t numSamples (const RateParameters& rate) const
    {
        return static_cast<std::size_t> ((size() - 1) * rate.hop + rate.frameLength);
    }

    /** The frames, of numFrames, that overlap samples start .. end - 1 of a padded signal. */
    [[nodiscard]] static FrameRange
    overlapping (std::int64_t start, std::int64_t end, std::int64_t numFrames, const RateParameters& rate)
    {
        return { start / rate.hop + 1,
                 std::min (numFrames, (end + rate.frameLength + rate.hop - 1) / rate.hop) };
    }
};

/** A mel filter bank without its zeros: a run of bins for each band. Weights apply to magnitudes. */
class MelBands
{
public:
    /** bank: 80 x numBins, column-major. */
    MelBands (std::span<const float> bank, std::size_t numBins);

    /** (sum of weights times magnitudes)^2 of the 80 bands, for sixteen frames in lane layout. The squaring
        comes after the bank by design: the bank weights magnitudes, not powers. */
    void melPower (float* dest, const float* magnitudes) const;

private:
    std::vector<std::size_t> firstBin, sizes;
    std::vector<float> weights; // band after band
};

/** Mel power and energies of a track's frames; one for each worker. */
class MelAnalyser
{
public:
    /** window: a weight for each sample of a frame; it and the bands must outlive this. */
    MelAnalyser (std::span<const float> window, const MelBands& bands);

    /** melPower: frame after frame, stride floats apart, 80 floats each; energies: sums of squares of the
        windowed samples, one a frame. Returns false when the source can't be read. */
    [[nodiscard]] bool analyse (const PaddedSignal& signal,
                                FrameRange frames,
                                const RateParameters& rate,
                                float* melPower,
                                std::size_t stride,
                                double* energies);

private:
    const MelBands& bands;
    BlockFft fft;
    std::vector<float> samples;
    AlignedBuffer spectrum, magnitudes, power;
};

} // namespace tessivar
