#include "engine/refinement/RefinedLayers.h"

#include "engine/DataFileGenerator.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/SpectralKernels.h"
#include "engine/refinement/InterferenceModel.h"
#include "engine/refinement/RefinementSpectra.h"
#include "engine/refinement/SeparationEvidence.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>

namespace tessivar
{

namespace
{
using namespace refinement;

constexpr int firstEstimateFocus = 4;
constexpr float firstEstimateFloor = 0.001f; // of the track's power
constexpr float maskExponent = 0.35f, layerExponent = 0.5f;
constexpr double emptyTrackDb = -15.0; // a mask that leaves less than this found no drum to keep
constexpr std::size_t modelBytes = std::size_t{ 24 } << 20; // a worker's block of bins

class Refinement
{
public:
    Refinement (std::span<const RefinementTrack> t,
                const AnalysisShape& s,
                WorkerPool& p,
                const RefinementStorage& st,
                const AnalysisControl& c,
                const std::function<void (double)>& pr,
                std::vector<TrackAnalysis>& a)
        : tracks (t), shape (s), pool (p), storage (st), control (c), progress (pr), analyses (a),
          numTracks (t.size()),
          bands (shape.numBins, static_cast<double> (shape.rate.sampleRate) / shape.rate.frameLength)
    {
        const auto weights = dataFiles::sineBellWindow (shape.rate.frameLength);
        window = AlignedBuffer (weights.size());
        std::copy (weights.begin(), weights.end(), window.data());

        for (int i = 0; i < pool.numWorkers(); ++i)
            workspaces.push_back (std::make_unique<Workspace> (shape, window.span()));
    }

    AnalysisStatus run()
    {
        planes = storage.spectrograms (static_cast<int> (2 * numTracks),
                                       shape.numSegments * segmentFrames
                                           * static_cast<std::int64_t> (shape.numBins));

        if (planes == nullptr)
            return AnalysisStatus::storageFailed;

        if (! gatherPower() || ! fitModel())
            return failure;

        numRendered = static_cast<std::size_t> (std::count_if (
            tracks.begin(), tracks.end(), [] (const auto& track) { return track.standard != nullptr; }));
        std::size_t done = 0;

        for (std::size_t i = 0; i < numTracks; ++i)
        {
            if (tracks[i].standard == nullptr)
                continue;

            const auto from = 0.4 + 0.6 * static_cast<double> (done) / static_cast<double> (numRendered);

            if (! renderTrack (i, from, 0.6 / static_cast<double> (numRendered)))
                return failure;

            ++done;
        }

        return AnalysisStatus::completed;
    }

private:
    /** Runs items on the workers until one fails or a stop is requested; progress runs over the given range. */
    bool forEach (std::size_t numItems,
                  double from,
                  double range,
                  const std::function<AnalysisStatus (std::size_t, Workspace&)>& work)
    {
        std::mutex progressLock; // guards numDone
        std::size_t numDone = 0;

        pool.forEach (
            numItems,
            [&] (std::size_t item, int worker)
            {
                if (failure != AnalysisStatus::completed)
                    return;

                const auto outcome = control.stopRequested()
                                         ? AnalysisStatus::stopped
                                         : work (item, *workspaces[static_cast<std::size_t> (worker)]);

                if (outcome != AnalysisStatus::completed)
                {
                    failure = outcome;
                    return;
                }

                const std::lock_guard lock (progressLock);
                progress (from + range * static_cast<double> (++numDone) / static_cast<double> (numItems));
            });
        return failure == AnalysisStatus::completed;
    }

    [[nodiscard]] std::int64_t lastFrame() const { return shape.numFrames - 1; }
    [[nodiscard]] int powerPlane (std::size_t track) const
    {
        return static_cast<int> (track);
    } // later leakage, then logits
    [[nodiscard]] int ownPlane (std::size_t track) const { return static_cast<int> (numTracks + track); }
    [[nodiscard]] std::size_t tileFloats() const { return shape.numBins * tileFrames; }

