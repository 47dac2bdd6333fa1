#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PathKernels.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t binsAtOnce = 16; // of all masked drums: what the first-level cache holds

/** Sums up what the masked drums give in one stretch of every microphone, and subtracts it. */
class StretchSubtraction
{
public:
    StretchSubtraction (const RefinementRun& r,
                        const PathEnds& e,
                        const LeakagePaths& p,
                        const Masks& m,
                        Workspace& workspace)
        : run (r), shape (r.shape), ends (e), paths (p), masks (m), w (workspace)
    {
    }

    [[nodiscard]] AnalysisStatus process (const Stretch& stretch, const Remainders& remainders)
    {
        prepare();

        for (auto block = stretch.firstBlock; block < stretch.endBlock; ++block)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            if (const auto status = read (block); status != AnalysisStatus::completed)
                return status;

            addLeakage();

            for (const auto i : ends.microphones)
                if (! write (i, stretch.completedBy (block), *remainders[i]))
                    return AnalysisStatus::storageFailed;
        }

        return AnalysisStatus::completed;
    }

private:
    [[nodiscard]] SubtractionBuffers& of (std::size_t track) { return w.subtraction[track]; }

    void prepare()
    {
        while (w.subtraction.size() < run.tracks.size())
            w.subtraction.emplace_back (shape);

        // The first frame lacks the one before it, but only the frames that follow reach into the stretch.
        for (const auto i : ends.tracks)
        {
            of (i).frames.restart();
            of (i).last.clear();
            of (i).carry.clear();
        }

        const auto numFloats = drumStride * ends.drums.size();

        if (w.maskedDrums.size() < numFloats)
            w.maskedDrums = AlignedBuffer (numFloats);

        if (w.ones.size() == 0)
        {
            w.ones = AlignedBuffer (shape.numBins);
            std::fill_n (w.ones.data(), shape.numBins, 1.0f);
        }
    }

    /** Sources, and spectra and masks of the drums. */
    [[nodiscard]] AnalysisStatus read (std::int64_t block)
    {
        for (const auto i : ends.tracks)
            if (! readSource (*run.tracks[i].source,
                              of (i).frames.moveTo (block * static_cast<std::int64_t> (blockFrames))))
                return AnalysisStatus::readFailed;

        for (const auto j : ends.drums)
        {
            if (! masks[j]->readBlock (block, of (j).mask))
                return AnalysisStatus::storageFailed;

            w.fft.load (of (j).frames.samples());
            w.fft.forward (of (j).spectrum.data());
        }

        return AnalysisStatus::completed;
    }

    /** Puts the leakage of every microphone where its spectrum was, some bins at a time, for which the masked
        drums lie in the cache. */
    void addLeakage()
    {
        constexpr auto binFloats = 2 * blockFrames;
        std::vector<float*> sums (ends.microphones.size());

        for (std::size_t first = 0; first < shape.numBins; first += binsAtOnce)
        {
            const auto numBins = std::min (binsAtOnce, shape.numBins - first);

            for (std::size_t d = 0; d < ends.drums.size(); ++d)
            {
                auto& drum = of (ends.drums[d]);
                kernels::maskGains (w.gains.data(),
                                    drum.mask.data() + first * blockFrames,
                                    LeakagePaths::maskExponent,
                                    numBins * blockFrames);
                kernels::maskWithDelay (w.maskedDrums.data() + d * drumStride,
                                        drum.last.data() + 2 * first,
                                        drum.spectrum.data() + first * binFloats,
                                        w.gains.data(),
                                        numBins);
            }

            for (std::size_t i = 0; i < sums.size(); ++i)
                sums[i] = of (ends.microphones[i]).spectrum.data() + first * binFloats;

            kernels::addPaths (sums.data(),
                               sums.size(),
                               w.maskedDrums.data(),
                               drumStride,
                               ends.drums.size(),
                               paths.ofBin (first),
                               numBins);
        }
    }

    [[nodiscard]] bool write (std::size_t microphone, const Stretch::Part& part, const SamplePlane& remainder)
    {
        auto& track = of (microphone);
        auto& leakage = w.signals[0].samples;
        w.fft.prepare (track.spectrum.data());
        w.fft.overlapWeighted (leakage.data(), track.carry, w.ones.data(), w.frameGains.data());
        const auto *source = track.frames.samples() + part.offset, *taken = leakage.data() + part.offset;
        auto* const left = w.rendered[0].data();

        for (std::size_t i = 0; i < part.length; ++i)
            left[i] = source[i] - taken[i];

        return remainder.write (part.start, { left, part.length });
    }

    // The masked drums' values, of two frames each, and one float more.
    static constexpr std::size_t drumStride = (binsAtOnce * 4 + 1) * blockFrames;

    const RefinementRun& run;
    const SpectrumShape& shape;
    const PathEnds& ends;
    const LeakagePaths& paths;
    const Masks& masks;
    Workspace& w;
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

    std::set_union (ends.drums.begin(),
                    ends.drums.end(),
                    ends.microphones.begin(),
                    ends.microphones.end(),
                    std::back_inserter (ends.tracks));

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

    LeakagePaths paths (ends.microphones.size(), ends.drums.size(), run.shape.numBins);

    if (! fitPaths (run, model, masks, ends, paths, progress.part (0.0, 0.3)))
        return std::nullopt;

    for (const auto i : ends.microphones)
        remainders[i].emplace (std::move (model.tracks[i].spare));

    const auto stretches = stretchesOf (run.shape, run.shape.length, run.numWorkers());

    if (! run.forEach (
            stretches.size(),
            progress.part (0.3, 1.0),
            [&] (std::size_t item, Workspace& w) {
                return StretchSubtraction (run, ends, paths, masks, w).process (stretches[item], remainders);
            }))
        return std::nullopt;

    return remainders;
}

} // namespace tessivar::refinement
