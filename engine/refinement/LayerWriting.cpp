#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/RefinementPasses.h"
#include "terms/ChannelLayout.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
/** The lowest Focus whose signal so many of the best components tell. */
constexpr std::size_t lowestFocus (std::size_t numComponents)
{
    return numFocusSteps - numComponents;
}

/** The standard outputs that the layers of so many components are made of, by Focus; different Focus values
    often share one. None where all of the track stays. */
std::vector<std::size_t> layersOf (const TrackFindings& findings, std::size_t numComponents)
{
    std::vector<std::size_t> layers;

    if (supportedEffect (findings) <= 0.0)
        return layers;

    for (auto f = lowestFocus (numComponents); f < numFocusSteps; ++f)
        if (const auto best = static_cast<std::size_t> (findings.bestFocusUpTo[f]);
            std::find (layers.begin(), layers.end(), best) == layers.end())
            layers.push_back (best);

    return layers;
}

/** Writes a stretch of a track, block by block. */
class StretchWriting
{
public:
    StretchWriting (const RefinementRun& r,
                    std::size_t t,
                    std::span<const std::size_t> l,
                    const LayerEvidence& e,
                    const std::optional<SamplePlane>& whatIsLeft,
                    const std::optional<LowSignal>& whatIsToGo,
                    BleedRow& bleedRow,
                    ComponentSink& s,
                    Workspace& workspace)
        : bands (r.bands), shape (r.shape), track (r.tracks[t]), findings (r.findings (t)), layers (l),
          evidence (e), remainder (whatIsLeft), lowLeakage (whatIsToGo), row (bleedRow), sink (s),
          w (workspace), effect (static_cast<float> (supportedEffect (findings)))
    {
    }

    [[nodiscard]] AnalysisStatus write (const Stretch& stretch)
    {
        w.sourceFrames.restart();
        w.lastFrame.clear();

        for (const auto layer : layers)
        {
            w.outputFrames[layer].restart();
            w.signals[layer].carry.clear();
        }

        // Powers are means that take a frame on either side, so transforms are a frame ahead, and the frames
        // of one block lead.
        if (const auto status = lead (stretch.firstBlock - 1); status != AnalysisStatus::completed)
            return status;

        for (auto block = stretch.firstBlock; block < stretch.endBlock; ++block)
        {
            if (const auto status = addLayers (block, block < stretch.endOwnBlock());
                status != AnalysisStatus::completed)
                return status;

            if (const auto status = writeComponents (stretch.completedBy (block));
                status != AnalysisStatus::completed)
                return status;
        }

        return AnalysisStatus::completed;
    }

private:
    /** Takes in the frames whose powers the next block's means need. */
    [[nodiscard]] AnalysisStatus lead (std::int64_t block)
    {
        const auto status = layers.empty() ? AnalysisStatus::completed : read (block);

        if (status == AnalysisStatus::completed)
            for (const auto layer : layers)
                if (layer != 0)
                {
                    w.forward (w.outputFrames[layer]);
                    w.smoothPowers (w.outputPowers, w.outputFrames[layer]);
                }

        return status;
    }

    /** Every layer's signal: the track under the mask and the layer's own gains. */
    [[nodiscard]] AnalysisStatus addLayers (std::int64_t block, bool isOwnBlock)
    {
        if (layers.empty())
            return AnalysisStatus::completed;

        const auto* const mask = evidence.mask.readBlock (block, w.maskRoom);
        const auto* const ratios = evidence.logRatios.readBlock (block, w.ratioRoom);

        if (mask == nullptr || ratios == nullptr)
            return AnalysisStatus::storageFailed;

        if (const auto status = read (block); status != AnalysisStatus::completed)
            return status;

        for (std::size_t band = 0; band < bands.count(); ++band)
        {
            const auto first = bands.firstBin (band);
            kernels::bandLogits (w.logits.data() + first * blockFrames,
                                 reinterpret_cast<const std::int16_t*> (ratios) + first * blockFrames,
                                 evidence.bands.gainLogit (band)
                                     + static_cast<std::size_t> (block) * blockFrames,
                                 SeparationEvidence::gainRatioWeight,
                                 bands.endBin (band) - first);
        }

        kernels::logarithms (w.logTotals.data(), w.sourcePowers.data(), shape.blockCodes());
        const kernels::GainEvidence shared{
            w.logits.data(), w.logTotals.data(), mask, SeparationEvidence::gainOutputWeight
        };

        if (isOwnBlock)
            kernels::foreignPowers (w.outputPowers.data(), w.sourcePowers.data(), mask, shape.blockCodes());

        for (const auto layer : layers)
        {
            // Layer 0 has no standard output of its own: there the mask stands for it.
            if (layer == 0)
                kernels::maskLayerGains (w.gains.data(), shared, shape.numBins);
            else
            {
                w.forward (w.outputFrames[layer]);
                kernels::layerGains (w.gains.data(),
                                     w.outputFrames[layer].history(),
                                     w.spectrum.data(),
                                     shared,
                                     shape.numBins);
            }

            if (isOwnBlock)
                row.add (block, layer, w.outputPowers.data(), w.sourcePowers.data(), w.gains.data());

            w.fft.overlapGained (
                w.signals[layer].samples.data(), w.signals[layer].carry, w.gains.data(), w.frameGains.data());
        }

        return AnalysisStatus::completed;
    }

