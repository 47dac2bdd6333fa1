#include "engine/refinement/LeakageCancelling.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/FocusMatching.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/OutputSegment.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
std::int64_t samplesOfSegment (const RefinementRun& run)
{
    return segmentFrames * run.shape.rate.hop;
}

/** Samples lie in the plane of a track as pairs of codes. */
bool transfer (
    RefinementRun& run, std::size_t track, std::int64_t start, std::span<float> samples, bool isWriting)
{
    const auto perSegment = samplesOfSegment (run);
    const auto segment = start / perSegment;
    const auto code = run.tileStart (static_cast<std::size_t> (segment)) + 2 * (start - segment * perSegment);
    const std::span codes (reinterpret_cast<std::uint16_t*> (samples.data()), 2 * samples.size());
    return isWriting ? run.planes.write (run.finePlane (track), code, codes)
                     : run.planes.read (run.finePlane (track), code, codes);
}

/** One segment of all tracks. */
class SegmentOfAll
{
public:
    SegmentOfAll (
        RefinementRun& r, const PathEnds& e, LeakagePaths& p, std::size_t index, Workspace& workspace)
        : run (r), ends (e), paths (p), w (workspace), a (w.allTracks),
          firstSample (static_cast<std::int64_t> (index) * samplesOfSegment (r)),
          endSample (std::min (firstSample + samplesOfSegment (r), r.shape.length)),
          frames (r.shape.framesOf (firstSample, endSample)),
          margin (static_cast<std::size_t> (r.shape.rate.frameLength))
    {
        frames.first = std::max (frames.first - 1, std::int64_t{ 0 }); // for the tap before
    }

    [[nodiscard]] AnalysisStatus process()
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

        return write();
    }

private:
    void prepare()
    {
        const auto numTracks = run.tracks.size();
        const auto stride = run.shape.binStride;
        const auto room = static_cast<std::size_t> (samplesOfSegment (run)) + 2 * margin;

        if (a.sources.size() != numTracks)
        {
            a.sources.resize (numTracks);
            a.codes.resize (numTracks);
            a.leakage.resize (numTracks);
            a.drums = AlignedBuffer (numTracks * LeakagePaths::numTaps * 2 * stride);
            a.spectrum = AlignedBuffer (margin + 32);
            a.sums = AlignedBuffer (2 * stride);
        }

        std::fill_n (a.drums.data(), a.drums.size(), 0.0f);

        for (const auto i : ends.microphones)
            if (a.leakage[i].size() != room)
                a.leakage[i] = AlignedBuffer (room);
            else
                std::fill_n (a.leakage[i].data(), room, 0.0f);
    }

    [[nodiscard]] AnalysisStatus read()
    {
        const auto stride = static_cast<std::int64_t> (run.shape.binStride);
        const auto readSource = [&] (std::size_t track)
        { return readFrames (*run.tracks[track].source, run.shape, frames, a.sources[track]); };

        for (const auto j : ends.drums)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            a.codes[j].resize (static_cast<std::size_t> (frames.size() * stride));

            if (! run.planes.read (run.powerPlane (j), frames.first * stride, a.codes[j]))
                return AnalysisStatus::storageFailed;

            if (! readSource (j))
                return AnalysisStatus::readFailed;
        }

        for (const auto i : ends.microphones)
            if (std::find (ends.drums.begin(), ends.drums.end(), i) == ends.drums.end() && ! readSource (i))
                return AnalysisStatus::readFailed;

        return AnalysisStatus::completed;
    }

    /** Row of a drum's spectrum in the frame itself or the one before it. */
    [[nodiscard]] float* drum (std::size_t track, std::int64_t frame)
    {
        const auto slot = static_cast<std::size_t> (frame + LeakagePaths::numTaps) % LeakagePaths::numTaps;
        return a.drums.data() + (track * LeakagePaths::numTaps + slot) * 2 * run.shape.binStride;
    }

    void maskDrums (std::int64_t t)
    {
        const auto stride = run.shape.binStride;
        const auto at = static_cast<std::size_t> (t - frames.first);

        for (const auto j : ends.drums)
        {
            w.sourceFrames.analyse (a.sources[j].data() + at * static_cast<std::size_t> (run.shape.rate.hop));
            kernels::maskGains (
                w.gains.data(), a.codes[j].data() + at * stride, LeakagePaths::maskExponent, stride);
            const auto* x = w.sourceFrames.spectrum();
            const auto* gains = w.gains.data();
            auto *real = drum (j, t), *imaginary = real + stride;

            for (std::size_t f = 0; f < run.shape.numBins; ++f)
            {
                real[f] = gains[f] * x[2 * f];
                imaginary[f] = gains[f] * x[2 * f + 1];
            }
        }
    }

    void addLeakage (std::size_t microphone, std::int64_t t)
    {
        const auto stride = run.shape.binStride;
        auto *sumReal = a.sums.data(), *sumImaginary = sumReal + stride;
        std::fill_n (sumReal, 2 * stride, 0.0f);

        for (const auto j : ends.drums)
            for (std::size_t tap = 0; j != microphone && tap < LeakagePaths::numTaps; ++tap)
            {
                const auto *hr = paths.real (microphone, j, tap), *hi = paths.imaginary (microphone, j, tap);
                const auto *zr = drum (j, t - static_cast<std::int64_t> (tap)), *zi = zr + stride;

                for (std::size_t f = 0; f < stride; ++f)
                {
                    sumReal[f] += hr[f] * zr[f] - hi[f] * zi[f];
                    sumImaginary[f] += hr[f] * zi[f] + hi[f] * zr[f];
                }
            }

        for (std::size_t f = 0; f < run.shape.numBins; ++f)
        {
            a.spectrum[2 * f] = sumReal[f];
            a.spectrum[2 * f + 1] = sumImaginary[f];
        }

        const auto& rate = run.shape.rate;
        w.sourceFrames.fft().inverse (w.frame.data(), a.spectrum.data());
        overlapAdd (a.leakage[microphone].data() + (frameStart (t, rate) - firstSample + rate.frameLength),
                    w.frame.data(),
                    run.window.span(),
                    2.0f / static_cast<float> (rate.frameLength));
    }

    [[nodiscard]] AnalysisStatus write()
    {
        const auto n = static_cast<std::size_t> (endSample - firstSample);
        const auto ahead = static_cast<std::size_t> (firstSample - frameStart (frames.first, run.shape.rate));
        w.rendered.resize (n);

        for (const auto i : ends.microphones)
        {
            const auto* source = a.sources[i].data() + ahead;
            const auto* leakage = a.leakage[i].data() + margin;

            for (std::size_t x = 0; x < n; ++x)
                w.rendered[x] = source[x] - leakage[x];

            if (! transfer (run, i, firstSample, std::span (w.rendered).first (n), true))
                return AnalysisStatus::storageFailed;
        }

        return AnalysisStatus::completed;
    }

    RefinementRun& run;
    const PathEnds& ends;
    LeakagePaths& paths;
    Workspace& w;
    AllTracks& a;
    const std::int64_t firstSample, endSample;
    FrameRange frames;
    const std::size_t margin;
};
} // namespace

