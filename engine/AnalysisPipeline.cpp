#include "engine/AnalysisPipeline.h"

#include "engine/ComponentReader.h"
#include "engine/ComponentRendering.h"
#include "engine/Decomposition.h"
#include "engine/LoudSegments.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/TrackRendering.h"
#include "engine/WorkItems.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/WorkerPool.h"
#include "engine/refinement/RefinedLayers.h"
#include "engine/refinement/SeededStart.h"
#include "engine/refinement/SilentFrames.h"
#include "engine/refinement/TracksBySound.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <deque>
#include <memory>

namespace tessivar
{

namespace
{
constexpr std::int64_t frontEndFrames = 256; // a worker's piece of the front end
constexpr std::uint64_t mostRandomStarts = 10;
constexpr std::size_t fewestLoudSegments = 64; // a minute and a half

/** Passes progress on as long as it rises. */
class RisingProgress
{
public:
    explicit RisingProgress (const WorkControl& c) : control (c) {}

    /** From now on set (1.0) means this share of the whole. */
    void scaleTo (double share) { scale = share; }

    void set (double value) { setWhole (std::min (1.0, value) * scale); }

    void setWhole (double value)
    {
        if (value <= last)
            return;

        last = value;
        control.progress (value);
    }

private:
    const WorkControl& control;
    double last = -1.0, scale = 1.0;
};

class Analysis
{
public:
    Analysis (std::span<const AnalysisTrack> t,
              const AnalysisOptions& o,
              AnalysisStorage& s,
              const WorkControl& c)
        : tracks (t), options (o), storage (s), control (c), progress (c), pool (std::max (1, o.numThreads))
    {
        result.tracks.resize (tracks.size());

        if (isRefined())
            progress.scaleTo (standardShare);
    }

    AnalysisResult run()
    {
        result.status = analyse();

        if (result.status == AnalysisStatus::completed)
        {
            progress.setWhole (1.0);
            result.factors = factors;
        }

        return std::move (result);
    }

private:
    AnalysisStatus analyse()
    {
        std::vector<TrackShape> shapes;

        for (const auto& track : tracks)
            shapes.push_back (track.shape);

        const auto shape = AnalysisShape::forTracks (shapes);

        if (! shape)
            return AnalysisStatus::unsupportedRate;

        result.shape = factors->shape = *shape;

        for (int i = 0; i < static_cast<int> (tracks.size()); ++i)
            if (! trackShape (i).excluded)
                active.push_back (i);

        if (active.empty())
            return AnalysisStatus::completed;

        const WorkControl loading{ control.shouldStop, [this] (double value) { progress.set (value); } };

        if (! loadAnalysisData (
                options.resourceFolder, result.shape.rate, data, loading, options.diagnostics))
            return AnalysisStatus::stopped;

        for (const auto index : active)
            signals.push_back (
                std::make_unique<PaddedSignal> (*tracks[static_cast<std::size_t> (index)].source,
                                                trackShape (index).drumType,
                                                result.shape,
                                                data));

        if (const auto status = buildSpectrogram(); status != AnalysisStatus::completed)
            return status;

        if (! factorise())
            return AnalysisStatus::stopped;

        const auto status = renderTracks();
        return status == AnalysisStatus::completed && isRefined() ? refine() : status;
    }

    [[nodiscard]] bool isRefined() const { return options.method == AnalysisMethod::refined; }

    [[nodiscard]] const TrackShape& trackShape (int index) const
    {
        return tracks[static_cast<std::size_t> (index)].shape;
    }