    /** Reads the frames one after each of the block's, and transforms the source, or what the subtraction has
        left of it: for its power, and for the inverse transforms of the block itself. */
    [[nodiscard]] AnalysisStatus read (std::int64_t block)
    {
        const auto first = block * static_cast<std::int64_t> (blockFrames) + 1;
        const auto room = w.sourceFrames.moveTo (first);

        if (remainder && ! remainder->read (room.start, room.samples))
            return AnalysisStatus::storageFailed;

        if (! remainder && ! readSource (*track.source, room))
            return AnalysisStatus::readFailed;

        w.forward (w.sourceFrames);
        w.smoothPowers (w.sourcePowers, w.sourceFrames);

        // Evidence and gains are those of the remainder as it was.
        if (lowLeakage)
        {
            const auto& leakage = w.low.forward (*lowLeakage, first);

            for (std::size_t i = 0; i < lowBand::numBins * 2 * blockFrames; ++i)
                w.spectrum[i] -= leakage[i];
        }

        kernels::delayFrames (w.spectrum.data(), w.lastFrame.data(), 2 * shape.numBins);
        w.fft.prepare (w.spectrum.data());

        StandardOutputs outputs{};

        for (const auto layer : layers)
            if (layer != 0)
                outputs[layer] = w.outputFrames[layer].moveTo (first).samples.data();

        // All streams move alike.
        return completedIf (readStandard (track, room.start, room.samples.size(), outputs),
                            AnalysisStatus::readFailed);
    }

    /** Differences of neighbouring Focus values, from 5 down to 1; what is left of the source is the
        residual.
    */
    [[nodiscard]] AnalysisStatus writeComponents (const Stretch::Part& part)
    {
        if (effect < 1.0f)
        {
            const auto source = std::span (w.source).first (part.length);

            if (! readSource (*track.source, { part.start, source }))
                return AnalysisStatus::readFailed;

            for (const auto layer : layers)
            {
                auto* const x = w.signals[layer].samples.data() + part.offset;

                for (std::size_t i = 0; i < part.length; ++i)
                    x[i] = source[i] + effect * (x[i] - source[i]);
            }
        }

        // Without a layer there is only the track itself.
        const auto keptAt = [&] (std::size_t focus) -> const float*
        {
            return layers.empty()
                       ? w.source.data()
                       : w.signals[static_cast<std::size_t> (findings.bestFocusUpTo[focus])].samples.data()
                             + part.offset;
        };

        ComponentSink::Signals components{ keptAt (components.size()) };

        for (std::size_t c = 1; c < sink.numWanted(); ++c)
        {
            const auto *kept = keptAt (components.size() - c), *more = keptAt (components.size() - c + 1);

            // One layer serves both: nothing lies between them.
            if (kept == more)
                continue;

            auto* const component = w.rendered[c].data();

            for (std::size_t i = 0; i < part.length; ++i)
                component[i] = kept[i] - more[i];

            components[c] = component;
        }

        return completedIf (sink.write (part.start, part.length, components), AnalysisStatus::storageFailed);
    }

    const EvidenceBands& bands;
    const SpectrumShape& shape;
    const RefinementTrack& track;
    const TrackFindings& findings;
    const std::span<const std::size_t> layers;
    const LayerEvidence& evidence;
    const std::optional<SamplePlane>& remainder;
    const std::optional<LowSignal>& lowLeakage;
    BleedRow& row;
    ComponentSink& sink;
    Workspace& w;
    const float effect;
};
} // namespace

bool writeLayers (RefinementRun& run,
                  std::size_t track,
                  const LayerEvidence& evidence,
                  const std::optional<SamplePlane>& remainder,
                  const std::optional<LowSignal>& lowLeakage,
                  BleedMap& map,
                  ProgressRange progress)
{
    auto* sink = run.storage.refined (run.tracks[track].index, run.findings (track));

    if (sink == nullptr)
    {
        run.fail (AnalysisStatus::storageFailed);
        return false;
    }

    const auto layers = layersOf (run.findings (track), sink->numWanted());
    const auto stretches = stretchesOf (run.shape, run.tracks[track].ownLength, run.numWorkers());
    BleedRow row (evidence.drums,
                  track,
                  static_cast<float> (supportedEffect (run.findings (track))),
                  stretches.empty() || layers.empty() ? 0 : stretches.back().endBlock);

    if (! run.forEach (stretches.size(),
                       progress,
                       [&] (std::size_t item, Workspace& w)
                       {
                           return StretchWriting (
                                      run, track, layers, evidence, remainder, lowLeakage, row, *sink, w)
                               .write (stretches[item]);
                       }))
        return false;

    if (! layers.empty())
        for (auto focus = std::max (std::size_t{ 1 }, lowestFocus (sink->numWanted())); focus < numFocusSteps;
             ++focus)
            row.conclude (map, focus, static_cast<std::size_t> (run.findings (track).bestFocusUpTo[focus]));

    // Layers stand at their true level.
    if (! sink->finish ({}))
    {
        run.fail (AnalysisStatus::storageFailed);
        return false;
    }

    run.level (track) = {};
    return true;
}

} // namespace tessivar::refinement
