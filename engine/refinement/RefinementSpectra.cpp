#include "engine/refinement/RefinementSpectra.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "terms/ChannelLayout.h"

#include <algorithm>

namespace tessivar::refinement
{

SpectrumShape::SpectrumShape (const AnalysisShape& shape) : rate (shape.rate), length (shape.lengthInSamples)
{
    rate.frameLength *= 2;
    rate.hop *= 2;
    numBins = static_cast<std::size_t> (rate.numBins());
    binStride = kernels::wholeVectors (numBins);
    numFrames = AnalysisShape::framesForLength (length, rate);
    numSegments = (numFrames + segmentFrames - 1) / segmentFrames;
}

FrameRange SpectrumShape::segment (std::size_t index) const
{
    const auto first = static_cast<std::int64_t> (index) * segmentFrames;
    return { first, std::min (first + segmentFrames, numFrames) };
}

FrameRange SpectrumShape::withNeighbours (FrameRange frames) const
{
    return { std::max (frames.first - 1, std::int64_t{ 0 }), std::min (frames.end + 1, numFrames) };
}

SampleSegment::SampleSegment (const SpectrumShape& shape, std::size_t index, std::int64_t signalLength)
    : start (static_cast<std::int64_t> (index) * segmentFrames * shape.rate.hop)
{
    const auto end = std::min (start + segmentFrames * shape.rate.hop, signalLength);
    length = static_cast<std::size_t> (end - start);
    frames = FrameRange::overlapping (start, end, shape.numFrames, shape.rate);
}

std::size_t SampleSegment::count (const SpectrumShape& shape, std::int64_t signalLength)
{
    const auto samples = segmentFrames * shape.rate.hop;
    return static_cast<std::size_t> ((signalLength + samples - 1) / samples);
}

bool readFrames (SampleSource& source,
                 const SpectrumShape& shape,
                 FrameRange frames,
                 std::vector<float>& samples)
{
    samples.resize (frames.numSamples (shape.rate));

    if (! source.read (frameStart (frames.first, shape.rate), samples))
        return false;

    replaceNonFinite (samples);
    return true;
}

namespace
{
/** Scales the signals and adds up the first, the first two and so on: outputOf (c) takes the sum up to c. */
template <typename OutputOf>
void addUp (const ComponentSource::Signals& signals,
            std::size_t numSignals,
            ComponentLevel level,
            std::size_t n,
            const OutputOf& outputOf)
{
    for (std::size_t c = 0; c < numSignals; ++c)
    {
        auto* const x = signals[c];

        for (std::size_t i = 0; i < n; ++i)
            x[i] = level.applyTo (x[i]);

        if (c > 0)
            for (std::size_t i = 0; i < n; ++i)
                x[i] += signals[c - 1][i];

        if (auto* const output = outputOf (c); output != nullptr)
            std::copy_n (x, n, output);
    }
}
} // namespace

bool StandardOutputReader::read (const RefinementTrack& track,
                                 std::int64_t start,
                                 std::size_t length,
                                 const Outputs& outputs)
{
    const auto limit = start + static_cast<std::int64_t> (length);
    const auto first = std::clamp (std::int64_t{ 0 }, start, limit);
    const auto end = std::clamp (track.ownLength, first, limit);

    for (auto* output : outputs)
        if (output != nullptr)
        {
            std::fill (output, output + (first - start), 0.0f);
            std::fill (output + (end - start), output + length, 0.0f);
        }

    if (first == end)
        return true;

    // Focus 5 keeps one component, Focus 1 five.
    std::size_t numWanted = 0;

    for (std::size_t c = 0; c < channelLayout::numBestComponents; ++c)
        if (outputs[numFocusSteps - 1 - c] != nullptr)
            numWanted = c + 1;

    components.resize (channelLayout::numBestComponents * pieceSamples);

    for (auto position = first; position < end;)
    {
        const auto n =
            static_cast<std::size_t> (std::min (end - position, static_cast<std::int64_t> (pieceSamples)));
        ComponentSource::Signals signals{};

        for (std::size_t c = 0; c < numWanted; ++c)
            signals[c] = components.data() + c * pieceSamples;

        if (! track.standard->read (position, n, signals))
            return false;

        addUp (signals,
               numWanted,
               track.level,
               n,
               [&] (std::size_t c)
               {
                   auto* const output = outputs[numFocusSteps - 1 - c];
                   return output != nullptr ? output + (position - start) : nullptr;
               });
        position += static_cast<std::int64_t> (n);
    }

    return true;
}

PowerStream::PowerStream (const SpectrumShape& s, bool keepsSpectra) : shape (s), smoothed (s.binStride)
{
    for (auto& powers : rows)
        powers = AlignedBuffer (shape.binStride);

    if (keepsSpectra)
        for (auto& bins : spectra)
            bins = AlignedBuffer (static_cast<std::size_t> (shape.rate.frameLength) + 32);
}

AlignedBuffer& PowerStream::row (std::int64_t frame)
{
    return rows[static_cast<std::size_t> (std::clamp (frame, available.first, available.end - 1) % 3)];
}

void PowerStream::open (FrameAnalyser& a, const float* s, FrameRange frames)
{
    analyser = &a;
    samples = s;
    available = shape.withNeighbours (frames);
    current = frames.first - 1;
    upcoming = available.first;
}

const float* PowerStream::next()
{
    ++current;

    for (; upcoming <= std::min (current + 1, available.end - 1); ++upcoming)
    {
        analyser->analyse (samples + (upcoming - available.first) * shape.rate.hop);
        kernels::powers (row (upcoming).data(), analyser->spectrum(), shape.numBins);

        if (auto& bins = spectra[static_cast<std::size_t> (upcoming % 2)]; bins.size() != 0)
            std::copy_n (analyser->spectrum(), 2 * shape.numBins, bins.data());
    }

    kernels::meanOfThree (smoothed.data(),
                          row (current - 1).data(),
                          row (current).data(),
                          row (current + 1).data(),
                          shape.binStride);
    return smoothed.data();
}

} // namespace tessivar::refinement
