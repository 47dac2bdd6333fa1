#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <utility>

namespace tessivar::refinement
{

namespace
{
/** Sums up what the masked drums give in one segment of every microphone, and subtracts it. */
class SegmentSubtraction
{
public:
    SegmentSubtraction (const RefinementRun& r,
                        const PathEnds& e,
                        const LeakagePaths& p,
                        const Masks& m,
                        std::size_t index,
                        Workspace& workspace)
        : run (r), ends (e), paths (p), masks (m), w (workspace), buffers (w.subtraction),
          range (r.shape, index, r.shape.length),
          // The first frame's second tap needs the frame before it.
          frames{ std::max (range.frames.first - 1, std::int64_t{ 0 }), range.frames.end }
    {
    }

    [[nodiscard]] AnalysisStatus process (Remainders& remainders)
    {
        prepare();

        if (const auto status = read(); status != AnalysisStatus::completed)
            return status;

        for (auto t = frames.first; t < frames.end; ++t)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            maskDrums (t);

            if (t > frames.first || t == 0)
                for (const auto i : ends.microphones)
                    addLeakage (i, t);
        }

        return write (remainders);
    }

private:
    void prepare()
    {
        const auto numTracks = run.tracks.size(), stride = run.shape.binStride;
        const auto frameLength = static_cast<std::size_t> (run.shape.rate.frameLength);

        if (buffers.sources.size() != numTracks)
        {
            buffers.sources.resize (numTracks);
            buffers.masks.resize (numTracks);
            buffers.leakage.resize (numTracks);
            buffers.drums = AlignedBuffer (numTracks * LeakagePaths::numTaps * 2 * stride);
            buffers.spectrum = AlignedBuffer (frameLength + 32);
            buffers.sums = AlignedBuffer (2 * stride);
        }

        buffers.drums.clear();

        for (const auto i : ends.microphones)
            buffers.leakage[i].clear (range.length, frameLength);
    }

    [[nodiscard]] AnalysisStatus read()
    {
        const auto readSource = [&] (std::size_t track)
        { return readFrames (*run.tracks[track].source, run.shape, frames, buffers.sources[track]); };

        for (const auto j : ends.drums)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            buffers.masks[j].resize (static_cast<std::size_t> (frames.size()) * run.shape.binStride);

            if (! masks[j]->read (frames.first, buffers.masks[j]))
                return AnalysisStatus::storageFailed;

            if (! readSource (j))
                return AnalysisStatus::readFailed;
        }

        for (const auto i : ends.microphones)
            if (std::find (ends.drums.begin(), ends.drums.end(), i) == ends.drums.end() && ! readSource (i))
                return AnalysisStatus::readFailed;

        return AnalysisStatus::completed;
    }

    /** A masked drum's spectrum in this frame or the one before: real parts, then imaginary ones. */
    [[nodiscard]] float* drum (std::size_t track, std::int64_t frame)
    {
        const auto slot = static_cast<std::size_t> (frame + LeakagePaths::numTaps) % LeakagePaths::numTaps;
        return buffers.drums.data() + (track * LeakagePaths::numTaps + slot) * 2 * run.shape.binStride;
    }

    void maskDrums (std::int64_t t)
    {
        const auto stride = run.shape.binStride;
        const auto at = static_cast<std::size_t> (t - frames.first);

        for (const auto j : ends.drums)
        {
            w.sourceFrames.analyse (buffers.sources[j].data()
                                    + at * static_cast<std::size_t> (run.shape.rate.hop));
            kernels::maskGains (
                w.gains.data(), buffers.masks[j].data() + at * stride, LeakagePaths::maskExponent, stride);
            const auto* spectrum = w.sourceFrames.spectrum();
            const auto* gains = w.gains.data();
            auto *real = drum (j, t), *imaginary = real + stride;

            for (std::size_t f = 0; f < run.shape.numBins; ++f)
            {
                real[f] = gains[f] * spectrum[2 * f];
                imaginary[f] = gains[f] * spectrum[2 * f + 1];
            }
        }
    }

