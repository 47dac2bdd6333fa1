#include "engine/TrackRendering.h"

#include "engine/ComponentRendering.h"
#include "engine/SuppressionRendering.h"
#include "engine/WorkItems.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <memory>

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
                    const std::function<void (double)>& p,
                    TrackAnalysis& r)
        : job (j), context (c), progress (p), result (r),
          bases (job.bases.data + job.firstRow, job.bases.rows, context.data)
    {
        for (int i = 0; i < context.pool.numWorkers(); ++i)
            renderers.push_back (std::make_unique<ComponentRenderer> (bases, job.activations, context.data));

        progress (1.0 / 12.0);
    }

    AnalysisStatus run (RenderedTrackSink& sink,
                        const std::function<bool (int, std::span<const float>)>& componentSink)
    {
        if (! score())
            return status;

        result.slots = orderByScore (result.scores);
        progress (1.0 / 6.0);

        if (! renderComponents())
            return status;

        if (job.isHiHat && ! orderHiHat())
            return status;

        const auto gain = componentGain (sourceEnergy, componentEnergy);
        const auto firstPeak = peaks[static_cast<std::size_t> (result.slots[0])] * gain;
        const auto rescaling = rescalingFactor (firstPeak);
        result.gain = static_cast<double> (gain);
        result.rescaling = static_cast<double> (rescaling);
        progress (5.0 / 12.0);

        if (job.referencePlane && ! makeReference())
            return status;

        progress (0.5);

        if (! fold (sink, gain, rescaling)
            || (job.keepsAllComponents && ! handOver (componentSink, gain, rescaling)))
            return status;

        result.rendered = true;
        return AnalysisStatus::completed;
    }

