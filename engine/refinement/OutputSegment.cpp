#include "engine/refinement/OutputSegment.h"

namespace tessivar::refinement
{

OutputSegment::OutputSegment (const RefinementRun& r, std::size_t t, std::size_t index, Workspace& workspace)
    : range (r.shape, index, r.tracks[t].ownLength), available (r.shape.withNeighbours (range.frames)),
      run (r), w (workspace), track (t)
{
}

AnalysisStatus OutputSegment::open (const MaskPlane& mask, const std::optional<SamplePlane>& remainder)
{
    auto& codes = w.codes[0];
    codes.resize (static_cast<std::size_t> (range.frames.size()) * run.shape.binStride);

    if (! mask.read (range.frames.first, codes))
        return AnalysisStatus::storageFailed;

    if (! readFrames (*run.tracks[track].source, run.shape, available, w.source))
        return AnalysisStatus::readFailed;

    if (! remainder)
        return AnalysisStatus::completed;

    const auto* own = source();
    w.untouched.assign (own, own + range.length);
    isSourceApart = true;
    return completedIf (remainder->read (frameStart (available.first, run.shape.rate), w.source),
                        AnalysisStatus::storageFailed);
}

const std::uint16_t* OutputSegment::mask (std::int64_t frame) const
{
    return w.codes[0].data() + static_cast<std::size_t> (frame - range.frames.first) * run.shape.binStride;
}

const float* OutputSegment::frameSamples (std::int64_t frame) const
{
    return w.source.data() + (frame - available.first) * run.shape.rate.hop;
}

const float* OutputSegment::source() const
{
    return isSourceApart ? w.untouched.data()
                         : w.source.data() + (range.start - frameStart (available.first, run.shape.rate));
}

void OutputSegment::clear (std::size_t signal)
{
    w.signals[signal].clear (range.length, static_cast<std::size_t> (run.shape.rate.frameLength));
}

void OutputSegment::setSpectrum (const float* spectrum)
{
    w.sourceFrames.fft().prepare (spectrum);
}

void OutputSegment::add (std::size_t signal, std::int64_t frame, const float* gains)
{
    const auto& rate = run.shape.rate;
    w.sourceFrames.fft().inverseGained (w.frame.data(), gains);
    w.signals[signal].add (frameStart (frame, rate) - range.start,
                           w.frame.data(),
                           run.window.span(),
                           2.0f / static_cast<float> (rate.frameLength));
}

} // namespace tessivar::refinement
