#include "engine/TrackRendering.h"

#include "engine/ComponentRendering.h"
#include "engine/SuppressionRendering.h"
#include "engine/WorkItems.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

namespace tessivar
{

namespace
{
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

    AnalysisStatus run()
    {
        if (! score())
            return status;

        result.slots = orderByScore (result.scores);
        progress (1.0 / 6.0);
        const auto isKept = job.sink != nullptr || job.allComponents;
        // Level and slots must be known before the first sample is handed over where they matter to it.
        const auto isMeasured = ! isKept || isCompared() || job.allComponents;

        if (isMeasured && ! measure (isKept ? 0.5 : 1.0))
            return status;

        if (isKept && ! (isMeasured ? render (false, 0.5) : render (true, 1.0 / 6.0)))
            return status;

        if (! isMeasured && ! conclude())
            return status;

        rescale();
        status = completedIf (job.sink == nullptr || job.sink->finish (result.level),
                              AnalysisStatus::storageFailed);
        result.rendered = status == AnalysisStatus::completed;
        return status;
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
        constexpr auto atATime = BlockFft::numFrames;
        const auto numFrames = job.loudest.size();
        const std::span<const std::int64_t> loudest (job.loudest);
        std::vector<ComponentValues> frameScores (numFrames);

        const auto isDone =
            forEach ((numFrames + atATime - 1) / atATime,
                     [&] (std::size_t item, int worker)
                     {
                         const auto first = item * atATime;
                         const auto frames = loudest.subspan (first, std::min (atATime, numFrames - first));
                         return completedIf (
                             renderer (worker).scoreFrames (*job.signal, frames, frameScores.data() + first),
                             AnalysisStatus::readFailed);
                     });

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            double sum = 0.0;

            for (const auto& scores : frameScores)
                sum += scores[k];

            result.scores[k] = frameScores.empty() ? 0.0 : sum / static_cast<double> (numFrames);
        }

        return isDone;
    }

    using Piece = ComponentRenderer::Piece;

    /** Renders segments of the track, from first to last share of the progress. */
    bool stream (std::span<const std::size_t> segments,
                 std::span<const int> wanted,
                 bool wantsLevels,
                 double firstShare,
                 double lastShare,
                 const std::function<AnalysisStatus (std::size_t item, const Piece&)>& use)
    {
        const auto numSteps = static_cast<int> (std::lround ((lastShare - firstShare) * 60.0));
        int step = 1;

        if (wantsLevels)
            levels.assign (segments.empty() ? 0 : segments.back() + 1, {});

        const auto renderOne = [&] (std::size_t n, int worker)
        {
            const auto item = segments[n];
            auto outcome = AnalysisStatus::completed;
            const auto useOne = [&] (const Piece& piece)
            {
                outcome = use (item, piece);
                return outcome == AnalysisStatus::completed;
            };
            const auto isDone = renderer (worker).renderSegment (
                *job.signal, item, context.shape, wanted, wantsLevels ? &levels[item] : nullptr, useOne);
            return isDone || outcome != AnalysisStatus::completed ? outcome : AnalysisStatus::readFailed;
        };

        return forEach (segments.size(),
                        renderOne,
                        [&] (double done)
                        {
                            for (; static_cast<double> (step) <= done * static_cast<double> (numSteps);
                                 ++step)
                                progress (firstShare + step / 60.0);
                        });
    }

    /** Up to a sample. */
    [[nodiscard]] std::vector<std::size_t> segmentsUpTo (std::int64_t end) const
    {
        std::vector<std::size_t> segments (ComponentRenderer::numSegments (context.shape, end));
        std::iota (segments.begin(), segments.end(), std::size_t{ 0 });
        return segments;
    }

    /** Products of the filtered components of a stretch with the filtered references. */
    struct Likeness
    {
        ComponentValues energy{};
        std::array<ComponentValues, 2> product{}; // with Kick and Snare
        std::array<double, 2> reference{};        // energies
    };

    [[nodiscard]] std::array<ComponentSource*, 2> references() const { return { job.kick, job.snare }; }

    [[nodiscard]] bool isCompared() const
    {
        return job.isHiHat && (job.kick != nullptr || job.snare != nullptr);
    }

    /** Renders the track for its levels alone, and orders the components of a HiHat track. */
    bool measure (double lastShare)
    {
        const auto segments =
            job.loudSegments.empty() ? segmentsUpTo (context.shape.lengthInSamples) : job.loudSegments;
        std::vector<Likeness> likeness (isCompared() && ! segments.empty() ? segments.back() + 1 : 0);
        const auto compare = [&] (std::size_t item, const Piece& piece)
        { return compareWithReferences (piece, likeness[item]); };

        if (! stream (segments,
                      isCompared() ? std::span<const int> (result.slots) : std::span<const int>(),
                      true,
                      1.0 / 6.0,
                      lastShare,
                      compare)
            || ! conclude())
            return false;

        if (isCompared())
            orderHiHat (likeness);

        rescale();
        return true;
    }

