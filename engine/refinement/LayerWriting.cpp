#include "engine/numerics/simd/MaskKernels.h"
#include "engine/refinement/OutputSegment.h"
#include "engine/refinement/RefinementPasses.h"
#include "terms/ChannelLayout.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
constexpr float maskExponent = 0.35f, layerExponent = 0.5f;

/** The standard outputs that layers are made of, by Focus; different Focus values often share one. */
std::vector<std::size_t> layersOf (const TrackFindings& findings)
{
    std::vector<std::size_t> layers;

    for (std::size_t f = 1; f < numFocusSteps; ++f)
        if (const auto best = static_cast<std::size_t> (findings.bestFocusUpTo[f]);
            std::find (layers.begin(), layers.end(), best) == layers.end())
            layers.push_back (best);

    return layers;
}

bool readOutputs (const RefinementTrack& track,
                  const RateParameters& rate,
                  std::span<const std::size_t> layers,
                  const OutputSegment& segment,
                  Workspace& w)
{
    const auto length = segment.available.numSamples (rate);
    StandardOutputReader::Outputs outputs{};

    for (const auto layer : layers)
        if (layer != 0)
        {
            w.outputs[layer].resize (std::max (w.outputs[layer].size(), length));
            outputs[layer] = w.outputs[layer].data();
            w.outputPower[layer].open (w.outputFrames, outputs[layer], segment.range.frames);
        }

    return w.outputReader.read (track, frameStart (segment.available.first, rate), length, outputs);
}

/** Every layer's signal: the track under the mask and the layer's own gains. */
void addLayers (OutputSegment& segment, std::span<const std::size_t> layers, Workspace& w)
{
    const auto stride = w.gains.size();
    w.sourcePower.open (w.sourceFrames, segment.frameSamples (segment.available.first), segment.range.frames);

    for (const auto layer : layers)
        segment.clear (layer);

    for (auto t = segment.range.frames.first; t < segment.range.frames.end; ++t)
    {
        const auto* total = w.sourcePower.next();
        segment.setSpectrum (w.sourcePower.spectrum());
        kernels::maskGains (w.maskGains.data(), segment.mask (t), maskExponent, stride);

        for (const auto layer : layers)
        {
            // Layer 0 has no standard output of its own: there the mask stands for it.
            if (layer == 0)
                kernels::maskGains (w.gains.data(), segment.mask (t), maskExponent + layerExponent, stride);
            else
                kernels::layerGains (
                    w.gains.data(), w.maskGains.data(), w.outputPower[layer].next(), total, stride);

            segment.add (layer, t, w.gains.data());
        }
    }
}

/** Differences of neighbouring Focus values, from 5 down to 1; what is left of the source is the residual.
    Written in pieces that stay in the cache. */
bool writeComponents (const OutputSegment& segment,
                      const TrackFindings& findings,
                      Workspace& w,
                      ComponentSink& sink)
{
    constexpr auto pieceSamples = StandardOutputReader::pieceSamples;
    constexpr std::size_t numComponents = channelLayout::numBestComponents;
    std::array<const float*, numFocusSteps> atFocus{ segment.source() };
    const auto effect = static_cast<float> (supportedEffect (findings));

    for (std::size_t f = 1; f < numFocusSteps; ++f)
        atFocus[f] = segment.samples (static_cast<std::size_t> (findings.bestFocusUpTo[f]));

    w.rendered.resize (pieceSamples * numComponents);
    ComponentSink::Signals signals{};

    for (std::size_t c = 0; c < numComponents; ++c)
        signals[c] = w.rendered.data() + c * pieceSamples;

    for (std::size_t first = 0; first < segment.range.length; first += pieceSamples)
    {
        const auto n = std::min (pieceSamples, segment.range.length - first);

        for (std::size_t i = 0; i < n; ++i)
        {
            const auto x = first + i;
            const auto source = atFocus[0][x];
            auto higher = 0.0f;

            for (std::size_t c = 0; c < numComponents; ++c)
            {
                const auto output = atFocus[numComponents - c][x];
                const auto kept = effect < 1.0f ? source + effect * (output - source) : output;
                w.rendered[c * pieceSamples + i] = kept - higher;
                higher = kept;
            }
        }

        if (! sink.write (segment.range.start + static_cast<std::int64_t> (first), n, signals))
            return false;
    }

    return true;
}
} // namespace

bool writeLayers (RefinementRun& run,
                  std::size_t track,
                  const MaskPlane& mask,
                  const std::optional<SamplePlane>& remainder,
                  ProgressRange progress)
{
    auto* sink = run.storage.refined (run.tracks[track].index, run.findings (track));

    if (sink == nullptr)
    {
        run.fail (AnalysisStatus::storageFailed);
        return false;
    }

    const auto& findings = run.findings (track);
    const auto layers = layersOf (findings);

    const auto isWritten = run.forEach (
        SampleSegment::count (run.shape, run.tracks[track].ownLength),
        progress,
        [&] (std::size_t item, Workspace& w)
        {
            OutputSegment segment (run, track, item, w);

            if (const auto status = segment.open (mask, remainder); status != AnalysisStatus::completed)
                return status;

            if (! readOutputs (run.tracks[track], run.shape.rate, layers, segment, w))
                return AnalysisStatus::readFailed;

            addLayers (segment, layers, w);
            return completedIf (writeComponents (segment, findings, w, *sink), AnalysisStatus::storageFailed);
        });

    if (! isWritten)
        return false;

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