private:
    bool forEach (std::size_t numItems,
                  const std::function<AnalysisStatus (std::size_t, int)>& work,
                  const std::function<void (double)>& done = {})
    {
        status = forEachItem (context.pool, context.control, numItems, work, done);
        return status == AnalysisStatus::completed;
    }

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
                    // At the component's true level, so that its squares underflow where they do in single
                    // precision.
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
                    // A finite sum proves that all samples are finite.
                    mine.hasFinite[k] = std::isfinite (mine.component[k])
                                        || std::any_of (samples,
                                                        samples + length,
                                                        [] (float x) { return std::isfinite (x); });
                }

                const auto numKept =
                    needsAllPlanes() ? channelLayout::numComponents : channelLayout::numBestComponents;

                for (std::size_t slot = 0; slot < static_cast<std::size_t> (numKept); ++slot)
                {
                    if (context.control.stopRequested()) // each is megabytes for a disk that may be busy
                        return AnalysisStatus::stopped;

                    if (! context.scratch.write (
                            planeOf (slot),
                            first,
                            { segment.component (static_cast<std::size_t> (result.slots[slot])), length }))
                        return AnalysisStatus::storageFailed;
                }

                return AnalysisStatus::completed;
            },
            [&] (double done) { progress (1.0 / 6.0 + std::floor (done * 10.0) / 60.0); });

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

        status = completedIf (std::all_of (hasFinite.begin(), hasFinite.end(), [] (bool x) { return x; }),
                              AnalysisStatus::numericalFailure);
        return status == AnalysisStatus::completed;
    }

    /** Calls work with consecutive pieces of a length. */
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
        constexpr int planes[]{ scratchPlane::kickReference, scratchPlane::snareReference };
        const bool isGiven[]{ job.hasKickReference, job.hasSnareReference };
        ComponentValues similarities[2]{};

        const auto compare = [&] (std::size_t k, int)
        {
            SimilarityFilter filter;
            std::vector<float> component (foldBlock), reference (foldBlock);
            double energy = 0.0, product[2]{}, referenceEnergy[2]{};

            const auto outcome =
                inPieces (context.shape.lengthInSamples,
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
                                  if (! isGiven[r])
                                      continue;

                                  if (! context.scratch.read (planes[r], start, { reference.data(), n }))
                                      return AnalysisStatus::storageFailed;

                                  product[r] += kernels::dotProduct (component.data(), reference.data(), n);
                                  referenceEnergy[r] += kernels::sumOfSquares (reference.data(), n);
                              }

                              return AnalysisStatus::completed;
                          });

            for (int r = 0; r < 2; ++r)
                similarities[r][k] = correlation (product[r], energy, referenceEnergy[r]);

            return outcome;
        };

        if (! forEach (channelLayout::numComponents, compare))
            return false;

        for (auto& values : similarities)
            values = normalisedSimilarities (values);

        const auto given = [&] (int r)
        { return isGiven[r] ? std::span<const double> (similarities[r]) : std::span<const double>(); };
        result.slots =
            hiHatSlots (result.slots, given (0), given (1), job.similarityThreshold, componentEnergies);
        return true;
    }

    /** The first component, filtered and rectified, for the HiHat tracks, which come last. Without its gain,
        as level does not matter to a correlation. */
    bool makeReference()
    {
        SimilarityFilter filter;
        std::vector<float> samples (foldBlock);

        status = inPieces (context.shape.lengthInSamples,
                           [&] (std::int64_t start, std::size_t n)
                           {
                               const std::span<float> piece{ samples.data(), n };

                               if (! context.scratch.read (planeOf (0), start, piece))
                                   return AnalysisStatus::storageFailed;

                               filter.process (piece);
                               return completedIf (context.scratch.write (*job.referencePlane, start, piece),
                                                   AnalysisStatus::storageFailed);
                           });
        return status == AnalysisStatus::completed;
    }

    static void scaleInPlace (std::span<float> samples, float gain, float rescaling)
    {
        // Deliberately two roundings: gain first, then rescaling.
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

        const auto foldOne = [&] (std::size_t item, int)
        {
            const auto start = static_cast<std::int64_t> (item) * foldBlock;
            const auto n = static_cast<std::size_t> (std::min (foldBlock, job.ownLength - start));
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
            return completedIf (sink.writeFrames (start, frames), AnalysisStatus::storageFailed);
        };

        return forEach (numBlocks,
                        foldOne,
                        [&] (double done)
                        {
                            // First the sum is counted, then the residual.
                            progress (done <= 0.5
                                          ? 0.5 + 0.125 * std::floor (2.0 * done * 20.0) / 20.0
                                          : 0.625 + 0.125 * std::floor ((2.0 * done - 1.0) * 4.0) / 4.0);
                        });
    }

    bool handOver (const std::function<bool (int, std::span<const float>)>& componentSink,
                   float gain,
                   float rescaling)
    {
        std::vector<float> samples (foldBlock);

        for (int slot = 0; slot < channelLayout::numComponents && status == AnalysisStatus::completed; ++slot)
            status = inPieces (
                job.ownLength,
                [&] (std::int64_t start, std::size_t n)
                {
                    const std::span<float> piece{ samples.data(), n };

                    if (! context.scratch.read (planeOf (static_cast<std::size_t> (slot)), start, piece))
                        return AnalysisStatus::storageFailed;

                    scaleInPlace (piece, gain, rescaling);
                    return completedIf (componentSink (slot, piece), AnalysisStatus::storageFailed);
                });

        return status == AnalysisStatus::completed;
    }

    const TrackRenderingJob& job;
    const RenderingContext& context;
    const std::function<void (double)>& progress;
    TrackAnalysis& result;
    LinearBases bases;
    std::vector<std::unique_ptr<ComponentRenderer>> renderers;
    AnalysisStatus status = AnalysisStatus::completed; // or why a step failed
    double sourceEnergy = 0.0, componentEnergy = 0.0;
    ComponentValues componentEnergies{};
    std::array<float, channelLayout::numComponents> peaks{};
};
} // namespace

AnalysisStatus renderTrack (const TrackRenderingJob& job,
                            const RenderingContext& context,
                            RenderedTrackSink& sink,
                            const std::function<bool (int, std::span<const float>)>& componentSink,
                            const std::function<void (double)>& progress,
                            TrackAnalysis& result)
{
    return TrackRendering (job, context, progress, result).run (sink, componentSink);
}

} // namespace tessivar
