#include "engine/TrackRendering.h"

#include "engine/ComponentRendering.h"
#include "engine/SuppressionRendering.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>

namespace tessivar
{

int scratchPlane::count (bool hasHiHat, bool keepsAllComponents)
{
    if (hasHiHat)
        return snareReference + 1;

    return keepsAllComponents ? channelLayout::numComponents : channelLayout::numBestComponents;
}

namespace
{
constexpr std::int64_t segmentHops = 512;
constexpr std::int64_t foldBlock = 32768; // samples

class TrackRendering
{
public:
    TrackRendering (const TrackRenderingJob& j,
                    const RenderingContext& c,
                    const RenderingProgress& p,
                    TrackAnalysis& r)
        : job (j), context (c), progress (p), result (r),
          bases (job.bases.data + job.firstRow, job.bases.rows, context.data)
    {
        for (int i = 0; i < context.pool.numWorkers(); ++i)
            renderers.push_back (std::make_unique<ComponentRenderer> (bases, job.activations, context.data));

        progress (RenderingStage::model, 1.0);
    }

    AnalysisStatus run (RenderedTrackSink& sink,
                        const std::function<bool (int, std::span<const float>)>& componentSink)
    {
        if (! score())
            return status();

        result.slots = orderByScore (result.scores);
        progress (RenderingStage::spectrum, 1.0);

        if (! renderComponents())
            return status();

        if (job.isHiHat && ! orderHiHat())
            return status();

        const auto gain = componentGain (sourceEnergy, componentEnergy);
        const auto firstPeak = peaks[static_cast<std::size_t> (result.slots[0])] * gain;
        const auto rescaling = rescalingFactor (firstPeak);
        result.gain = static_cast<double> (gain);
        result.rescaling = static_cast<double> (rescaling);
        progress (RenderingStage::ordered, 1.0);

        if (job.referencePlane && ! makeReference())
            return status();

        progress (RenderingStage::stored, 1.0);

        if (! fold (sink, gain, rescaling)
            || (job.keepsAllComponents && ! handOver (componentSink, gain, rescaling)))
            return status();

        result.rendered = true;
        return AnalysisStatus::completed;
    }

private:
    /** Runs items on the workers until one fails or a stop is requested. */
    bool forEach (std::size_t numItems, const std::function<AnalysisStatus (std::size_t, int)>& work)
    {
        context.pool.forEach (numItems,
                              [&] (std::size_t item, int worker)
                              {
                                  if (failure != AnalysisStatus::completed)
                                      return;

                                  const auto outcome = context.control.stopRequested()
                                                           ? AnalysisStatus::stopped
                                                           : work (item, worker);

                                  if (outcome != AnalysisStatus::completed)
                                      failure = outcome;
                              });
        return failure == AnalysisStatus::completed;
    }

    [[nodiscard]] AnalysisStatus status() const { return failure; }

    ComponentRenderer& renderer (int worker) { return *renderers[static_cast<std::size_t> (worker)]; }

    /** Mean correlation of every component with the track over the track's loudest frames. */
    bool score()
    {
        const auto frameLength = static_cast<std::size_t> (context.shape.rate.frameLength);
        std::vector<ComponentValues> frameScores (job.loudest.size());

        const auto isDone = forEach (
            job.loudest.size(),
            [&] (std::size_t item, int worker)
            {
                AlignedBuffer samples (frameLength);
                const auto t = job.loudest[item];

                if (! job.signal->read (frameStart (t, context.shape.rate), samples.span()))
                    return AnalysisStatus::readFailed;

                auto& mine = renderer (worker);

                if (! mine.setFrame (t, samples.data()))
                    return AnalysisStatus::completed; // a frame of zeros correlates with nothing

                for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                {
                    // To the component's true level: its squares must underflow where they do in single precision.
                    const auto scale = mine.componentScale (k);
                    const auto* raw = mine.component (k);
                    std::transform (
                        raw, raw + frameLength, samples.data(), [scale] (float x) { return x * scale; });
                    frameScores[item][k] =
                        correlation ({ mine.analyser().windowed(), frameLength }, samples.span());
                }

                return AnalysisStatus::completed;
            });

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            double sum = 0.0;

            for (const auto& scores : frameScores)
                sum += scores[k];

            result.scores[k] = frameScores.empty() ? 0.0 : sum / static_cast<double> (frameScores.size());
        }