    /** Calls take (frame, smoothed power, spectrum) for frames first .. end - 1: powers averaged over a frame and its two
        neighbours, edges repeated. The spectrum is null unless asked for. */
    template <typename Function>
    bool
    smoothedPower (SampleSource& source, std::int64_t first, std::int64_t end, Workspace& w, Function&& take)
    {
        const auto from = std::max (first - 1, std::int64_t{ 0 }), to = std::min (end + 1, shape.numFrames);

        if (! w.reader.open (source, from, to))
            return false;

        const auto row = [&] (std::int64_t frame) -> AlignedBuffer&
        { return w.powerRows[static_cast<std::size_t> (std::clamp (frame, from, to - 1) % 3)]; };

        auto next = from;

        for (auto t = first; t < end; ++t)
        {
            for (; next <= std::min (t + 1, to - 1); ++next)
                kernels::powers (row (next).data(), w.reader.spectrum (next), shape.numBins);

            kernels::meanOfThree (
                w.smoothed.data(), row (t - 1).data(), row (t).data(), row (t + 1).data(), w.stride);
            take (t, w.smoothed.data());
        }

        return true;
    }

    /** Smoothed power of every track and of its standard output, as tiles of bins by 256 frames. */
    bool gatherPower()
    {
        return forEach (
            static_cast<std::size_t> (shape.numSegments) * numTracks,
            0.0,
            0.1,
            [&] (std::size_t item, Workspace& w)
            {
                const auto segment = static_cast<std::int64_t> (item / numTracks);
                const auto i = item % numTracks;
                const auto first = segment * segmentFrames,
                           end = std::min (first + segmentFrames, shape.numFrames);
                std::vector<float> power (tileFloats()), own (tileFloats());

                std::vector<float> rows (tileFloats());

                const auto keepRow = [&, first] (std::int64_t t, const float* values) {
                    std::copy_n (values,
                                 shape.numBins,
                                 rows.data() + static_cast<std::size_t> (t - first) * shape.numBins);
                };

                const auto readStart = frameStart (first - 1, shape.rate);
                const auto readLength = (segmentFrames + 2) * shape.rate.hop + shape.rate.frameLength;

                if (! smoothedPower (*tracks[i].source, first, end, w, keepRow))
                    return AnalysisStatus::readFailed;

                transpose (power.data(), rows.data(), tileFrames, shape.numBins);

                if (tracks[i].standard == nullptr)
                    own = power; // nothing better is known of a track that is not rendered
                else
                {
                    StandardChannels channels (tracks[i]);
                    StandardOutput estimate (tracks[i], channels, firstEstimateFocus);

                    if (! channels.load (readStart, readLength)
                        || ! smoothedPower (estimate, first, end, w, keepRow))
                        return AnalysisStatus::readFailed;

                    transpose (own.data(), rows.data(), tileFrames, shape.numBins);
                }

                for (std::size_t x = 0; x < own.size(); ++x)
                    own[x] += firstEstimateFloor * power[x];

                const auto at = segment * static_cast<std::int64_t> (tileFloats());
                return planes->write (powerPlane (i), at, power) && planes->write (ownPlane (i), at, own)
                           ? AnalysisStatus::completed
                           : AnalysisStatus::storageFailed;
            });
    }