    /** Front end of all active tracks: their mel power stacked in one spectrogram, their loudest frames. */
    AnalysisStatus buildSpectrogram()
    {
        const auto& shape = result.shape;
        const auto numFrames = static_cast<std::size_t> (shape.numFrames);
        // Each iteration reads it twice.
        spectrogram = AlignedBuffer (shape.melRows() * numFrames, LargeMemory::Pages::large);

        const MelBands bands (data.melFilterBank.span(), static_cast<std::size_t> (shape.rate.numBins()));
        std::vector<std::unique_ptr<MelAnalyser>> analysers;

        for (int i = 0; i < pool.numWorkers(); ++i)
            analysers.push_back (std::make_unique<MelAnalyser> (data.window.span(), bands));

        // What tells silence, track after track.
        std::vector<float> energies (isRefined() ? active.size() * numFrames : 0);
        std::deque<LoudestFrames> loudestOfTracks;

        for (std::size_t i = 0; i < active.size(); ++i)
            loudestOfTracks.emplace_back (shape.paddingFrames(), shape.numSegments);

        const auto numPieces =
            static_cast<std::size_t> ((shape.numFrames + frontEndFrames - 1) / frontEndFrames);
        const auto numItems = numPieces * active.size();

        // A piece of all tracks, then the next piece: columns are finished while they are in the cache.
        const auto analysePiece = [&] (std::size_t item, int worker)
        {
            const auto track = item % active.size();
            const auto first = static_cast<std::int64_t> (item / active.size()) * frontEndFrames;
            const auto end = std::min (first + frontEndFrames, shape.numFrames);
            auto& analyser = *analysers[static_cast<std::size_t> (worker)];
            std::array<double, frontEndFrames> energiesOfPiece;

            if (! analyser.analyse (*signals[track],
                                    { first, end },
                                    shape.rate,
                                    spectrogram.data() + static_cast<std::size_t> (first) * shape.melRows()
                                        + track * method::numMelBands,
                                    shape.melRows(),
                                    energiesOfPiece.data()))
                return AnalysisStatus::readFailed;

            const auto found = std::span (energiesOfPiece).first (static_cast<std::size_t> (end - first));

            if (isRenderedType (trackShape (active[track]).drumType))
                loudestOfTracks[track].add (first, found);

            if (! energies.empty())
                std::transform (found.begin(),
                                found.end(),
                                energies.begin() + static_cast<std::ptrdiff_t> (track * numFrames) + first,
                                [] (double energy) { return static_cast<float> (energy); });

            return AnalysisStatus::completed;
        };

        const auto showProgress = [&] (double done)
        {
            // One step for each finished share of a track, deliberately without the last: with a single track
            // the value stays where loading left it.
            const auto numDone =
                static_cast<std::size_t> (std::lround (done * static_cast<double> (numItems)));

            if (numDone >= numPieces)
                progress.set (0.05 + 0.05 * static_cast<double> (numDone / numPieces - 1) / shape.numActive);
        };

        const auto status = forEachItem (pool, control, numItems, analysePiece, showProgress);

        if (status != AnalysisStatus::completed)
            return status;

        if (isRefined())
        {
            SilentFrames silent (shape.paddedLength(), shape.rate);

            for (std::size_t i = 0; i < active.size(); ++i)
                silent.add (std::span<const float> (energies).subspan (i * numFrames, numFrames));

            silent.settle();
            const auto frames = ComponentRenderer::frames (shape);

            for (std::size_t i = 0; i < active.size(); ++i)
                loudSegments.push_back (loudestSegments (
                    std::span<const float> (energies)
                        .subspan (i * numFrames,
                                  static_cast<std::size_t> (std::min (frames.end, shape.numFrames)))
                        .subspan (static_cast<std::size_t> (frames.first)),
                    static_cast<std::size_t> (ComponentRenderer::segmentHops),
                    fewestLoudSegments));

            soundingFrames = silent.soundingFrames();
            moveToFront ({ spectrogram.data(), shape.melRows(), numFrames }, soundingFrames);

            for (std::size_t i = 0; i < active.size(); ++i)
                numSilent.push_back (numTaken() - silent.numSounding (i, numFrames));
        }

        for (auto& ofTrack : loudestOfTracks)
            loudest.push_back (ofTrack.inOrder());

        return AnalysisStatus::completed;
    }

    /** False when told to stop. */
    bool factorise()
    {
        auto isDone = factoriseFrom (options.seed, isRefined());

        // From the seeded start activations can grow until their square overflows, above all with short
        // tracks. Then try the standard method's start, and after it those of the next seeds.
        for (std::uint64_t n = 0; isDone && isRefined() && n < mostRandomStarts && ! areFactorsFinite(); ++n)
        {
            result.startedAtRandom = true;
            isDone = factoriseFrom (options.seed + n, false);
        }

        spectrogram = {}; // no longer needed

        if (! soundingFrames.empty())
            moveBack ({ activations.data(),
                        channelLayout::numComponents,
                        static_cast<std::size_t> (result.shape.numFrames) },
                      soundingFrames);

        return isDone;
    }

    [[nodiscard]] bool areFactorsFinite() const
    {
        const auto isFinite = [] (float value) { return std::isfinite (value); };
        const auto w = bases.span(), h = activations.span();
        return std::all_of (w.begin(), w.end(), isFinite) && std::all_of (h.begin(), h.end(), isFinite);
    }

    /** Frames that take part in the factorization. */
    [[nodiscard]] std::size_t numTaken() const
    {
        return soundingFrames.empty() ? static_cast<std::size_t> (result.shape.numFrames)
                                      : soundingFrames.size();
    }

