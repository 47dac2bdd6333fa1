#include "jobs/ExportTracks.h"

#include "jobs/AudioFileChunks.h"
#include "jobs/ExportFiles.h"
#include "jobs/ExportSignals.h"
#include "model/TemporaryStore.h"
#include "terms/ChannelLayout.h"

#include <memory>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
/** The output of one track, or its source as it is when it has none. */
ExportTask taskFor (const TrackState& track, const juce::File& file, ExportFileType type, ExportDepth depth)
{
    auto metadata = carryMetadata (track.sourceInfo, type);
    ExportTask task;
    task.file = file;
    task.plan.type = type;
    task.plan.format =
        exportSampleFormatFor (track.sourceInfo.bitsPerSample, track.sourceInfo.isFloatingPoint, type, depth);
    task.plan.sampleRate = track.sampleRate();
    task.plan.lengthInSamples = track.lengthInSamples();
    task.plan.metadata = std::move (metadata.chunks);
    task.notes.add (metadata.note);
    task.makeSignal = [&track] { return signalOf (track); };
    return task;
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
    std::vector<ExportTask> tasks;

    for (std::size_t i = 0; i < tracks.size(); ++i)
    {
        tasks.push_back (taskFor (tracks[i], files[i].file, type, options.depth));
        tasks.back().notes.add (files[i].note);
    }

    report.tracks = writeFiles (std::move (tasks), tracks, options, control, report);
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
    std::vector<ExportTask> tasks{ taskFor (
        track, file, exportFileTypeFor (file.getFileExtension()), options.depth) };
    report.tracks = writeFiles (std::move (tasks), { &track, 1 }, ownOptions, control, report);
    return report;
}

ExportReport exportComponents (std::span<const TrackState> tracks,
                               const ExportOptions& options,
                               const WorkControl& control)
{
    ExportReport report;
    const auto files = planComponents (tracks, options);
    std::vector<ExportTask> tasks;

    for (const auto& track : tracks)
    {
        if (track.components == nullptr)
            continue;

        // Ten planes one after the other, which is one long channel.
        const auto planes = std::make_shared<StoreSamples> (track.components, 1);

        for (int slot = 0; slot < channelLayout::numComponents; ++slot)
        {
            ExportTask task;
            task.file = files[tasks.size()];
            task.plan.format = { 32, true, {} };
            task.plan.sampleRate = track.sampleRate();
            task.plan.lengthInSamples = track.lengthInSamples();
            task.makeSignal = [&track, planes, slot]
            { return plainSignal (track, planes, slot * track.lengthInSamples()); };
            tasks.push_back (std::move (task));
        }
    }

    for (const auto& written : writeFiles (std::move (tasks), tracks, options, control, report))
        if (written.isWritten())
            report.componentFiles.push_back (written.file);

    return report;
}

} // namespace tessivar