    /** Fits the model to blocks of bins; the planes then hold leakage and own power. */
    bool fitModel()
    {
        const auto rowStride = static_cast<std::size_t> (shape.numSegments) * tileFrames;
        const auto perBin = 2 * numTracks * rowStride * sizeof (float);
        const auto blockBins = std::clamp (modelBytes / perBin, std::size_t{ 1 }, shape.numBins);
        const auto numBlocks = (shape.numBins + blockBins - 1) / blockBins;
        std::vector<std::uint32_t> types;

        for (const auto& track : tracks)
            types.push_back (track.drumType);

        return forEach (
            numBlocks,
            0.1,
            0.3,
            [&] (std::size_t block, Workspace&)
            {
                const auto firstBin = block * blockBins;
                const auto numBins = std::min (blockBins, shape.numBins - firstBin);
                // Row of (kind, track) and bin: kind 0 power, 1 own; the rows of one bin and kind lie side by side.
                AlignedBuffer rows (2 * numTracks * numBins * rowStride);
                const auto row = [&] (std::size_t bin, std::size_t kind, std::size_t track)
                { return rows.data() + ((bin * 2 + kind) * numTracks + track) * rowStride; };

                const auto transfer = [&] (bool isReading)
                {
                    std::vector<float> piece (numBins * tileFrames);

                    for (std::int64_t segment = 0; segment < shape.numSegments; ++segment)
                        for (std::size_t kind = 0; kind < 2; ++kind)
                            for (std::size_t i = 0; i < numTracks; ++i)
                            {
                                const auto plane = kind == 0 ? powerPlane (i) : ownPlane (i);
                                const auto at = segment * static_cast<std::int64_t> (tileFloats())
                                                + static_cast<std::int64_t> (firstBin * tileFrames);

                                if (isReading && ! planes->read (plane, at, piece))
                                    return false;

                                for (std::size_t bin = 0; bin < numBins; ++bin)
                                {
                                    auto* mine =
                                        row (bin, kind, i) + static_cast<std::size_t> (segment) * tileFrames;
                                    auto* theirs = piece.data() + bin * tileFrames;

                                    if (isReading)
                                        std::copy_n (theirs, tileFrames, mine);
                                    else
                                        std::copy_n (mine, tileFrames, theirs);
                                }

                                if (! isReading && ! planes->write (plane, at, piece))
                                    return false;
                            }

                    return true;
                };

                if (! transfer (true))
                    return AnalysisStatus::storageFailed;

                InterferenceModel model (types, static_cast<std::size_t> (shape.numFrames));

                for (std::size_t bin = 0; bin < numBins; ++bin)
                    if (! model.fit (row (bin, 0, 0), row (bin, 1, 0), rowStride, control))
                        return AnalysisStatus::stopped;

                return transfer (false) ? AnalysisStatus::completed : AnalysisStatus::storageFailed;
            });
    }

    bool renderTrack (std::size_t i, double from, double range)
    {
        SeparationEvidence evidence (bands,
                                     static_cast<std::size_t> (shape.numSegments) * tileFrames,
                                     static_cast<std::size_t> (shape.numFrames),
                                     static_cast<double> (shape.rate.hop) / shape.rate.sampleRate);
        auto& analysis = analyses[static_cast<std::size_t> (tracks[i].index)];

        if (! gatherEvidence (i, evidence, from, 0.2 * range))
            return false;

        evidence.weigh();
        analysis.leakageDb = evidence.leakageDb();

        return computeLogits (i, evidence, from + 0.2 * range, 0.1 * range)
               && matchFocus (i, analysis, from + 0.3 * range, 0.2 * range)
               && writeLayers (i, analysis, from + 0.5 * range, 0.5 * range);
    }

