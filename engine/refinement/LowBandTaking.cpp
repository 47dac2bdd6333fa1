#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/LowPaths.h"

#include <algorithm>
#include <span>

namespace tessivar::refinement
{

namespace
{
/** What the gains would take of a remainder, in its place. */
class TakenSignal
{
public:
    TakenSignal (const RefinementRun& r, std::size_t t, const LayerEvidence& e, LowSignal& s, Workspace& work)
        : run (r), track (t), evidence (e), signal (s), w (work)
    {
    }

    [[nodiscard]] AnalysisStatus make()
    {
        const auto& shape = run.shape;
        const Stretch whole (shape, 0, shape.hopsOf (shape.length), shape.length);
        OverlapCarry carry (lowBand::hop);

        for (auto block = whole.firstBlock; block < whole.endBlock; ++block)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            if (! readGains (block))
                return AnalysisStatus::storageFailed;

            // Samples that are written are not read again.
            const auto& spectrum = w.low.forward (signal, block * static_cast<std::int64_t> (blockFrames));
            signal.write (whole.completedBy (block),
                          w.low.overlap (spectrum.data(), w.low.gains.data(), carry));
        }

        return AnalysisStatus::completed;
    }

private:
    /** Shares of the low bins that go. */
    [[nodiscard]] bool readGains (std::int64_t block)
    {
        constexpr auto numGains = lowBand::numBins * blockFrames;
        const auto* const mask = evidence.mask.readBlock (block, std::span (w.maskRoom).first (numGains));
        const auto* const ratios =
            evidence.logRatios.readBlock (block, std::span (w.ratioRoom).first (numGains));

        if (mask == nullptr || ratios == nullptr)
            return false;

        for (std::size_t band = 0; band < run.bands.count(); ++band)
        {
            const auto first = run.bands.firstBin (band),
                       end = std::min (run.bands.endBin (band), lowBand::numBins);

            if (first < end)
                kernels::bandLogits (w.logits.data() + first * blockFrames,
                                     reinterpret_cast<const std::int16_t*> (ratios) + first * blockFrames,
                                     evidence.bands.gainLogit (band)
                                         + static_cast<std::size_t> (block) * blockFrames,
                                     SeparationEvidence::gainRatioWeight,
                                     end - first);
        }

        auto* const gains = w.low.gains.data();
        kernels::maskLayerGains (
            gains,
            { w.logits.data(), w.logTotals.data(), mask, SeparationEvidence::gainOutputWeight },
            lowBand::numBins);
        const auto effect = static_cast<float> (supportedEffect (run.findings (track)));

        for (std::size_t i = 0; i < numGains; ++i)
            gains[i] = effect * (1.0f - gains[i]) * (1.0f - gains[i]);

        return true;
    }

    const RefinementRun& run;
    const std::size_t track;
    const LayerEvidence& evidence;
    LowSignal& signal;
    Workspace& w;
};
} // namespace

bool takeLowBand (RefinementRun& run,
                  const FittedModel& model,
                  const Masks& masks,
                  const std::vector<std::optional<LogRatioPlane>>& logRatios,
                  LowSignals& low,
                  ProgressRange progress)
{
    const auto take = [&] (std::size_t track, Workspace& w)
    {
        if (! low.microphones[track])
            return AnalysisStatus::completed;

        const LayerEvidence evidence{
            *masks[track], *logRatios[track], model.tracks[track].evidence, model.drums
        };
        return TakenSignal (run, track, evidence, *low.microphones[track], w).make();
    };

    return run.forEach (run.tracks.size(), progress, take);
}

} // namespace tessivar::refinement
