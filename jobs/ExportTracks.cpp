#include "jobs/ExportTracks.h"

#include "engine/SuppressionRendering.h"
#include "jobs/AudioFileChunks.h"
#include "jobs/MonoFileWriter.h"

#include "model/TemporaryStore.h"
#include "platform/DiskNames.h"
#include "platform/Folders.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384; // samples rendered and written at a time

void protectFilesOf (std::span<const TrackState> tracks, OutputRules& rules)
{
    for (const auto& track : tracks)
    {
        rules.protectSource (track.sourceInfo.file);
        rules.protectSamples (track.source.get());
        rules.protectSamples (track.rendered.get());
    }
}

/** A signal to write, read block by block; measures what was removed from it. */
class Signal
{
public:
    virtual ~Signal() = default;

    /** Fills dest with the output from start on. */
    [[nodiscard]] virtual juce::Result read (std::int64_t start, std::span<float> dest) = 0;

    /** Energies of what was read so far. */
    double sourceEnergy = 0.0;
    double outputEnergy = 0.0;
    double removedEnergy = 0.0; // of source minus output
};

double energyOf (std::span<const float> samples)
{
    double sum = 0.0;

    for (const auto sample : samples)
        sum += static_cast<double> (sample) * static_cast<double> (sample);

    return sum;
}

juce::Result lostAudio (const TrackState& track, const std::shared_ptr<TrackSamples>& samples)
{
    const auto path = track.sourceInfo.file.getFullPathName();
    return juce::Result::fail (
        "the audio of " + (path.isNotEmpty() ? path : track.name) + " can't be read: "
        + (samples != nullptr ? samples->lastError() : juce::String ("it was never kept")));
}

/** Samples of one channel as they are, from firstSample on. */
class PlainSignal final : public Signal
{
public:
    PlainSignal (const TrackState& trackToWrite,
                 std::shared_ptr<TrackSamples> channel,
                 std::int64_t firstSample)
        : track (trackToWrite), samples (std::move (channel)), first (firstSample)
    {
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        if (samples == nullptr || ! samples->readFrames (first + start, dest))
            return lostAudio (track, samples);

        outputEnergy += energyOf (dest);
        sourceEnergy = outputEnergy;
        return juce::Result::ok();
    }

private:
    const TrackState& track;
    std::shared_ptr<TrackSamples> samples;
    std::int64_t first;
};

/** Seven channels, weighted by the track's sounding knobs. */
class RenderedSignal final : public Signal
{
public:
    explicit RenderedSignal (const TrackState& trackToWrite)
        : track (trackToWrite), rule (SuppressionRule::forSetting (trackToWrite.soundingKnobs())),
          frames (static_cast<std::size_t> (blockLength * channelLayout::numRendered))
    {
        const auto keepsAll = std::all_of (rule.channelWeight.begin(),
                                           rule.channelWeight.end(),
                                           [] (float weight) { return weight == 1.0f; });

        // Rounding keeps the sum of the channels from being exactly the source.
        isSource = keepsAll || rule.back == 1.0f;
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        constexpr std::size_t numChannels = channelLayout::numRendered;
        const auto block = std::span<float> (frames).first (dest.size() * numChannels);

        if (track.rendered == nullptr || ! track.rendered->readFrames (start, block))
            return lostAudio (track, track.rendered);

        if (! isSource)
            renderSuppression (dest, block, rule);

        for (std::size_t i = 0; i < dest.size(); ++i)
        {
            const auto source = block[i * numChannels + numChannels - 1];
            sourceEnergy += static_cast<double> (source) * static_cast<double> (source);

            if (isSource)
                dest[i] = source;

            const auto removed = static_cast<double> (source) - static_cast<double> (dest[i]);
            removedEnergy += removed * removed;
        }

        outputEnergy += energyOf (dest);

        // Summed in another order, the same samples would look as if something had been removed.
        if (isSource)
            sourceEnergy = outputEnergy;

        return juce::Result::ok();
    }

private:
    const TrackState& track;
    const SuppressionRule rule;
    std::vector<float> frames;
    bool isSource = false;
};

/** Writes files one by one and keeps the report. */
class Exporter
{
public:
    Exporter (std::span<const TrackState> tracks,
              const ExportOptions& exportOptions,
              const WorkControl& exportControl,
              std::int64_t samplesToWrite,
              ExportReport& exportReport)
        : options (exportOptions), control (exportControl), report (exportReport),
          rules (exportOptions.rules != nullptr ? *exportOptions.rules : ownRules),
          totalSamples (samplesToWrite)
    {
        protectFilesOf (tracks, rules);

        if (const auto created = makeFolder (options.folder); created.failed())
            folderError = options.folder.getFullPathName() + " can't be made: " + created.getErrorMessage();
    }