    /** Sums over bands of own power, leakage and the track's power. */
    bool gatherEvidence (std::size_t i, SeparationEvidence& evidence, double from, double range)
    {
        return forEach (static_cast<std::size_t> (shape.numSegments),
                        from,
                        range,
                        [&] (std::size_t segment, Workspace& w)
                        {
                            const auto first = static_cast<std::int64_t> (segment) * segmentFrames;
                            const auto end = std::min (first + segmentFrames, shape.numFrames);
                            const auto column = static_cast<std::size_t> (first);
                            const auto at = first * static_cast<std::int64_t> (shape.numBins);
                            std::vector<float> tile (tileFloats());

                            const auto sumBands = [&] (float* (SeparationEvidence::*sums) (std::size_t))
                            {
                                for (std::size_t g = 0; g < bands.count(); ++g)
                                    for (auto f = bands.firstBin (g); f < bands.endBin (g); ++f)
                                        kernels::accumulate ((evidence.*sums) (g) + column,
                                                             tile.data() + f * tileFrames,
                                                             tileFrames);
                            };

                            if (! planes->read (ownPlane (i), at, tile))
                                return AnalysisStatus::storageFailed;

                            sumBands (&SeparationEvidence::own);

                            if (! planes->read (powerPlane (i), at, tile))
                                return AnalysisStatus::storageFailed;

                            sumBands (&SeparationEvidence::leakage);

                            const auto isRead = smoothedPower (
                                *tracks[i].source,
                                first,
                                end,
                                w,
                                [&] (std::int64_t t, const float* values)
                                {
                                    for (std::size_t g = 0; g < bands.count(); ++g)
                                    {
                                        float sum = 0.0f;

                                        for (auto f = bands.firstBin (g); f < bands.endBin (g); ++f)
                                            sum += values[f];

                                        evidence.total (g)[t] = sum;
                                    }
                                });
                            return isRead ? AnalysisStatus::completed : AnalysisStatus::readFailed;
                        });
    }

    /** Logits of the mask, frame by frame, in place of the leakage. */
    bool computeLogits (std::size_t i, const SeparationEvidence& evidence, double from, double range)
    {
        return forEach (
            static_cast<std::size_t> (shape.numSegments),
            from,
            range,
            [&] (std::size_t segment, Workspace&)
            {
                const auto column = segment * tileFrames;
                const auto at = static_cast<std::int64_t> (column * shape.numBins);
                std::vector<float> own (tileFloats()), leakage (tileFloats()), logits (tileFloats());

                if (! planes->read (ownPlane (i), at, own) || ! planes->read (powerPlane (i), at, leakage))
                    return AnalysisStatus::storageFailed;

                for (std::size_t g = 0; g < bands.count(); ++g)
                    for (auto f = bands.firstBin (g); f < bands.endBin (g); ++f)
                        kernels::separationLogits (leakage.data() + f * tileFrames,
                                                   own.data() + f * tileFrames,
                                                   leakage.data() + f * tileFrames,
                                                   evidence.common (g) + column,
                                                   SeparationEvidence::binWeight,
                                                   tileFrames);

                transpose (logits.data(), leakage.data(), shape.numBins, tileFrames);

                return planes->write (powerPlane (i), at, logits) ? AnalysisStatus::completed
                                                                  : AnalysisStatus::storageFailed;
            });
    }

    struct FrameRange
    {
        std::int64_t first = 0, end = 0;
    };

    /** Frames that overlap the samples of a segment. */
    [[nodiscard]] FrameRange framesOf (std::int64_t start, std::int64_t end) const
    {
        return { start / shape.rate.hop + 1,
                 std::min (shape.numFrames,
                           (end + shape.rate.frameLength + shape.rate.hop - 1) / shape.rate.hop) };
    }

    /** Adds one frame of a masked spectrum into dest, which begins at sample start. */
    void addFrame (
        Workspace& w, const float* spectrum, std::int64_t frame, std::int64_t start, AlignedBuffer& dest)
    {
        kernels::multiplySpectrum (w.spectrum.data(), spectrum, w.gains.data(), shape.numBins);
        w.reader.fft().inverse (w.output.data(), w.spectrum.data());
        overlapAdd (dest.data() + (frameStart (frame, shape.rate) - start + shape.rate.frameLength),
                    w.output.data(),
                    window.span(),
                    2.0f / static_cast<float> (shape.rate.frameLength));
    }

    /** Segments of output samples of a track. */
    [[nodiscard]] std::int64_t segmentSamples() const { return segmentFrames * shape.rate.hop; }

    [[nodiscard]] std::size_t numOutputSegments (std::size_t i) const
    {
        return static_cast<std::size_t> ((tracks[i].ownLength + segmentSamples() - 1) / segmentSamples());
    }

