#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PathKernels.h"
#include "engine/refinement/LeakagePaths.h"
#include "engine/refinement/RefinementPasses.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t binsAtOnce = 16; // of all masked drums: what the first-level cache holds

/** What the subtraction takes from a track and what its mask would take, by frame. */
struct TakenSums
{
    explicit TakenSums (std::size_t numFrames) : taken (numFrames), masked (numFrames), product (numFrames) {}

    std::vector<float> taken, masked, product;
};

/** Sums up what the masked drums give in one stretch of every microphone, and subtracts it. */
class StretchSubtraction
{
public:
    StretchSubtraction (const RefinementRun& r,
                        FittedModel& fitted,
                        const PathEnds& e,
                        const LeakagePaths& p,
                        const Masks& m,
                        std::vector<TakenSums>& sums,
                        Workspace& workspace)
        : run (r), shape (r.shape), model (fitted), ends (e), paths (p), masks (m), taken (sums),
          w (workspace)
    {
    }

    [[nodiscard]] AnalysisStatus
    process (const Stretch& stretch, const Remainders& remainders, LowSignals& low)
    {
        prepare();

        for (auto block = stretch.firstBlock; block < stretch.endBlock; ++block)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            if (const auto status = read (block); status != AnalysisStatus::completed)
                return status;

            addLeakage();
            sumUp (stretch, block);
            writeLowBand (stretch.completedBy (block), low);

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
            of (i).lowDrumCarry.clear();
            of (i).lowRemainderCarry.clear();
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

    /** Sources, spectra and masks. */
    [[nodiscard]] AnalysisStatus read (std::int64_t block)
    {
        for (const auto i : ends.tracks)
            if (! readSource (*run.tracks[i].source,
                              of (i).frames.moveTo (block * static_cast<std::int64_t> (blockFrames))))
                return AnalysisStatus::readFailed;

        for (const auto i : ends.tracks)
        {
            if (of (i).mask = masks[i]->readBlock (block, of (i).maskRoom); of (i).mask == nullptr)
                return AnalysisStatus::storageFailed;

            w.fft.load (of (i).frames.samples());
            w.fft.forward (of (i).spectrum.data());
        }

        return AnalysisStatus::completed;
    }

    /** Sums up the leakage of every microphone, some bins at a time, for which the masked drums lie in the
        cache. */
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
                                    drum.mask + first * blockFrames,
                                    LeakagePaths::maskExponent,
                                    numBins * blockFrames);
                kernels::maskWithDelay (w.maskedDrums.data() + d * drumStride,
                                        drum.last.data() + 2 * first,
                                        drum.spectrum.data() + first * binFloats,
                                        w.gains.data(),
                                        numBins);
            }

            for (std::size_t i = 0; i < sums.size(); ++i)
                sums[i] = of (ends.microphones[i]).leakage.data() + first * binFloats;

            kernels::addPaths (sums.data(),
                               sums.size(),
                               w.maskedDrums.data(),
                               drumStride,
                               ends.drums.size(),
                               paths.ofBin (first),
                               numBins);
        }
    }

    /** The powers of what is left, and what tells how far subtraction and mask agree, for the frames of this
        stretch. Its first frame lacks the one before it, so the stretch before counts it. */
    void sumUp (const Stretch& stretch, std::int64_t block)
    {
        const auto numFrames = shape.numFrames;
        const auto first =
                       std::max (block * static_cast<std::int64_t> (blockFrames), stretch.firstOwnFrame()),
                   end = std::min ({ (block + 1) * static_cast<std::int64_t> (blockFrames),
                                     stretch.endOwnFrame(),
                                     numFrames });

        if (first >= end)
            return;

        const auto at = static_cast<std::size_t> (first), count = static_cast<std::size_t> (end - first);
        const auto lane = at % blockFrames;
        AlignedBuffer sums (5 * blockFrames);

        for (std::size_t n = 0; n < ends.microphones.size(); ++n)
        {
            const auto i = ends.microphones[n];
            const auto& track = of (i);

            for (std::size_t band = 0; band < run.bands.count(); ++band)
            {
                const auto bin = run.bands.firstBin (band);
                kernels::subtractionSums (sums.data(),
                                          track.spectrum.data() + 2 * bin * blockFrames,
                                          track.leakage.data() + 2 * bin * blockFrames,
                                          track.mask + bin * blockFrames,
                                          run.bands.endBin (band) - bin);
                auto& evidence = model.tracks[i].evidence;
                std::copy_n (sums.data() + lane, count, evidence.total (band) + at);
                std::copy_n (sums.data() + 4 * blockFrames + lane, count, evidence.foreign (band) + at);

                for (std::size_t k = 0; k < count; ++k)
                {
                    taken[n].taken[at + k] += sums[blockFrames + lane + k];
                    taken[n].masked[at + k] += sums[2 * blockFrames + lane + k];
                    taken[n].product[at + k] += sums[3 * blockFrames + lane + k];
                }
            }
        }
    }

    /** The low band of masked drums, and of what is left in the microphones. */
    void writeLowBand (const Stretch::Part& part, LowSignals& low)
    {
        constexpr auto numGains = lowBand::numBins * blockFrames, numFloats = 2 * numGains;
        auto* const gains = w.low.gains.data();

        for (const auto j : ends.drums)
        {
            kernels::maskGains (gains, of (j).mask, LeakagePaths::maskExponent, numGains);
            low.drums[j]->write (part, w.low.overlap (of (j).spectrum.data(), gains, of (j).lowDrumCarry));
        }

        std::fill_n (gains, numGains, 1.0f);

        for (const auto i : ends.microphones)
        {
            auto& track = of (i);

            for (std::size_t k = 0; k < numFloats; ++k)
                w.spectrum[k] = track.spectrum[k] - track.leakage[k];

            low.microphones[i]->write (part,
                                       w.low.overlap (w.spectrum.data(), gains, track.lowRemainderCarry));
        }
    }

    [[nodiscard]] bool write (std::size_t microphone, const Stretch::Part& part, const SamplePlane& remainder)
    {
        auto& track = of (microphone);
        auto& leakage = w.signals[0].samples;
        w.fft.prepare (track.leakage.data());
        w.fft.overlapWeighted (leakage.data(), track.carry, w.ones.data(), w.frameGains.data());
        const auto *source = track.frames.samples() + part.offset, *subtracted = leakage.data() + part.offset;
        auto* const left = w.rendered[0].data();

        for (std::size_t i = 0; i < part.length; ++i)
            left[i] = source[i] - subtracted[i];

        return remainder.write (part.start, { left, part.length });
    }

    // The masked drums' values, of two frames each, and one float more.
    static constexpr std::size_t drumStride = (binsAtOnce * 4 + 1) * blockFrames;

    const RefinementRun& run;
    const SpectrumShape& shape;
    FittedModel& model;
    const PathEnds& ends;
    const LeakagePaths& paths;
    const Masks& masks;
    std::vector<TakenSums>& taken; // by microphone
    Workspace& w;
};