    bool factoriseFrom (std::uint64_t seed, bool isSeeded)
    {
        const auto rows = result.shape.melRows(), frames = numTaken();
        bases = AlignedBuffer (rows * channelLayout::numComponents);
        activations =
            AlignedBuffer (channelLayout::numComponents * static_cast<std::size_t> (result.shape.numFrames));
        RandomStream random (seed);

        for (auto& value : bases.span())
            value = random.next();

        for (auto& value : activations.span().first (channelLayout::numComponents * frames))
            value = random.next();

        if (isSeeded)
        {
            std::vector<DrumType> types;

            for (const auto index : active)
                types.push_back (trackShape (index).drumType);

            seedActivations ({ spectrogram.data(), rows, frames },
                             types,
                             numSilent,
                             { activations.data(), channelLayout::numComponents, frames });
        }

        const WorkControl iterating{ control.shouldStop,
                                     [this] (double done) { progress.set (0.1 + 0.5 * done); } };
        return decompose ({ spectrogram.data(), rows, frames },
                          { bases.data(), rows, channelLayout::numComponents },
                          { activations.data(), channelLayout::numComponents, frames },
                          {},
                          pool,
                          iterating);
    }

    /** What the active tracks are taken for: by the standard method for what they are typed. */
    bool hear()
    {
        std::vector<TypedTrack> typed;

        for (const auto index : active)
        {
            typed.push_back (
                { tracks[static_cast<std::size_t> (index)].source, trackShape (index).drumType });
            heard.push_back ({ typed.back().type });
        }

        if (! isRefined())
            return true;

        auto found = hearTracks (typed, result.shape.rate.sampleRate, pool, control);

        if (found)
            heard = std::move (*found);

        return found.has_value();
    }

    AnalysisStatus renderTracks()
    {
        if (! hear())
            return control.stopRequested() ? AnalysisStatus::stopped : AnalysisStatus::readFailed;

        const auto isHiHat = [&] (std::size_t i) { return heard[i].type == DrumType::hiHat; };
        const auto firstOfType = [&] (DrumType type) -> std::optional<std::size_t>
        {
            const auto found = std::ranges::find (heard, type, &TrackBySound::type);
            return found == heard.end() ? std::nullopt
                                        : std::optional (static_cast<std::size_t> (found - heard.begin()));
        };
        const auto withHiHat = firstOfType (DrumType::hiHat).has_value();
        const RenderingContext context{ result.shape, data, pool, control };
        const auto kick = withHiHat ? firstOfType (DrumType::kick) : std::nullopt;
        const auto snare = withHiHat ? firstOfType (DrumType::snare) : std::nullopt;
        const auto rendered = [&] (std::optional<std::size_t> i)
        { return i ? standardComponents (*i) : nullptr; };
        readers.resize (active.size());

        // HiHat tracks come last, so that the Kick and Snare references exist whatever the order of the
        // tracks.
        std::vector<std::size_t> sequence;

        for (const auto hiHatsTurn : { false, true })
            for (std::size_t i = 0; i < active.size(); ++i)
                if (isHiHat (i) == hiHatsTurn)
                    sequence.push_back (i);

        for (std::size_t position = 0; position < sequence.size(); ++position)
        {
            const auto i = sequence[position];
            const auto index = active[i];

            if (! isRenderedType (trackShape (index).drumType))
                continue;

            if (control.stopRequested())
                return AnalysisStatus::stopped;

            TrackRenderingJob job;
            job.signal = signals[i].get();
            job.bases = { bases.data(), result.shape.melRows(), channelLayout::numComponents };
            job.firstRow = i * method::numMelBands;
            job.activations = { activations.data(),
                                channelLayout::numComponents,
                                static_cast<std::size_t> (result.shape.numFrames) };
            job.loudest = loudest[i];
            job.isHiHat = isHiHat (i);
            job.similarityThreshold = static_cast<double> (trackShape (index).drumType == DrumType::oh
                                                               ? method::similarityThresholdOverhead
                                                               : method::similarityThreshold);
            job.ownLength = trackShape (index).lengthInSamples;

            if (isRefined())
                job.loudSegments = loudSegments[i];

            if (storesComponents())
            {
                job.sink = storage.rendered (index);

                if (job.sink == nullptr)
                    return AnalysisStatus::storageFailed;
            }

            if (job.isHiHat)
            {
                job.kick = rendered (kick);
                job.snare = rendered (snare);
            }

            if (options.keepAllComponents)
                job.allComponents =
                    [this, index] (int slot, std::int64_t start, std::span<const float> samples)
                { return storage.component (index, slot, start, samples); };

            const auto status = renderTrack (
                job,
                context,
                [&] (double done) {
                    progress.set (0.6
                                  + 0.4 * (static_cast<double> (position) + done) / result.shape.numActive);
                },
                result.tracks[static_cast<std::size_t> (index)]);

            if (status != AnalysisStatus::completed)
                return status;

            result.tracks[static_cast<std::size_t> (index)].row = i;

            if (! storesComponents())
            {
                const auto& found = result.tracks[static_cast<std::size_t> (index)];
                readers[i] = std::make_unique<ComponentReader> (
                    factors,
                    ComponentReader::Track{
                        i, trackShape (index).drumType, job.ownLength, found.slots, found.level },
                    *tracks[static_cast<std::size_t> (index)].source);
            }
        }

        return AnalysisStatus::completed;
    }