    /** Compares the standard output at every whole Focus with the masked track and finds the best. */
    bool matchFocus (std::size_t i, TrackAnalysis& analysis, double from, double range)
    {
        struct Sums
        {
            std::array<double, numFocusSteps> product{}, energy{};
            double masked = 0.0;
        };

        std::vector<Sums> sums (numOutputSegments (i));

        const auto isDone =
            forEach (sums.size(),
                     from,
                     range,
                     [&] (std::size_t item, Workspace& w)
                     {
                         const auto start = static_cast<std::int64_t> (item) * segmentSamples();
                         const auto end = std::min (start + segmentSamples(), tracks[i].ownLength);
                         const auto length = static_cast<std::size_t> (end - start);
                         const auto frameLength = static_cast<std::size_t> (shape.rate.frameLength);
                         const auto frames = framesOf (start, end);
                         AlignedBuffer masked (length + 2 * frameLength);
                         std::vector<float> logits (
                             static_cast<std::size_t> (frames.end - frames.first) * shape.numBins + 16);

                         if (! planes->read (powerPlane (i),
                                             frames.first * static_cast<std::int64_t> (shape.numBins),
                                             std::span (logits).first (logits.size() - 16)))
                             return AnalysisStatus::storageFailed;

                         if (! w.reader.open (*tracks[i].source, frames.first, frames.end))
                             return AnalysisStatus::readFailed;

                         for (auto t = frames.first; t < frames.end; ++t)
                         {
                             kernels::maskGains (
                                 w.gains.data(),
                                 logits.data() + static_cast<std::size_t> (t - frames.first) * shape.numBins,
                                 1.0f,
                                 w.stride);
                             addFrame (w, w.reader.spectrum (t), t, start, masked);
                         }

                         auto& mine = sums[item];
                         const auto* y = masked.data() + frameLength;
                         mine.masked = kernels::sumOfSquares (y, length);
                         std::vector<float> output (length);
                         StandardChannels channels (tracks[i]);

                         if (! channels.load (start, end - start))
                             return AnalysisStatus::readFailed;

                         for (int f = 0; f < numFocusSteps; ++f)
                         {
                             if (f > 0)
                                 channels.output (f, start, output);
                             else if (! tracks[i].source->read (start, output))
                                 return AnalysisStatus::readFailed;

                             const auto index = static_cast<std::size_t> (f);
                             mine.product[index] = kernels::dotProduct (output.data(), y, length);
                             mine.energy[index] = kernels::sumOfSquares (output.data(), length);
                         }

                         return AnalysisStatus::completed;
                     });

        if (! isDone)
            return false;

        Sums total;

        for (const auto& part : sums)
        {
            total.masked += part.masked;

            for (std::size_t f = 0; f < numFocusSteps; ++f)
            {
                total.product[f] += part.product[f];
                total.energy[f] += part.energy[f];
            }
        }

        // Scale-invariant signal-to-distortion ratio of each output against the masked track, in dB.
        for (std::size_t f = 0; f < numFocusSteps; ++f)
        {
            const auto projection = total.product[f] * total.product[f] / std::max (total.masked, 1.0e-30);
            const auto distortion =
                std::max (total.energy[f] - projection, 1.0e-12 * total.energy[f] + 1.0e-30);
            analysis.focusMatchDb[f] = 10.0 * std::log10 (std::max (projection, 1.0e-30) / distortion);
        }

        analysis.maskedEnergyDb =
            10.0 * std::log10 (std::max (total.masked, 1.0e-30) / std::max (total.energy[0], 1.0e-30));

        for (int f = 0; f < numFocusSteps; ++f)
        {
            const auto begin = analysis.focusMatchDb.begin();
            analysis.bestFocusUpTo[static_cast<std::size_t> (f)] =
                static_cast<int> (std::max_element (begin, begin + f + 1) - begin);
        }

        // The lowest value that has the whole effect; nothing where next to nothing would be left of the track.
        const auto best = analysis.bestFocusUpTo.back();
        const auto isEmpty = total.energy[0] <= 0.0 || analysis.maskedEnergyDb < emptyTrackDb;
        analysis.suggestedFocus = isEmpty ? 0.0 : static_cast<double> (std::max (1, best));
        return true;
    }