bool LeakageCancelling::cancel (ProgressRange progress)
{
    PathEnds ends;

    for (std::size_t i = 0; i < run.tracks.size(); ++i)
        if (run.tracks[i].standard != nullptr)
        {
            if (isDrumFound (run.analysis (i)))
                ends.drums.push_back (i);

            if (supportedEffect (run.analysis (i)) > 0.0)
                ends.microphones.push_back (i);
        }

    cancelled.assign (run.tracks.size(), 0);

    if (ends.drums.empty() || ends.microphones.empty() || run.tracks.size() < 2)
        return true;

    LeakagePaths paths (run.tracks.size(), run.shape.binStride);

    if (! fitPaths (run, ends, paths, progress.part (0.0, 0.3)))
        return false;

    for (const auto i : ends.microphones)
        cancelled[i] = 1;

    const auto perSegment = samplesOfSegment (run);
    return run.forEach (static_cast<std::size_t> ((run.shape.length + perSegment - 1) / perSegment),
                        progress.part (0.3, 1.0),
                        [&] (std::size_t item, Workspace& w)
                        { return SegmentOfAll (run, ends, paths, item, w).process(); });
}

bool LeakageCancelling::read (RefinementRun& run,
                              std::size_t track,
                              std::int64_t start,
                              std::span<float> samples)
{
    const auto end = start + static_cast<std::int64_t> (samples.size());
    const auto first = std::clamp<std::int64_t> (start, 0, run.shape.length);
    const auto last = std::clamp<std::int64_t> (end, first, run.shape.length);
    std::fill (samples.begin(), samples.end(), 0.0f);

    for (auto position = first; position < last;)
    {
        const auto perSegment = samplesOfSegment (run);
        const auto n = std::min (last - position, (position / perSegment + 1) * perSegment - position);
        const auto piece =
            samples.subspan (static_cast<std::size_t> (position - start), static_cast<std::size_t> (n));

        if (! transfer (run, track, position, piece, false))
            return false;

        position += n;
    }

    return true;
}

} // namespace tessivar::refinement