    /** Against the first components of the references, without their gains, as level does not matter to a
        correlation. */
    AnalysisStatus compareWithReferences (const Piece& piece, Likeness& likeness) const
    {
        constexpr std::size_t atATime = 4096; // samples, to stay in the cache
        const auto lead = std::min (piece.lead, SimilarityFilter::memory);
        const auto length = lead + piece.length;
        std::array<std::vector<float>, 2> filtered;
        std::vector<float> part (atATime);

        for (std::size_t r = 0; r < filtered.size(); ++r)
        {
            if (references()[r] == nullptr)
                continue;

            // Silence past the end of a shorter track.
            filtered[r].resize (length);
            const auto begin = piece.first - static_cast<std::int64_t> (lead);
            const auto left = std::clamp<std::int64_t> (
                references()[r]->lengthInSamples() - begin, 0, static_cast<std::int64_t> (length));

            if (left > 0
                && ! references()[r]->read (begin, static_cast<std::size_t> (left), { filtered[r].data() }))
                return AnalysisStatus::storageFailed;

            SimilarityFilter().process (filtered[r]);
            likeness.reference[r] += kernels::sumOfSquares (filtered[r].data() + lead, piece.length);
        }

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            SimilarityFilter filter;
            const auto* samples = piece.components[k];
            std::copy_n (samples - lead, lead, part.begin());
            filter.process (std::span (part).first (lead));

            for (std::size_t start = 0; start < piece.length; start += atATime)
            {
                const auto n = std::min (atATime, piece.length - start);
                std::copy_n (samples + start, n, part.begin());
                filter.process (std::span (part).first (n));
                likeness.energy[k] += kernels::sumOfSquares (part.data(), n);

                for (std::size_t r = 0; r < filtered.size(); ++r)
                    if (! filtered[r].empty())
                        likeness.product[r][k] +=
                            kernels::dotProduct (part.data(), filtered[r].data() + lead + start, n);
            }
        }

        return AnalysisStatus::completed;
    }

    /** Similarities of the ten components with the Kick and the Snare reference, then the slots. */
    void orderHiHat (const std::vector<Likeness>& likeness)
    {
        std::array<ComponentValues, 2> similarities{};
        std::array<std::span<const double>, 2> given; // empty where there is no reference

        for (std::size_t r = 0; r < given.size(); ++r)
        {
            if (references()[r] == nullptr)
                continue;

            ComponentValues product{}, energy{};
            double reference = 0.0;

            for (const auto& part : likeness)
            {
                reference += part.reference[r];

                for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                {
                    product[k] += part.product[r][k];
                    energy[k] += part.energy[k];
                }
            }

            for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                similarities[r][k] = correlation (product[k], energy[k], reference);

            similarities[r] = normalisedSimilarities (similarities[r]);
            given[r] = similarities[r];
        }

        result.slots =
            hiHatSlots (result.slots, given[0], given[1], job.similarityThreshold, total.component);
    }

    /** Renders the track for those who keep its components. */
    bool render (bool wantsLevels, double firstShare)
    {
        const std::span<const int> slots (result.slots);
        const auto numKept = job.allComponents ? slots.size() : channelLayout::numBestComponents;
        return stream (segmentsUpTo (wantsLevels ? context.shape.lengthInSamples : job.ownLength),
                       slots.first (numKept),
                       wantsLevels,
                       firstShare,
                       1.0,
                       [&] (std::size_t, const Piece& piece)
                       {
                           const auto left = job.ownLength - piece.first;

                           if (left <= 0)
                               return AnalysisStatus::completed;

                           // Each is megabytes for a disk that may be busy.
                           if (context.control.stopRequested())
                               return AnalysisStatus::stopped;

                           const auto n = static_cast<std::size_t> (
                               std::min (left, static_cast<std::int64_t> (piece.length)));
                           return completedIf (store (piece, n), AnalysisStatus::storageFailed);
                       });
    }

    bool store (const Piece& piece, std::size_t n)
    {
        const auto signalOf = [&] (std::size_t slot)
        { return piece.components[static_cast<std::size_t> (result.slots[slot])]; };
        ComponentSink::Signals best{};

        for (std::size_t slot = 0; slot < best.size(); ++slot)
            best[slot] = signalOf (slot);

        if (job.sink != nullptr && ! job.sink->write (piece.first, n, best))
            return false;

        std::vector<float> samples (job.allComponents ? n : 0);

        for (int slot = 0; slot < channelLayout::numComponents && job.allComponents; ++slot)
        {
            const auto* raw = signalOf (static_cast<std::size_t> (slot));
            std::transform (
                raw, raw + n, samples.begin(), [&] (float x) { return result.level.applyTo (x); });

            if (! job.allComponents (slot, piece.first, samples))
                return false;
        }

        return true;
    }

    /** Adds up the segments; false when a component holds no number. */
    bool conclude()
    {
        total = {};

        if (job.loudSegments.empty())
            for (const auto& part : levels)
                total.add (part);

        for (const auto segment : job.loudSegments)
            total.add (levels[segment]);

        result.level.gain = componentGain (
            total.source, std::accumulate (total.component.begin(), total.component.end(), 0.0));
        status = completedIf (
            std::all_of (total.hasFinite.begin(), total.hasFinite.end(), [] (bool x) { return x; }),
            AnalysisStatus::numericalFailure);
        return status == AnalysisStatus::completed;
    }

    /** Known once the slots are. */
    void rescale()
    {
        const auto firstPeak = total.peak[static_cast<std::size_t> (result.slots[0])] * result.level.gain;
        result.level.rescaling = rescalingFactor (firstPeak);
    }

    const TrackRenderingJob& job;
    const RenderingContext& context;
    const std::function<void (double)>& progress;
    TrackAnalysis& result;
    LinearBases bases;
    std::vector<std::unique_ptr<ComponentRenderer>> renderers;
    AnalysisStatus status = AnalysisStatus::completed; // or why a step failed
    std::vector<ComponentLevels> levels;               // by segment
    ComponentLevels total;
};
} // namespace

AnalysisStatus renderTrack (const TrackRenderingJob& job,
                            const RenderingContext& context,
                            const std::function<void (double)>& progress,
                            TrackAnalysis& result)
{
    return TrackRendering (job, context, progress, result).run();
}

} // namespace tessivar
