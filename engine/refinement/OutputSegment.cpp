#include "engine/refinement/OutputSegment.h"

#include "engine/refinement/LeakageCancelling.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
std::int64_t samplesOfSegment (const SpectrumShape& shape)
{
    return segmentFrames * shape.rate.hop;
}
} // namespace

std::size_t OutputSegment::count (const RefinementRun& run, std::size_t track)
{
    const auto samples = samplesOfSegment (run.shape);
    return static_cast<std::size_t> ((run.tracks[track].ownLength + samples - 1) / samples);
}

OutputSegment::OutputSegment (RefinementRun& r, std::size_t t, std::size_t index, Workspace& workspace)
    : run (r), w (workspace), track (t),
      firstSample (static_cast<std::int64_t> (index) * samplesOfSegment (r.shape))
{
    const auto end = std::min (firstSample + samplesOfSegment (run.shape), run.tracks[track].ownLength);
    numSamples = static_cast<std::size_t> (end - firstSample);
    overlapping = run.shape.framesOf (firstSample, end);
}

AnalysisStatus OutputSegment::open (bool isCancelled)
{
    const auto& shape = run.shape;
    auto& codes = w.codes[0];
    codes.resize (static_cast<std::size_t> (overlapping.size()) * shape.binStride);

    if (! run.planes.read (
            run.powerPlane (track), overlapping.first * static_cast<std::int64_t> (shape.binStride), codes))
        return AnalysisStatus::storageFailed;

    const auto all = shape.withNeighbours (overlapping);

    if (! readFrames (*run.tracks[track].source, shape, all, w.source))
        return AnalysisStatus::readFailed;

    if (! isCancelled)
        return AnalysisStatus::completed;

    const auto* own = source();
    w.uncancelled.assign (own, own + numSamples);
    isUncancelledApart = true;
    return LeakageCancelling::read (run, track, frameStart (all.first, shape.rate), w.source)
               ? AnalysisStatus::completed
               : AnalysisStatus::storageFailed;
}

const std::uint16_t* OutputSegment::mask (std::int64_t frame) const
{
    return w.codes[0].data() + static_cast<std::size_t> (frame - overlapping.first) * run.shape.binStride;
}

const float* OutputSegment::frameSamples (std::int64_t frame) const
{
    return w.source.data() + (frame - run.shape.withNeighbours (overlapping).first) * run.shape.rate.hop;
}

const float* OutputSegment::samplesAhead() const
{
    return w.source.data();
}

const float* OutputSegment::source() const
{
    if (isUncancelledApart)
        return w.uncancelled.data();

    const auto first = run.shape.withNeighbours (overlapping).first;
    return w.source.data() + (firstSample - frameStart (first, run.shape.rate));
}

void OutputSegment::clear (std::size_t signal)
{
    // A frame on either side takes what reaches beyond the segment.
    const auto room = static_cast<std::size_t> (samplesOfSegment (run.shape)) + 2 * margin();
    auto& samples = w.signals[signal];

    if (samples.size() != room)
        samples = AlignedBuffer (room);
    else
        std::fill_n (samples.data(), numSamples + 2 * margin(), 0.0f);
}

void OutputSegment::setSpectrum (const float* spectrum)
{
    w.sourceFrames.fft().prepare (spectrum);
}

void OutputSegment::add (std::size_t signal, std::int64_t frame, const float* gains)
{
    const auto& rate = run.shape.rate;
    w.sourceFrames.fft().inverseGained (w.frame.data(), gains);
    overlapAdd (w.signals[signal].data() + (frameStart (frame, rate) - firstSample + rate.frameLength),
                w.frame.data(),
                run.window.span(),
                2.0f / static_cast<float> (rate.frameLength));
}

const float* OutputSegment::samples (std::size_t signal) const
{
    return w.signals[signal].data() + margin();
}

} // namespace tessivar::refinement