    void addLeakage (std::size_t microphone, std::int64_t t)
    {
        const auto stride = run.shape.binStride;
        buffers.sums.clear();
        auto *sumReal = buffers.sums.data(), *sumImaginary = sumReal + stride;

        for (const auto j : ends.drums)
            for (std::size_t tap = 0; j != microphone && tap < LeakagePaths::numTaps; ++tap)
            {
                const auto *hr = paths.row (microphone, j, tap), *hi = hr + stride;
                const auto *zr = drum (j, t - static_cast<std::int64_t> (tap)), *zi = zr + stride;

                for (std::size_t f = 0; f < stride; ++f)
                {
                    sumReal[f] += hr[f] * zr[f] - hi[f] * zi[f];
                    sumImaginary[f] += hr[f] * zi[f] + hi[f] * zr[f];
                }
            }

        for (std::size_t f = 0; f < run.shape.numBins; ++f)
        {
            buffers.spectrum[2 * f] = sumReal[f];
            buffers.spectrum[2 * f + 1] = sumImaginary[f];
        }

        const auto& rate = run.shape.rate;
        w.sourceFrames.fft().inverse (w.frame.data(), buffers.spectrum.data());
        buffers.leakage[microphone].add (frameStart (t, rate) - range.start,
                                         w.frame.data(),
                                         run.window.span(),
                                         2.0f / static_cast<float> (rate.frameLength));
    }

    [[nodiscard]] AnalysisStatus write (Remainders& remainders)
    {
        const auto first = range.start - frameStart (frames.first, run.shape.rate);
        w.rendered.resize (range.length);

        for (const auto i : ends.microphones)
        {
            const auto* source = buffers.sources[i].data() + first;
            const auto* leakage = buffers.leakage[i].samples();

            for (std::size_t x = 0; x < range.length; ++x)
                w.rendered[x] = source[x] - leakage[x];

            if (! remainders[i]->write (range.start, w.rendered))
                return AnalysisStatus::storageFailed;
        }

        return AnalysisStatus::completed;
    }

    const RefinementRun& run;
    const PathEnds& ends;
    const LeakagePaths& paths;
    const Masks& masks;
    Workspace& w;
    SubtractionBuffers& buffers;
    const SampleSegment range;
    const FrameRange frames;
};

/** Which drums to subtract, and where; nothing without a second track. */
PathEnds findEnds (const RefinementRun& run)
{
    PathEnds ends;

    for (std::size_t i = 0; i < run.tracks.size() && run.tracks.size() > 1; ++i)
        if (run.tracks[i].standard != nullptr)
        {
            if (isDrumFound (run.findings (i)))
                ends.drums.push_back (i);

            if (supportedEffect (run.findings (i)) > 0.0)
                ends.microphones.push_back (i);
        }

    return ends;
}
} // namespace

std::optional<Remainders>
subtractLeakage (RefinementRun& run, FittedModel& model, const Masks& masks, ProgressRange progress)
{
    const auto ends = findEnds (run);
    Remainders remainders (run.tracks.size());

    if (ends.drums.empty() || ends.microphones.empty())
        return remainders;

    LeakagePaths paths (run.tracks.size(), run.shape.binStride);

    if (! fitPaths (run, model, masks, ends, paths, progress.part (0.0, 0.3)))
        return std::nullopt;

    for (const auto i : ends.microphones)
        remainders[i].emplace (std::move (model.tracks[i].spare));

    if (! run.forEach (SampleSegment::count (run.shape, run.shape.length),
                       progress.part (0.3, 1.0),
                       [&] (std::size_t item, Workspace& w) {
                           return SegmentSubtraction (run, ends, paths, masks, item, w).process (remainders);
                       }))
        return std::nullopt;

    return remainders;
}

} // namespace tessivar::refinement
