#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/refinement/RefinedLayers.h"
#include "terms/TrackFindings.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tessivar::refinement
{

inline constexpr std::int64_t segmentFrames = 256;
inline constexpr std::size_t tileFrames = static_cast<std::size_t> (segmentFrames);
inline constexpr int numFocusSteps = TrackFindings::numFocusSteps;

/** Sizes of the refinement's spectra: frames twice as long as those of the analysis. */
struct SpectrumShape
{
    explicit SpectrumShape (const AnalysisShape& shape);

    /** Frames of a segment of 256. */
    [[nodiscard]] FrameRange segment (std::size_t index) const;

    /** The frames and one more on either side, where there is one. */
    [[nodiscard]] FrameRange withNeighbours (FrameRange frames) const;

    [[nodiscard]] double binWidthHz() const
    {
        return static_cast<double> (rate.sampleRate) / rate.frameLength;
    }
    [[nodiscard]] std::size_t tileCodes() const { return binStride * tileFrames; }

    RateParameters rate; // with frame length and hop doubled
    std::size_t numBins = 0;
    std::size_t binStride = 0; // bins of a row, in whole vectors
    std::int64_t numFrames = 0, numSegments = 0, length = 0;
};

/** A stretch of 256 hops of a signal, and the frames that overlap it. */
struct SampleSegment
{
    SampleSegment (const SpectrumShape& shape, std::size_t index, std::int64_t signalLength);

    /** Segments of a signal. */
    [[nodiscard]] static std::size_t count (const SpectrumShape& shape, std::int64_t signalLength);

    std::int64_t start = 0;
    std::size_t length = 0;
    FrameRange frames;
};

/** Samples of a source that these frames span, non-finite ones as 0. False when they can't be read. */
[[nodiscard]] bool
readFrames (SampleSource& source, const SpectrumShape& shape, FrameRange frames, std::vector<float>& samples);

/** Reads the standard method's components, in pieces that stay in the cache, and adds them up to outputs.
*/
class StandardOutputReader
{
public:
    static constexpr std::size_t pieceSamples = 4096;

    using Outputs = std::array<float*, numFocusSteps>;

    /** The outputs at Focus 1..5, Fine 0, of samples start .. start + length - 1, zeros outside the track:
        the best components that each keeps, at their level, summed in order. Null pointers and Focus 0 are
        skipped. False when the components can't be read. */
    [[nodiscard]] bool
    read (const RefinementTrack& track, std::int64_t start, std::size_t length, const Outputs& outputs);

private:
    std::vector<float> components;
};

/** Power of consecutive frames, averaged over a frame and its two neighbours; edges are repeated. */
class PowerStream
{
public:
    /** keepsSpectra: whether spectrum() is needed. */
    PowerStream (const SpectrumShape& shape, bool keepsSpectra);

    /** Starts at the first of the frames. samples begin where the frames with their neighbours do, and must
        outlive the use. The analyser may serve other streams between two calls of next(). */
    void open (FrameAnalyser& analyser, const float* samples, FrameRange frames);

    /** Power of the next frame, binStride values, zeros past the last bin; valid until the next call. */
    const float* next();

    /** Unscaled spectrum of the frame that next() gave. */
    [[nodiscard]] const float* spectrum() const
    {
        return spectra[static_cast<std::size_t> (current % 2)].data();
    }

private:
    [[nodiscard]] AlignedBuffer& row (std::int64_t frame);

    const SpectrumShape& shape;
    std::array<AlignedBuffer, 3> rows;
    std::array<AlignedBuffer, 2> spectra;
    AlignedBuffer smoothed;
    FrameAnalyser* analyser = nullptr;
    const float* samples = nullptr;
    FrameRange available;
    std::int64_t current = 0, upcoming = 0;
};

} // namespace tessivar::refinement