    /** Writes one file; a failure also goes into the report. Does nothing after a stop. */
    TrackExport write (const juce::File& target, MonoFilePlan plan, Signal& signal)
    {
        TrackExport result;
        result.file = target;
        result.format = plan.format;

        if (report.outcome.wasStopped())
            return result;

        fileStart = samplesDone;
        samplesDone += plan.lengthInSamples;
        result.outcome =
            control.stopRequested() ? Outcome::stopped() : writeFile (std::move (plan), signal, result);

        if (! result.outcome.isOk())
        {
            if (! result.outcome.wasStopped())
                report.errors.add (result.outcome.reason);

            report.outcome = result.outcome;
        }

        return result;
    }

    void log (const juce::File& file, const juce::String& text) { report.remarks.push_back ({ file, text }); }

private:
    Outcome failed (const juce::File& file, const juce::String& remark, const juce::String& reason)
    {
        log (file, remark);
        return Outcome::failed (reason.toStdString());
    }

    Outcome writeFile (MonoFilePlan plan, Signal& signal, TrackExport& result)
    {
        const auto& target = result.file;

        if (folderError.isNotEmpty())
            return failed (target, "Failed to open file.", folderError);

        if (const auto refusal = rules.claim (target, options.overwrite); refusal != OutputRefusal::none)
            return failed (target,
                           refusal == OutputRefusal::exists ? "File already exists - Not written."
                                                            : "Not written: " + reasonOf (refusal) + ".",
                           target.getFullPathName() + ": " + reasonOf (refusal));

        if (const auto possible = plan.check(); possible.failed())
            return failed (target,
                           "Failed to create file.",
                           target.getFullPathName() + ": " + possible.getErrorMessage());

        if (target.existsAsFile())
            log (target, "File already exists - Overwritting.");

        const auto format = plan.format;
        const auto numSamples = plan.lengthInSamples;
        const auto fileBytes = plan.fileBytes();
        MonoFileWriter writer (
            target, std::move (plan), options.calls != nullptr ? *options.calls : FileSystemCalls::system());

        if (const auto opened = writer.openFile(); opened.failed())
            return failed (target, "Failed to open file.", opened.getErrorMessage());

        if (const auto created = writer.createWriter(); created.failed())
            return failed (target, "Failed to create file.", created.getErrorMessage());

        std::vector<float> samples (static_cast<std::size_t> (blockLength));

        for (std::int64_t start = 0; start < numSamples; start += blockLength)
        {
            if (control.stopRequested())
                return Outcome::stopped();

            const auto count = std::min (blockLength, numSamples - start);
            const auto block = std::span<float> (samples).first (static_cast<std::size_t> (count));
            auto outcome = signal.read (start, block);

            if (outcome.wasOk())
                outcome = writer.write (block);

            if (outcome.failed())
                return failed (target, "Failed to write file.", outcome.getErrorMessage());

            for (const auto sample : block)
                result.peak = std::max (result.peak, std::abs (sample));

            setProgress (start + count);
        }

        auto finished = writer.finish();

        if (finished.wasOk())
            finished = writer.commit (options.overwrite ? AtomicFile::IfTargetExists::replace
                                                        : AtomicFile::IfTargetExists::fail);

        if (finished.failed())
            return failed (target, "Failed to write file.", finished.getErrorMessage());

        result.bytes = fileBytes;
        result.clippedSamples = writer.clippedSamples();

        if (format.note.isNotEmpty())
            log (target, format.note);

        if (result.clippedSamples > 0)
            log (target,
                 juce::String (result.clippedSamples) + " samples clipped, peak "
                     + juce::String (juce::Decibels::gainToDecibels (result.peak), 2) + " dBFS.");

        return Outcome::ok();
    }

    void setProgress (std::int64_t samplesOfFile)
    {
        control.progress (static_cast<double> (fileStart + samplesOfFile)
                          / static_cast<double> (std::max<std::int64_t> (1, totalSamples)));
    }

    const ExportOptions& options;
    const WorkControl& control;
    ExportReport& report;
    OutputRules ownRules;
    OutputRules& rules;
    juce::String folderError;
    const std::int64_t totalSamples;
    std::int64_t samplesDone = 0, fileStart = 0;
};

/** Level of an energy over the source's, in dB; 0 for a silent source. */
double levelOverSource (double energy, const Signal& signal)
{
    constexpr double lowest = -200.0;

    if (signal.sourceEnergy <= 0.0)
        return 0.0;

    return std::max (lowest, 10.0 * std::log10 (std::max (energy / signal.sourceEnergy, 1.0e-20)));
}

