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

namespace
{
constexpr std::int64_t segmentHops = 512;

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
        const auto isMeasured = ! isKept || job.isHiHat || job.allComponents;

        if (isMeasured && ! measure (isKept ? 0.5 : 1.0))
            return status;

        if (isKept && ! render (isMeasured ? 0.5 : 1.0 / 6.0))
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

    /** What a stretch of the track adds up to. */
    struct Sums
    {
        double source = 0.0;
        ComponentValues component{};
        std::array<float, channelLayout::numComponents> peak{};
        std::array<bool, channelLayout::numComponents> hasFinite{};
    };

    /** Products of the filtered components of a stretch with a filtered reference. */
    struct Likeness
    {
        ComponentValues product{}, energy{};
        double reference = 0.0;
    };

    /** A rendered stretch of the track, as the passes see it. */
    struct Stretch
    {
        std::size_t item = 0;
        std::int64_t first = 0;
        std::size_t length = 0, lead = 0; // samples that were rendered ahead of the first
        const ComponentRenderer::Segment& segment;

        /** From the stretch's first sample on. */
        [[nodiscard]] const float* component (std::size_t k) const { return segment.component (k) + lead; }
    };

    [[nodiscard]] std::int64_t segmentLength() const { return segmentHops * context.shape.rate.hop; }

    [[nodiscard]] std::size_t numSegments() const
    {
        return static_cast<std::size_t> ((context.shape.lengthInSamples + segmentLength() - 1)
                                         / segmentLength());
    }

    /** Renders the track once, summing up, from first to last share of the progress. lead: samples that a
        stretch begins earlier, but for the first one. */
    bool stream (std::int64_t lead,
                 double firstShare,
                 double lastShare,
                 const std::function<AnalysisStatus (const Stretch&)>& use)
    {
        std::vector<ComponentRenderer::Segment> segments (renderers.size());
        sums.assign (numSegments(), {});
        const auto numSteps = static_cast<int> (std::lround ((lastShare - firstShare) * 60.0));
        int step = 1;

        return forEach (
            numSegments(),
            [&] (std::size_t item, int worker)
            {
                auto& segment = segments[static_cast<std::size_t> (worker)];
                const auto first = static_cast<std::int64_t> (item) * segmentLength();
                const auto end = std::min (first + segmentLength(), context.shape.lengthInSamples);
                const auto begin = std::max (first - lead, std::int64_t{ 0 });

                if (! renderer (worker).renderSegment (*job.signal, begin, end, context.shape, segment))
                    return AnalysisStatus::readFailed;

                const Stretch stretch{ item,
                                       first,
                                       static_cast<std::size_t> (end - first),
                                       static_cast<std::size_t> (first - begin),
                                       segment };
                sumUp (stretch);
                return use (stretch);
            },
            [&] (double done)
            {
                for (; static_cast<double> (step) <= done * static_cast<double> (numSteps); ++step)
                    progress (firstShare + step / 60.0);
            });
    }

