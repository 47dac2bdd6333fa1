#include "report/TrackMeasurement.h"

#include "engine/SpectralFrontEnd.h"
#include "jobs/ExportPlan.h"
#include "jobs/ExportSignals.h"
#include "model/Outcomes.h"
#include "model/audiofile/AudioFileReaders.h"
#include "terms/HitFinding.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::int64_t hitBlock = 256; // samples, as the window takes them

/** The source, and what the knobs make of it. */
class KnobSignals : public TrackSignals
{
public:
    explicit KnobSignals (const TrackState& trackToRead)
        : track (trackToRead), source (plainSignal (track, track.source, 0)), processed (signalOf (track))
    {
    }

    juce::Result
    read (std::int64_t start, std::span<float> sourceDest, std::span<float> processedDest) override
    {
        if (const auto read = source->read (start, sourceDest); read.failed())
            return read;

        replaceNonFinite (sourceDest);

        if (track.hasProcessedOutput())
            return processed->read (start, processedDest);

        std::copy (sourceDest.begin(), sourceDest.end(), processedDest.begin());
        return juce::Result::ok();
    }

private:
    const TrackState& track;
    const std::unique_ptr<ExportSignal> source, processed;
};

/** The source, and the file that was written of it. */
class WrittenSignals : public TrackSignals
{
public:
    WrittenSignals (const TrackState& track, juce::File writtenFile)
        : file (std::move (writtenFile)), source (plainSignal (track, track.source, 0)),
          reader (openAudioFile (file, opened))
    {
    }

    juce::Result
    read (std::int64_t start, std::span<float> sourceDest, std::span<float> processedDest) override
    {
        if (const auto read = source->read (start, sourceDest); read.failed())
            return read;

        replaceNonFinite (sourceDest);
        float* const channels[]{ processedDest.data() };

        if (reader == nullptr || ! reader->read (channels, 1, start, static_cast<int> (processedDest.size())))
            return juce::Result::fail (
                file.getFullPathName() + ": can't be read again"
                + (opened.failed() ? ": " + opened.getErrorMessage() : juce::String()));

        return juce::Result::ok();
    }

private:
    const juce::File file;
    const std::unique_ptr<ExportSignal> source;
    juce::Result opened = juce::Result::ok();
    const std::unique_ptr<AudioFileReader> reader;
};

/** A block of a signal with what its windows need on both sides. */
struct Block
{
    std::vector<float> samples;
    std::size_t margin = 0;

    [[nodiscard]] std::span<float> core (std::size_t length)
    {
        return std::span (samples).subspan (margin, length);
    }
};

void addSamples (SignalPicture& picture, std::span<const float> samples, std::size_t column)
{
    auto& extremes = picture.extremes[column];
    auto energy = 0.0;

    for (const auto sample : samples)
    {
        extremes.low = std::min (extremes.low, sample);
        extremes.high = std::max (extremes.high, sample);
        energy += static_cast<double> (sample) * static_cast<double> (sample);
    }

    picture.peak = std::max ({ picture.peak, extremes.high, -extremes.low });
    picture.energies[column] += energy;
    picture.energy += energy;
}

/** Measures a track while its blocks pass by. */
class Measuring
{
public:
    Measuring (const TrackState& trackToMeasure,
               const PictureAxis& axisToUse,
               SpectrumColumns& spectraToUse,
               TrackMeasurement& resultToFill)
        : track (trackToMeasure), axis (axisToUse), spectra (spectraToUse), result (resultToFill),
          isProcessed (track.hasProcessedOutput()),
          windowsPerColumn (std::max<std::int64_t> (
              1,
              (axis.lengthInSamples / static_cast<std::int64_t> (axis.numColumns) + windowLength() - 1)
                  / windowLength())),
          stepLength (std::max<std::int64_t> (1, std::llround (ReductionCurve::usualStep * axis.sampleRate)))
    {
        for (auto* signal : { &result.source, &result.processed, &result.removed })
        {
            signal->extremes.resize (axis.numColumns);
            signal->energies.resize (axis.numColumns);
            signal->levels.resize (axis.numColumns * SpectrumColumns::numBands);
        }

        const auto format = exportSampleFormatFor (
            track.sourceInfo.bitsPerSample, track.sourceInfo.isFloatingPoint, ExportFileType::wav);
        clippedFrom = format.isFloatingPoint
                          ? std::numeric_limits<float>::infinity()
                          : 1.0f + static_cast<float> (std::ldexp (1.0, 1 - format.bitsPerSample));

        const auto count = [] (std::int64_t length, std::int64_t step)
        { return static_cast<std::size_t> ((length + step - 1) / step); };
        steps.resize (count (result.lengthInSamples, stepLength));
        peaks.resize (count (result.lengthInSamples, hitBlock));
    }