    /** Writes the seven channels whose whole Focus values are the refined layers. */
    bool writeLayers (std::size_t i, const TrackAnalysis& analysis, double from, double range)
    {
        auto* sink = storage.refined (tracks[i].index);

        if (sink == nullptr)
        {
            failure = AnalysisStatus::storageFailed;
            return false;
        }

        // Different Focus values often share their best standard output.
        std::vector<int> layers;

        for (int f = 1; f < numFocusSteps; ++f)
            if (const auto best = analysis.bestFocusUpTo[static_cast<std::size_t> (f)];
                std::find (layers.begin(), layers.end(), best) == layers.end())
                layers.push_back (best);

        return forEach (
            numOutputSegments (i),
            from,
            range,
            [&] (std::size_t item, Workspace& w)
            {
                const auto start = static_cast<std::int64_t> (item) * segmentSamples();
                const auto end = std::min (start + segmentSamples(), tracks[i].ownLength);
                const auto length = static_cast<std::size_t> (end - start);
                const auto frameLength = static_cast<std::size_t> (shape.rate.frameLength);
                const auto frames = framesOf (start, end);
                const auto numFrames = static_cast<std::size_t> (frames.end - frames.first);
                std::vector<float> logits (numFrames * shape.numBins + 16), total (numFrames * w.stride);

                if (! planes->read (powerPlane (i),
                                    frames.first * static_cast<std::int64_t> (shape.numBins),
                                    std::span (logits).first (numFrames * shape.numBins)))
                    return AnalysisStatus::storageFailed;

                const auto rowOf = [&] (std::int64_t t)
                { return static_cast<std::size_t> (t - frames.first); };
                const auto keepIn = [&] (std::vector<float>& rows)
                {
                    return [&] (std::int64_t t, const float* values)
                    { std::copy_n (values, w.stride, rows.data() + rowOf (t) * w.stride); };
                };

                if (! smoothedPower (*tracks[i].source, frames.first, frames.end, w, keepIn (total)))
                    return AnalysisStatus::readFailed;

                StandardChannels channels (tracks[i]);

                if (! channels.load (frameStart (frames.first - 1, shape.rate),
                                     (frames.end - frames.first + 2) * shape.rate.hop
                                         + shape.rate.frameLength))
                    return AnalysisStatus::readFailed;

                std::array<AlignedBuffer, numFocusSteps> signals;
                std::array<std::vector<float>, numFocusSteps> powers;

                for (const auto which : layers)
                {
                    const auto index = static_cast<std::size_t> (which);
                    signals[index] = AlignedBuffer (length + 2 * frameLength);

                    if (which == 0)
                        continue;

                    powers[index].resize (total.size());

                    if (StandardOutput output (tracks[i], channels, which);
                        ! smoothedPower (output, frames.first, frames.end, w, keepIn (powers[index])))
                        return AnalysisStatus::readFailed;
                }

                if (! w.reader.open (*tracks[i].source, frames.first, frames.end))
                    return AnalysisStatus::readFailed;

                for (auto t = frames.first; t < frames.end; ++t)
                {
                    const auto* spectrum = w.reader.spectrum (t);
                    const auto* frameLogits = logits.data() + rowOf (t) * shape.numBins;
                    kernels::maskGains (w.mask.data(), frameLogits, maskExponent, w.stride);

                    for (const auto which : layers)
                    {
                        const auto index = static_cast<std::size_t> (which);

                        // Layer 0 has no standard output of its own: there the mask stands for it.
                        if (which == 0)
                            kernels::maskGains (
                                w.gains.data(), frameLogits, maskExponent + layerExponent, w.stride);
                        else
                        {
                            std::copy_n (w.mask.data(), w.stride, w.gains.data());
                            kernels::applyLayer (w.gains.data(),
                                                 powers[index].data() + rowOf (t) * w.stride,
                                                 total.data() + rowOf (t) * w.stride,
                                                 w.stride);
                        }

                        addFrame (w, spectrum, t, start, signals[index]);
                    }
                }

                std::vector<float> source (length), rendered (length * method::numRenderChannels);

                if (! tracks[i].source->read (start, source))
                    return AnalysisStatus::readFailed;

                replaceNonFinite (source);

                const auto atFocus = [&] (int focus, std::size_t sample)
                {
                    return focus == 0 ? source[sample]
                                      : signals[static_cast<std::size_t> (
                                          analysis.bestFocusUpTo[static_cast<std::size_t> (focus)])]
                                               [frameLength + sample];
                };

                for (std::size_t x = 0; x < length; ++x)
                {
                    auto* frame = rendered.data() + x * method::numRenderChannels;
                    frame[0] = atFocus (5, x);

                    for (int c = 1; c < 6; ++c)
                        frame[c] = atFocus (5 - c, x) - atFocus (6 - c, x);

                    frame[6] = source[x];
                }

                return sink->writeFrames (start, rendered) ? AnalysisStatus::completed
                                                           : AnalysisStatus::storageFailed;
            });
    }