        return isDone;
    }

    [[nodiscard]] bool needsAllPlanes() const { return job.isHiHat || job.keepsAllComponents; }

    /** The raw plane of a slot: by component index where all ten are kept, else by slot. */
    [[nodiscard]] int planeOf (std::size_t slot) const
    {
        return scratchPlane::firstComponent
               + (needsAllPlanes() ? result.slots[slot] : static_cast<int> (slot));
    }

    /** Streams the track once; the kept components go to the scratch planes as they are. */
    bool renderComponents()
    {
        const auto segmentLength = segmentHops * context.shape.rate.hop;
        const auto numSegments =
            static_cast<std::size_t> ((context.shape.lengthInSamples + segmentLength - 1) / segmentLength);

        struct Sums
        {
            double source = 0.0;
            ComponentValues component{};
            std::array<float, channelLayout::numComponents> peak{};
            std::array<bool, channelLayout::numComponents> hasFinite{};
        };

        std::vector<Sums> sums (numSegments);
        std::vector<ComponentRenderer::Segment> segments (renderers.size());
        std::mutex progressLock; // guards numDone
        std::size_t numDone = 0;

        const auto isDone = forEach (
            numSegments,
            [&] (std::size_t item, int worker)
            {
                auto& segment = segments[static_cast<std::size_t> (worker)];
                const auto first = static_cast<std::int64_t> (item) * segmentLength;
                const auto end = std::min (first + segmentLength, context.shape.lengthInSamples);
                const auto length = static_cast<std::size_t> (end - first);

                if (! renderer (worker).renderSegment (*job.signal, first, end, context.shape, segment))
                    return AnalysisStatus::readFailed;

                auto& mine = sums[item];
                mine.source = kernels::sumOfSquares (segment.source.data(), length);

                for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                {
                    const auto* samples = segment.component (k);
                    mine.component[k] = kernels::sumOfSquares (samples, length);
                    mine.peak[k] = kernels::peakLevel (samples, length);
                    // A finite sum proves that every sample is finite; only else it is worth a look.
                    mine.hasFinite[k] = std::isfinite (mine.component[k])
                                        || std::any_of (samples,
                                                        samples + length,
                                                        [] (float x) { return std::isfinite (x); });
                }

                const auto numKept =
                    needsAllPlanes() ? channelLayout::numComponents : channelLayout::numBestComponents;

                for (std::size_t slot = 0; slot < static_cast<std::size_t> (numKept); ++slot)
                {
                    if (context.control.stopRequested()) // megabytes each, on a disk that may be busy
                        return AnalysisStatus::stopped;

                    if (! context.scratch.write (
                            planeOf (slot),
                            first,
                            { segment.component (static_cast<std::size_t> (result.slots[slot])), length }))
                        return AnalysisStatus::storageFailed;
                }

                const std::lock_guard lock (progressLock);
                progress (RenderingStage::components,
                          static_cast<double> (++numDone) / static_cast<double> (numSegments));
                return AnalysisStatus::completed;
            });

        if (! isDone)
            return false;

        std::array<bool, channelLayout::numComponents> hasFinite{};

        for (const auto& part : sums)
        {
            sourceEnergy += part.source;

            for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
            {
                componentEnergy += part.component[k];
                componentEnergies[k] += part.component[k];
                peaks[k] = std::max (peaks[k], part.peak[k]);
                hasFinite[k] = hasFinite[k] || part.hasFinite[k];
            }
        }

        if (! std::all_of (hasFinite.begin(), hasFinite.end(), [] (bool x) { return x; }))
            failure = AnalysisStatus::numericalFailure;

        return failure == AnalysisStatus::completed;
    }