    /** Of the active track i, once it was rendered. */
    [[nodiscard]] ComponentSource* standardComponents (std::size_t i)
    {
        return storesComponents() ? storage.standard (active[i]) : readers[i].get();
    }

    /** The refined method reads sums of components, which are rendered faster than they are stored. */
    [[nodiscard]] bool storesComponents() const { return options.storesComponents && ! isRefined(); }

    AnalysisStatus refine()
    {
        std::vector<RefinementTrack> participants;

        for (std::size_t i = 0; i < active.size(); ++i)
        {
            const auto index = active[i];
            const auto& track = tracks[static_cast<std::size_t> (index)];

            // Overheads, rooms and others hear every drum and are none's source.
            if (! isRenderedType (track.shape.drumType))
                continue;

            RefinementTrack participant;
            participant.index = index;
            participant.drumType = track.shape.drumType;
            participant.source = track.source;
            participant.ownLength = track.shape.lengthInSamples;
            participant.standard = readers[i].get();
            participant.rings = heard[i].rings;
            participants.push_back (participant);
        }

        if (participants.empty())
            return AnalysisStatus::completed;

        return refineTracks (
            participants,
            result.shape,
            pool,
            storage,
            control,
            [this] (double done) { progress.setWhole (standardShare + (1.0 - standardShare) * done); },
            result.tracks,
            result.bleed);
    }

    const std::span<const AnalysisTrack> tracks;
    const AnalysisOptions& options;
    AnalysisStorage& storage;
    const WorkControl& control;
    RisingProgress progress;
    WorkerPool pool;
    AnalysisResult result;
    const std::shared_ptr<Factorization> factors = std::make_shared<Factorization>();
    AnalysisData& data = factors->data;
    AlignedBuffer &bases = factors->bases, &activations = factors->activations;
    std::vector<int> active;                            // indices of the tracks that are not excluded
    std::vector<std::unique_ptr<PaddedSignal>> signals; // indexed like active, as loudest is
    std::vector<std::vector<std::int64_t>> loudest;
    std::vector<std::vector<std::size_t>> loudSegments;    // of a refined analysis
    std::vector<TrackBySound> heard;                       // active tracks
    std::vector<std::unique_ptr<ComponentReader>> readers; // where components are not stored; null for others
    // Of a refined analysis: take part in the factorization, so their columns stand first. Empty: all.
    std::vector<std::uint32_t> soundingFrames;
    std::vector<std::size_t> numSilent; // of those, in which an active track holds nothing
    AlignedBuffer spectrogram;
};
} // namespace

AnalysisResult analyseTracks (std::span<const AnalysisTrack> tracks,
                              const AnalysisOptions& options,
                              AnalysisStorage& storage,
                              const WorkControl& control)
{
    return Analysis (tracks, options, storage, control).run();
}

AnalysisForecast forecastAnalysis (const AnalysisShape& shape, const AnalysisOptions& options)
{
    const auto frames = static_cast<std::uint64_t> (shape.numFrames);
    const auto rows = static_cast<std::uint64_t> (shape.melRows());
    const auto workers = static_cast<std::uint64_t> (std::max (1, options.numThreads));
    constexpr std::uint64_t components = channelLayout::numComponents;

    // First the stacked spectrogram and its factors, later a renderer for each worker: never both.
    const auto factorisation = 4 * (rows * frames + 26 * frames + 40 * rows * 16 + 20 * rows * workers);
    const auto rendering = workers * ComponentRenderer::rendererBytes (shape.rate);

    AnalysisForecast forecast;
    forecast.memoryBytes = std::max (factorisation, rendering + 4 * components * frames) + (32u << 20);

    if (options.method == AnalysisMethod::refined)
    {
        const auto refinement = forecastRefinement (shape, static_cast<int> (workers));
        // Tracks that are rendered again when they are read keep their renderers.
        const auto readers = static_cast<std::uint64_t> (shape.numRendered) * rendering;
        forecast.memoryBytes = std::max (forecast.memoryBytes, refinement.memoryBytes + readers);
        forecast.scratchBytes = refinement.scratchBytes;
    }

    return forecast;
}

} // namespace tessivar