void conclude (const TakenSums& sums, BenefitEvidence& evidence)
{
    const auto total = [] (std::span<const float> values)
    { return std::accumulate (values.begin(), values.end(), 0.0); };
    const auto taken = total (sums.taken), masked = total (sums.masked);

    if (taken <= 0.0 || masked <= 0.0)
        return;

    evidence.subtractionAgreement = total (sums.product) / std::sqrt (taken * masked);
    evidence.subtractedDb = 10.0 * math::log10 (taken / masked);
}

/** Which drums to subtract, and where; nothing without a second track. */
PathEnds findEnds (const RefinementRun& run)
{
    PathEnds ends;

    for (std::size_t i = 0; i < run.tracks.size() && run.tracks.size() > 1; ++i)
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

std::optional<Remainders> subtractLeakage (
    RefinementRun& run, FittedModel& model, const Masks& masks, LowSignals& low, ProgressRange progress)
{
    const auto ends = findEnds (run);
    Remainders remainders (run.tracks.size());

    if (ends.drums.empty() || ends.microphones.empty())
        return remainders;

    LeakagePaths paths (ends.microphones.size(), ends.drums.size(), run.shape.numBins);

    if (! fitPaths (run, model, masks, ends, paths, progress.part (0.0, 0.3)))
        return std::nullopt;

    std::vector<TakenSums> taken;

    for (const auto j : ends.drums)
        low.drums[j].emplace (run.shape);

    for (const auto i : ends.microphones)
    {
        low.microphones[i].emplace (run.shape);
        remainders[i].emplace (std::move (model.tracks[i].logRatios));
        model.tracks[i].evidence.beginRemainder();
        taken.emplace_back (static_cast<std::size_t> (run.shape.numFrames));
    }

    const auto stretches = stretchesOf (run.shape, run.shape.length, run.numWorkers());

    if (! run.forEach (stretches.size(),
                       progress.part (0.3, 1.0),
                       [&] (std::size_t item, Workspace& w)
                       {
                           return StretchSubtraction (run, model, ends, paths, masks, taken, w)
                               .process (stretches[item], remainders, low);
                       }))
        return std::nullopt;

    for (std::size_t n = 0; n < taken.size(); ++n)
        conclude (taken[n], run.findings (ends.microphones[n]).benefit);

    return remainders;
}

} // namespace tessivar::refinement