    [[nodiscard]] juce::Result addBlock (TrackSignals& signals, std::int64_t start, std::int64_t end)
    {
        const auto margin = static_cast<std::size_t> (windowLength() / 2);
        const auto length = static_cast<std::size_t> (end - start);
        const auto before = std::min<std::int64_t> (start, windowLength() / 2);
        const auto after = std::min (result.lengthInSamples - end, windowLength() / 2);

        for (auto* block : { &source, &processed, &removed })
        {
            block->margin = margin;
            block->samples.assign (length + 2 * margin, 0.0f);
        }

        const auto inside = [&] (Block& block)
        {
            return std::span (block.samples)
                .subspan (margin - static_cast<std::size_t> (before),
                          static_cast<std::size_t> (before + after) + length);
        };

        if (const auto read = signals.read (start - before, inside (source), inside (processed));
            read.failed())
            return read;

        if (isProcessed)
            std::transform (source.samples.begin(),
                            source.samples.end(),
                            processed.samples.begin(),
                            removed.samples.begin(),
                            std::minus<>());

        addColumns (start, end);
        addSteps (start, length);
        addWindows (start, end);
        return juce::Result::ok();
    }

    void finish()
    {
        for (auto& step : steps)
        {
            step.source /= static_cast<float> (stepLength);
            step.processed /= static_cast<float> (stepLength);
        }

        result.reduction = ReductionCurve (steps);

        for (const auto block : findHitBlocks (peaks, axis.sampleRate / static_cast<double> (hitBlock)))
            result.hits.push_back (static_cast<double> (static_cast<std::int64_t> (block) * hitBlock)
                                   / axis.sampleRate);
    }

private:
    [[nodiscard]] std::int64_t windowLength() const
    {
        return static_cast<std::int64_t> (spectra.windowLength());
    }

    void addColumns (std::int64_t start, std::int64_t end)
    {
        for (auto first = start; first < end;)
        {
            const auto column = axis.columnAt (first);
            const auto last = std::min (end, std::max (first + 1, axis.firstSampleOf (column + 1)));
            const auto part = [&] (Block& block)
            {
                return block.core (static_cast<std::size_t> (end - start))
                    .subspan (static_cast<std::size_t> (first - start),
                              static_cast<std::size_t> (last - first));
            };
            addSamples (result.source, part (source), column);
            addSamples (result.processed, part (processed), column);

            if (isProcessed)
                addSamples (result.removed, part (removed), column);

            first = last;
        }
    }

    void addSteps (std::int64_t start, std::size_t length)
    {
        const auto before = source.core (length), after = processed.core (length);
        const auto end = start + static_cast<std::int64_t> (length);

        for (auto first = start; first < end;)
        {
            const auto last =
                std::min ({ end, (first / stepLength + 1) * stepLength, (first / hitBlock + 1) * hitBlock });
            auto step = steps[static_cast<std::size_t> (first / stepLength)];
            auto peak = peaks[static_cast<std::size_t> (first / hitBlock)];

            for (auto i = static_cast<std::size_t> (first - start);
                 i < static_cast<std::size_t> (last - start);
                 ++i)
            {
                step.source += before[i] * before[i];
                step.processed += after[i] * after[i];
                peak = std::max (peak, std::abs (after[i]));
                result.clippedSamples += std::abs (after[i]) >= clippedFrom ? 1 : 0;
            }

            steps[static_cast<std::size_t> (first / stepLength)] = step;
            peaks[static_cast<std::size_t> (first / hitBlock)] = peak;
            first = last;
        }
    }