    /** Calls work with consecutive pieces of the whole analysis length. */
    AnalysisStatus inPieces (std::int64_t length,
                             const std::function<AnalysisStatus (std::int64_t, std::size_t)>& work)
    {
        for (std::int64_t start = 0; start < length; start += foldBlock)
        {
            if (context.control.stopRequested())
                return AnalysisStatus::stopped;

            const auto outcome =
                work (start, static_cast<std::size_t> (std::min (foldBlock, length - start)));

            if (outcome != AnalysisStatus::completed)
                return outcome;
        }

        return AnalysisStatus::completed;
    }

    /** Similarities of the ten components with the Kick and the Snare reference, then the slots. */
    bool orderHiHat()
    {
        ComponentValues kick{}, snare{};

        const auto isDone =
            forEach (channelLayout::numComponents,
                     [&] (std::size_t k, int)
                     {
                         SimilarityFilter filter;
                         std::vector<float> component (foldBlock), reference (foldBlock);
                         double energy = 0.0, product[2]{}, referenceEnergy[2]{};

                         const auto outcome = inPieces (
                             context.shape.lengthInSamples,
                             [&] (std::int64_t start, std::size_t n)
                             {
                                 const std::span<float> samples{ component.data(), n };

                                 if (! context.scratch.read (
                                         scratchPlane::firstComponent + static_cast<int> (k), start, samples))
                                     return AnalysisStatus::storageFailed;

                                 filter.process (samples);
                                 energy += kernels::sumOfSquares (component.data(), n);

                                 for (int r = 0; r < 2; ++r)
                                 {
                                     if (! (r == 0 ? job.hasKickReference : job.hasSnareReference))
                                         continue;

                                     if (! context.scratch.read (r == 0 ? scratchPlane::kickReference
                                                                        : scratchPlane::snareReference,
                                                                 start,
                                                                 { reference.data(), n }))
                                         return AnalysisStatus::storageFailed;

                                     product[r] +=
                                         kernels::dotProduct (component.data(), reference.data(), n);
                                     referenceEnergy[r] += kernels::sumOfSquares (reference.data(), n);
                                 }

                                 return AnalysisStatus::completed;
                             });

                         kick[k] = correlation (product[0], energy, referenceEnergy[0]);
                         snare[k] = correlation (product[1], energy, referenceEnergy[1]);
                         return outcome;
                     });

        if (! isDone)
            return false;

        kick = normalisedSimilarities (kick);
        snare = normalisedSimilarities (snare);
        const auto given = [] (bool has, const ComponentValues& values)
        { return has ? std::span<const double> (values) : std::span<const double>(); };
        result.slots = hiHatSlots (result.slots,
                                   given (job.hasKickReference, kick),
                                   given (job.hasSnareReference, snare),
                                   job.similarityThreshold,
                                   componentEnergies);
        return true;
    }

    /** The first stored component, filtered and rectified, for the HiHat tracks that come later. Its level does not matter to a
        correlation, so it is taken without the gain. */
    bool makeReference()
    {
        SimilarityFilter filter;
        std::vector<float> samples (foldBlock);

        const auto outcome = inPieces (context.shape.lengthInSamples,
                                       [&] (std::int64_t start, std::size_t n)
                                       {
                                           const std::span<float> piece{ samples.data(), n };

                                           if (! context.scratch.read (planeOf (0), start, piece))
                                               return AnalysisStatus::storageFailed;

                                           filter.process (piece);
                                           return context.scratch.write (*job.referencePlane, start, piece)
                                                      ? AnalysisStatus::completed
                                                      : AnalysisStatus::storageFailed;
                                       });
        failure = outcome;
        return outcome == AnalysisStatus::completed;
    }