    void sumUp (const Stretch& stretch)
    {
        auto& mine = sums[stretch.item];
        mine.source = kernels::sumOfSquares (stretch.segment.source.data() + stretch.lead, stretch.length);

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            const auto* samples = stretch.component (k);
            mine.component[k] = kernels::sumOfSquares (samples, stretch.length);
            mine.peak[k] = kernels::peakLevel (samples, stretch.length);
            // A finite sum proves that all samples are finite.
            mine.hasFinite[k] = std::isfinite (mine.component[k])
                                || std::any_of (samples,
                                                samples + stretch.length,
                                                [] (float x) { return std::isfinite (x); });
        }
    }

    /** Renders the track for its sums alone, and orders the components of a HiHat track. */
    bool measure (double lastShare)
    {
        std::array<std::vector<Likeness>, 2> likeness; // to Kick and Snare
        likeness.fill (std::vector<Likeness> (job.isHiHat ? numSegments() : 0));
        const std::array<ComponentSource*, 2> references{ job.kick, job.snare };

        const auto compare = [&] (const Stretch& stretch)
        {
            for (std::size_t r = 0; job.isHiHat && r < references.size(); ++r)
                if (references[r] != nullptr
                    && ! compareWith (*references[r], stretch, likeness[r][stretch.item]))
                    return AnalysisStatus::storageFailed;

            return AnalysisStatus::completed;
        };

        if (! stream (job.isHiHat ? SimilarityFilter::memory : 0, 1.0 / 6.0, lastShare, compare)
            || ! conclude())
            return false;

        if (job.isHiHat)
            orderHiHat (likeness);

        rescale();
        return true;
    }

    /** The stretch with what lies ahead of it, filtered; what the filter's start makes wrong is cut off. */
    static std::vector<float> filtered (const float* samples, const Stretch& stretch)
    {
        std::vector<float> result (samples, samples + stretch.lead + stretch.length);
        SimilarityFilter().process (result);
        result.erase (result.begin(), result.begin() + static_cast<std::ptrdiff_t> (stretch.lead));
        return result;
    }

    /** Against the first component of the reference, without its gain, as level does not matter to a
        correlation. False when that can't be read. */
    static bool compareWith (ComponentSource& source, const Stretch& stretch, Likeness& likeness)
    {
        // Silence past the end of a shorter track.
        std::vector<float> samples (stretch.lead + stretch.length);
        const auto begin = stretch.first - static_cast<std::int64_t> (stretch.lead);
        const auto left = std::clamp<std::int64_t> (
            source.lengthInSamples() - begin, 0, static_cast<std::int64_t> (samples.size()));

        if (left > 0 && ! source.read (begin, static_cast<std::size_t> (left), { samples.data() }))
            return false;

        const auto reference = filtered (samples.data(), stretch);
        likeness.reference = kernels::sumOfSquares (reference.data(), stretch.length);

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            const auto component = filtered (stretch.segment.component (k), stretch);
            likeness.energy[k] = kernels::sumOfSquares (component.data(), stretch.length);
            likeness.product[k] = kernels::dotProduct (component.data(), reference.data(), stretch.length);
        }

        return true;
    }

    /** Similarities of the ten components with the Kick and the Snare reference, then the slots. */
    void orderHiHat (const std::array<std::vector<Likeness>, 2>& likeness)
    {
        std::array<ComponentValues, 2> similarities{};

        for (std::size_t r = 0; r < similarities.size(); ++r)
        {
            Likeness total;

            for (const auto& part : likeness[r])
            {
                total.reference += part.reference;

                for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                {
                    total.product[k] += part.product[k];
                    total.energy[k] += part.energy[k];
                }
            }

            for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                similarities[r][k] = correlation (total.product[k], total.energy[k], total.reference);

            similarities[r] = normalisedSimilarities (similarities[r]);
        }

        const auto given = [&] (const ComponentSource* reference, std::size_t r) {
            return reference != nullptr ? std::span<const double> (similarities[r])
                                        : std::span<const double>();
        };
        result.slots = hiHatSlots (result.slots,
                                   given (job.kick, 0),
                                   given (job.snare, 1),
                                   job.similarityThreshold,
                                   componentEnergies);
    }

    /** Renders the track for those who keep its components. */
    bool render (double firstShare)
    {
        return stream (0,
                       firstShare,
                       1.0,
                       [&] (const Stretch& stretch)
                       {
                           const auto left = job.ownLength - stretch.first;

                           if (left <= 0)
                               return AnalysisStatus::completed;

                           // Each is megabytes for a disk that may be busy.
                           if (context.control.stopRequested())
                               return AnalysisStatus::stopped;

                           const auto n = static_cast<std::size_t> (
                               std::min (left, static_cast<std::int64_t> (stretch.length)));
                           return completedIf (store (stretch, n), AnalysisStatus::storageFailed);
                       });
    }

    bool store (const Stretch& stretch, std::size_t n)
    {
        ComponentSink::Signals best{};

        for (std::size_t slot = 0; slot < best.size(); ++slot)
            best[slot] = stretch.component (static_cast<std::size_t> (result.slots[slot]));

        if (job.sink != nullptr && ! job.sink->write (stretch.first, n, best))
            return false;

        std::vector<float> samples (job.allComponents ? n : 0);

        for (int slot = 0; slot < channelLayout::numComponents && job.allComponents; ++slot)
        {
            const auto* raw =
                stretch.component (static_cast<std::size_t> (result.slots[static_cast<std::size_t> (slot)]));
            std::transform (
                raw, raw + n, samples.begin(), [&] (float x) { return result.level.applyTo (x); });

            if (! job.allComponents (slot, stretch.first, samples))
                return false;
        }

        return true;
    }

    /** Adds up the stretches; false when a component holds no number. */
    bool conclude()
    {
        double sourceEnergy = 0.0, allEnergies = 0.0;
        std::array<bool, channelLayout::numComponents> hasFinite{};
        componentEnergies = {};
        peaks = {};

        for (const auto& part : sums)
        {
            sourceEnergy += part.source;

            for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
            {
                allEnergies += part.component[k];
                componentEnergies[k] += part.component[k];
                peaks[k] = std::max (peaks[k], part.peak[k]);
                hasFinite[k] = hasFinite[k] || part.hasFinite[k];
            }
        }

        result.level.gain = componentGain (sourceEnergy, allEnergies);
        status = completedIf (std::all_of (hasFinite.begin(), hasFinite.end(), [] (bool x) { return x; }),
                              AnalysisStatus::numericalFailure);
        return status == AnalysisStatus::completed;
    }

    /** Known once the slots are. */
    void rescale()
    {
        const auto firstPeak = peaks[static_cast<std::size_t> (result.slots[0])] * result.level.gain;
        result.level.rescaling = rescalingFactor (firstPeak);
    }

    const TrackRenderingJob& job;
    const RenderingContext& context;
    const std::function<void (double)>& progress;
    TrackAnalysis& result;
    LinearBases bases;
    std::vector<std::unique_ptr<ComponentRenderer>> renderers;
    AnalysisStatus status = AnalysisStatus::completed; // or why a step failed
    std::vector<Sums> sums;                            // by segment
    ComponentValues componentEnergies{};
    std::array<float, channelLayout::numComponents> peaks{};
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