    /** Windows stand evenly, a whole number in each column, so that no moment is left out. */
    void addWindows (std::int64_t start, std::int64_t end)
    {
        const auto numWindows = static_cast<std::int64_t> (axis.numColumns) * windowsPerColumn;
        const auto centreOf = [&] (std::int64_t window)
        { return (2 * window + 1) * axis.lengthInSamples / (2 * numWindows); };
        auto first = start * numWindows / axis.lengthInSamples;

        while (first > 0 && centreOf (first - 1) >= start)
            --first;

        while (centreOf (first) < start)
            ++first;

        auto last = first;

        while (last < numWindows && centreOf (last) < end)
            ++last;

        const auto add = [&] (const Block& block, SignalPicture& picture)
        {
            const auto count = static_cast<std::size_t> (last - first);
            windows.resize (count);
            levels.resize (count * SpectrumColumns::numBands);

            // The margin before the block is just half a window.
            for (std::size_t i = 0; i < count; ++i)
                windows[i] =
                    block.samples.data() + (centreOf (first + static_cast<std::int64_t> (i)) - start);

            spectra.compute (windows, levels);

            for (std::size_t i = 0; i < count; ++i)
            {
                const auto column =
                    static_cast<std::size_t> ((first + static_cast<std::int64_t> (i)) / windowsPerColumn);

                for (std::size_t band = 0; band < SpectrumColumns::numBands; ++band)
                {
                    auto& step = picture.levels[column * SpectrumColumns::numBands + band];
                    step =
                        std::max (step, SignalPicture::stepOf (levels[i * SpectrumColumns::numBands + band]));
                }
            }
        };

        add (source, result.source);

        if (! isProcessed)
            return;

        add (processed, result.processed);
        add (removed, result.removed);
    }

    const TrackState& track;
    const PictureAxis& axis;
    SpectrumColumns& spectra;
    TrackMeasurement& result;
    const bool isProcessed;
    const std::int64_t windowsPerColumn, stepLength;
    float clippedFrom = 0.0f;
    Block source, processed, removed;
    std::vector<ReductionCurve::Powers> steps; // sums of squares until the end
    std::vector<float> peaks;                  // of blocks for hits
    std::vector<const float*> windows;
    std::vector<float> levels;
};
} // namespace

std::unique_ptr<TrackSignals> signalsOf (const TrackState& track, const TrackExport* written)
{
    if (written != nullptr && written->isWritten() && track.hasProcessedOutput())
        return std::make_unique<WrittenSignals> (track, written->file);

    return std::make_unique<KnobSignals> (track);
}

PictureAxis PictureAxis::of (const GroupState& group)
{
    constexpr std::int64_t shortestColumn = 256; // samples
    PictureAxis axis;
    axis.sampleRate = group.sampleRate();

    for (const auto& track : group.tracks)
        axis.lengthInSamples = std::max (axis.lengthInSamples, track.lengthInSamples());

    axis.numColumns = static_cast<std::size_t> (std::clamp<std::int64_t> (
        axis.lengthInSamples / shortestColumn, 1, static_cast<std::int64_t> (mostColumns)));
    return axis;
}

std::int64_t PictureAxis::firstSampleOf (std::size_t column) const
{
    const auto columns = static_cast<std::int64_t> (numColumns);
    return (static_cast<std::int64_t> (column) * lengthInSamples + columns - 1) / columns;
}

std::size_t PictureAxis::columnAt (std::int64_t sample) const
{
    return static_cast<std::size_t> (sample * static_cast<std::int64_t> (numColumns) / lengthInSamples);
}

std::uint8_t SignalPicture::stepOf (float levelDb)
{
    return static_cast<std::uint8_t> (
        std::clamp (2.0f * (levelDb - SpectrumColumns::floorDb) + 0.5f, 0.0f, 255.0f));
}

float SignalPicture::levelOf (std::uint8_t step)
{
    return SpectrumColumns::floorDb + 0.5f * static_cast<float> (step);
}

float TrackMeasurement::meanDb (const SignalPicture& signal) const
{
    const auto meanSquare = lengthInSamples > 0 ? signal.energy / static_cast<double> (lengthInSamples) : 0.0;
    return std::max (SpectrumColumns::floorDb,
                     static_cast<float> (10.0 * math::log10 (meanSquare + 1.0e-30)));
}

TrackMeasurement measureTrack (const TrackState& track,
                               const TrackExport* written,
                               const PictureAxis& axis,
                               SpectrumColumns& spectra,
                               const WorkControl& control)
{
    constexpr std::int64_t blockLength = 131072;
    TrackMeasurement result;
    result.lengthInSamples = track.lengthInSamples();
    Measuring measuring (track, axis, spectra, result);
    const auto signals = signalsOf (track, written);

    for (std::int64_t start = 0; start < result.lengthInSamples; start += blockLength)
    {
        if (control.stopRequested())
        {
            result.outcome = Outcome::stopped();
            return result;
        }

        const auto end = std::min (start + blockLength, result.lengthInSamples);

        if (const auto added = measuring.addBlock (*signals, start, end); added.failed())
        {
            result.outcome = outcomeOf (added);
            return result;
        }

        control.progress (static_cast<double> (end - start));
    }

    measuring.finish();

    // Before the file's depth limited it.
    if (written != nullptr && written->isWritten())
    {
        result.processed.peak = written->peak;
        result.clippedSamples = written->clippedSamples;
    }

    return result;
}

} // namespace tessivar