    static void scaleInPlace (std::span<float> samples, float gain, float rescaling)
    {
        // Two roundings: the components are stored with their gain first and rescaled in place after.
        if (rescaling == 1.0f)
            for (auto& x : samples)
                x *= gain;
        else
            for (auto& x : samples)
                x = x * gain * rescaling;
    }

    bool fold (RenderedTrackSink& sink, float gain, float rescaling)
    {
        const auto numBlocks = static_cast<std::size_t> ((job.ownLength + foldBlock - 1) / foldBlock);
        std::mutex progressLock; // guards numDone
        std::size_t numDone = 0;
        progress (RenderingStage::summing, 0.0);

        return forEach (numBlocks,
                        [&] (std::size_t item, int)
                        {
                            const auto start = static_cast<std::int64_t> (item) * foldBlock;
                            const auto n =
                                static_cast<std::size_t> (std::min (foldBlock, job.ownLength - start));
                            std::array<std::vector<float>, channelLayout::numBestComponents> best;
                            std::array<const float*, channelLayout::numBestComponents> pointers{};
                            std::vector<float> source (n), frames (n * channelLayout::numRendered);

                            for (std::size_t slot = 0; slot < best.size(); ++slot)
                            {
                                best[slot].resize (n);

                                if (! context.scratch.read (planeOf (slot), start, best[slot]))
                                    return AnalysisStatus::storageFailed;

                                scaleInPlace (best[slot], gain, rescaling);
                                pointers[slot] = best[slot].data();
                            }

                            if (! job.signal->read (context.shape.paddingSamples + start, source))
                                return AnalysisStatus::readFailed;

                            foldChannels (frames, pointers, source);

                            if (! sink.writeFrames (start, frames))
                                return AnalysisStatus::storageFailed;

                            const std::lock_guard lock (progressLock);
                            const auto done =
                                2.0 * static_cast<double> (++numDone) / static_cast<double> (numBlocks);

                            if (done <= 1.0)
                                progress (RenderingStage::summing, done);
                            else
                                progress (RenderingStage::residual, done - 1.0);

                            return AnalysisStatus::completed;
                        });
    }

    bool handOver (const std::function<bool (int, std::span<const float>)>& componentSink,
                   float gain,
                   float rescaling)
    {
        std::vector<float> samples (foldBlock);

        for (int slot = 0; slot < channelLayout::numComponents && failure == AnalysisStatus::completed;
             ++slot)
            failure = inPieces (
                job.ownLength,
                [&] (std::int64_t start, std::size_t n)
                {
                    const std::span<float> piece{ samples.data(), n };

                    if (! context.scratch.read (planeOf (static_cast<std::size_t> (slot)), start, piece))
                        return AnalysisStatus::storageFailed;

                    scaleInPlace (piece, gain, rescaling);
                    return componentSink (slot, piece) ? AnalysisStatus::completed
                                                       : AnalysisStatus::storageFailed;
                });

        return failure == AnalysisStatus::completed;
    }

    const TrackRenderingJob& job;
    const RenderingContext& context;
    const RenderingProgress& progress;
    TrackAnalysis& result;
    LinearBases bases;
    std::vector<std::unique_ptr<ComponentRenderer>> renderers;
    std::atomic<AnalysisStatus> failure{ AnalysisStatus::completed };
    double sourceEnergy = 0.0, componentEnergy = 0.0;
    ComponentValues componentEnergies{};
    std::array<float, channelLayout::numComponents> peaks{};
};
} // namespace

AnalysisStatus renderTrack (const TrackRenderingJob& job,
                            const RenderingContext& context,
                            RenderedTrackSink& sink,
                            const std::function<bool (int, std::span<const float>)>& componentSink,
                            const RenderingProgress& progress,
                            TrackAnalysis& result)
{
    return TrackRendering (job, context, progress, result).run (sink, componentSink);
}

} // namespace tessivar
