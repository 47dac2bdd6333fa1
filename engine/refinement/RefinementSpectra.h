#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/refinement/RefinedLayers.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** What the refinement reads: spectra of tracks and of their standard outputs, a segment of frames at a time. */
namespace refinement
{

inline constexpr std::int64_t segmentFrames = 256;
inline constexpr std::size_t tileFrames = static_cast<std::size_t> (segmentFrames);
inline constexpr int numFocusSteps = 6; // whole Focus values 0..5

/** dest (columns x rows) = transposed source (rows x columns), both row by row; in blocks, so that neither side walks
    through the cache a line at a time. */
void transpose (float* dest, const float* source, std::size_t rows, std::size_t columns);

/** Sizes of the refinement's own spectra: twice the frame length of the analysis. */
struct SpectrumShape
{
    explicit SpectrumShape (const AnalysisShape& shape)
    {
        rate = shape.rate;
        rate.frameLength *= 2;
        rate.hop *= 2;
        numBins = static_cast<std::size_t> (rate.numBins());
        numFrames = AnalysisShape::framesForLength (shape.lengthInSamples, rate);
        numSegments = (numFrames + segmentFrames - 1) / segmentFrames;
        length = shape.lengthInSamples;
    }

    RateParameters rate; // only frame length and hop count
    std::size_t numBins = 0;
    std::int64_t numFrames = 0, numSegments = 0, length = 0;
};

/** A stretch of the standard method's seven channels of a track, read once for all Focus values that are looked at. */
class StandardChannels
{
public:
    explicit StandardChannels (const RefinementTrack& t) : track (t) {}

    /** Holds samples start .. start + length - 1 of the track from now on; false when they can't be read. */
    [[nodiscard]] bool load (std::int64_t start, std::int64_t length);

    /** The output at a whole Focus 1..5, Fine 0: the best components that it keeps, summed in order. Zeros outside the track. */
    void output (int focus, std::int64_t start, std::span<float> dest) const;

private:
    const RefinementTrack& track;
    std::vector<float> frames;
    std::int64_t first = 0, end = 0;
};

/** The standard output of a track at one whole Focus as a signal; channels must hold what is read. */
class StandardOutput : public SampleSource
{
public:
    StandardOutput (const RefinementTrack& t, const StandardChannels& c, int f)
        : track (t), channels (c), focus (f)
    {
    }

    std::int64_t lengthInSamples() const override { return track.ownLength; }

    bool read (std::int64_t start, std::span<float> dest) override
    {
        channels.output (focus, start, dest);
        return true;
    }

private:
    const RefinementTrack& track;
    const StandardChannels& channels;
    const int focus;
};

/** Spectra of consecutive frames of a signal, one for each worker. */
class SpectrumReader
{
public:
    SpectrumReader (const SpectrumShape& s, std::span<const float> window) : shape (s), analyser (window) {}

    /** Makes frames first .. end - 1 available one after the other; false when the source can't be read. */
    bool open (SampleSource& source, std::int64_t first, std::int64_t end)
    {
        firstFrame = first;
        block.resize (static_cast<std::size_t> ((end - first - 1) * shape.rate.hop + shape.rate.frameLength));
        const auto isRead = source.read (frameStart (first, shape.rate), block);
        replaceNonFinite (block);
        return isRead;
    }

    /** The unscaled spectrum of a frame, valid until the next call. */
    const float* spectrum (std::int64_t frame)
    {
        analyser.analyse (block.data() + (frame - firstFrame) * shape.rate.hop);
        return analyser.spectrum();
    }

    RealFft& fft() { return analyser.fft(); }

private:
    const SpectrumShape& shape;
    FrameAnalyser analyser;
    std::vector<float> block;
    std::int64_t firstFrame = 0;
};

/** Everything one worker owns. */
struct Workspace
{
    Workspace (const SpectrumShape& shape, std::span<const float> window)
        : reader (shape, window), stride ((shape.numBins + 15) / 16 * 16), smoothed (stride),
          spectrum (shape.numBins * 2 + 64), output (static_cast<std::size_t> (shape.rate.frameLength)),
          gains (stride), mask (stride)
    {
        for (auto& row : powerRows)
            row = AlignedBuffer (stride);
    }

    SpectrumReader reader;
    std::size_t stride; // floats of a row of bins
    std::array<AlignedBuffer, 3> powerRows;
    AlignedBuffer smoothed, spectrum, output, gains, mask;
};

} // namespace refinement
} // namespace tessivar