    const std::span<const RefinementTrack> tracks;
    const SpectrumShape shape;
    WorkerPool& pool;
    const RefinementStorage& storage;
    const AnalysisControl& control;
    const std::function<void (double)>& progress;
    std::vector<TrackAnalysis>& analyses;
    const std::size_t numTracks;
    std::size_t numRendered = 0;
    const EvidenceBands bands;
    AlignedBuffer window;
    std::vector<std::unique_ptr<Workspace>> workspaces;
    ScratchPlanes* planes = nullptr;
    std::atomic<AnalysisStatus> failure{ AnalysisStatus::completed };
};
} // namespace

AnalysisStatus refineTracks (std::span<const RefinementTrack> tracks,
                             const AnalysisShape& shape,
                             WorkerPool& pool,
                             const RefinementStorage& storage,
                             const AnalysisControl& control,
                             const std::function<void (double)>& progress,
                             std::vector<TrackAnalysis>& analyses)
{
    return Refinement (tracks, shape, pool, storage, control, progress, analyses).run();
}

AnalysisForecast forecastRefinement (const AnalysisShape& analysisShape, int numThreads)
{
    const SpectrumShape shape (analysisShape);
    const auto tracks = static_cast<std::uint64_t> (analysisShape.numActive);
    const auto workers = static_cast<std::uint64_t> (numThreads);
    const auto bins = static_cast<std::uint64_t> (shape.numBins);
    const auto frames = static_cast<std::uint64_t> (shape.numSegments) * tileFrames;
    const auto samples =
        static_cast<std::uint64_t> (segmentFrames + 8) * static_cast<std::uint64_t> (shape.rate.hop);
    const auto bands = static_cast<std::uint64_t> (
        EvidenceBands (shape.numBins, static_cast<double> (shape.rate.sampleRate) / shape.rate.frameLength)
            .count());

    // A worker holds a block of bins of all tracks, or a segment: logits and two kinds of power, seven channels and layers.
    const auto block = std::max (std::uint64_t{ modelBytes }, 8 * tracks * frames);
    const auto segment = 4 * (3 * bins * (tileFrames + 8) + 22 * samples);
    const auto evidence = 16 * bands * frames;

    AnalysisForecast forecast;
    forecast.memoryBytes = workers * std::max (block, segment) + evidence + (32u << 20);
    forecast.scratchBytes = 8 * tracks * frames * bins;
    return forecast;
}

} // namespace tessivar