/** Writes the output of one track, or its source as it is when it has none. */
TrackExport
exportOne (const TrackState& track, const juce::File& file, ExportFileType type, Exporter& exporter)
{
    auto metadata = carryMetadata (track.sourceInfo, type);
    MonoFilePlan plan;
    plan.type = type;
    plan.format =
        exportSampleFormatFor (track.sourceInfo.bitsPerSample, track.sourceInfo.isFloatingPoint, type);
    plan.sampleRate = track.sampleRate();
    plan.lengthInSamples = track.lengthInSamples();
    plan.metadata = std::move (metadata.chunks);

    std::unique_ptr<Signal> signal;

    if (track.hasProcessedOutput())
        signal = std::make_unique<RenderedSignal> (track);
    else
        signal = std::make_unique<PlainSignal> (track, track.source, 0);

    auto result = exporter.write (file, std::move (plan), *signal);
    result.removedDb = levelOverSource (signal->outputEnergy, *signal);

    if (signal->sourceEnergy > 0.0)
        result.removedPartDb = levelOverSource (signal->removedEnergy, *signal);

    if (result.isWritten() && metadata.note.isNotEmpty())
        exporter.log (result.file, metadata.note);

    return result;
}
} // namespace

juce::StringArray ExportReport::log() const
{
    juce::StringArray lines;

    for (const auto& remark : remarks)
        lines.add (remark.file.getFileName() + " - " + remark.text);

    return lines;
}

juce::StringArray ExportReport::remarksOn (const juce::File& file) const
{
    juce::StringArray texts;

    for (const auto& remark : remarks)
        if (remark.file == file)
            texts.add (remark.text);

    return texts;
}

ExportReport
exportTracks (std::span<const TrackState> tracks, const ExportOptions& options, const WorkControl& control)
{
    return exportTracks (tracks, planExport (tracks, options), options, control);
}

ExportReport exportTracks (std::span<const TrackState> tracks,
                           std::span<const PlannedFile> files,
                           const ExportOptions& options,
                           const WorkControl& control)
{
    ExportReport report;
    const auto type = exportFileTypeFor (options.extension);
    std::int64_t totalSamples = 0;

    for (const auto& track : tracks)
        totalSamples += track.lengthInSamples();

    Exporter exporter (tracks, options, control, totalSamples, report);

    for (std::size_t i = 0; i < tracks.size(); ++i)
    {
        report.tracks.push_back (exportOne (tracks[i], files[i].file, type, exporter));

        if (report.tracks.back().isWritten() && files[i].note.isNotEmpty())
            exporter.log (files[i].file, files[i].note);
    }

    return report;
}

ExportReport exportTrackTo (const juce::File& target,
                            const TrackState& track,
                            const ExportOptions& options,
                            const WorkControl& control)
{
    ExportReport report;
    auto ownOptions = options;
    ownOptions.folder = target.getParentDirectory();
    const auto file = target.getFileExtension().isEmpty() ? target.withFileExtension (".wav") : target;
    Exporter exporter ({ &track, 1 }, ownOptions, control, track.lengthInSamples(), report);
    report.tracks.push_back (exportOne (track, file, exportFileTypeFor (file.getFileExtension()), exporter));
    return report;
}

ExportReport exportComponents (std::span<const TrackState> tracks,
                               const ExportOptions& options,
                               const WorkControl& control)
{
    ExportReport report;
    std::int64_t totalSamples = 0;

    for (const auto& track : tracks)
        if (track.components != nullptr)
            totalSamples += channelLayout::numComponents * track.lengthInSamples();

    const auto files = planComponents (tracks, options);
    auto file = files.begin();
    Exporter exporter (tracks, options, control, totalSamples, report);

    for (const auto& track : tracks)
    {
        if (track.components == nullptr)
            continue;

        // Ten planes one after the other, which is one long channel.
        const auto planes = std::make_shared<StoreSamples> (track.components, 1);

        for (int slot = 0; slot < channelLayout::numComponents; ++slot, ++file)
        {
            MonoFilePlan plan;
            plan.format = { 32, true, {} };
            plan.sampleRate = track.sampleRate();
            plan.lengthInSamples = track.lengthInSamples();
            PlainSignal signal (track, planes, slot * track.lengthInSamples());

            if (exporter.write (*file, std::move (plan), signal).isWritten())
                report.componentFiles.push_back (*file);
        }
    }

    return report;
}

} // namespace tessivar
