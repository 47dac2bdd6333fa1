#include "app/FileChooser.h"
#include "app/GroupWork.h"
#include "app/OpenExternally.h"
#include "app/TrackLooks.h"
#include "model/ForeignText.h"
#include "model/WritingNote.h"
#include "ui/dialogs/ExportReportDialog.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto folderWildcard = "*.wav;*.aiff";

juce::String filesExported (int count)
{
    return juce::String (count) + (count == 1 ? " file exported" : " files exported");
}

/** Without the name of the file, which stands beside it. */
juce::String reasonOf (const TrackExport& track)
{
    const auto path = track.file.getFullPathName();
    return track.error.startsWith (path) ? track.error.substring (path.length()).trimCharactersAtStart (": ")
                                         : track.error;
}

/** "/Mixes/Processed · WAV · 24-bit · 48 kHz · mono", with what all files that were written have in common. */
juce::String
factsOf (const ExportReport& report, const std::vector<SessionTrack>& tracks, const juce::File& folder)
{
    juce::StringArray types, depths, rates;

    for (std::size_t i = 0; i < report.tracks.size(); ++i)
    {
        const auto& track = report.tracks[i];

        if (! track.written)
            continue;

        const auto isAiff = exportFileTypeFor (track.file.getFileExtension()) == ExportFileType::aiff;
        types.addIfNotAlreadyThere (isAiff ? "AIFF" : "WAV");
        depths.addIfNotAlreadyThere (juce::String (track.format.bitsPerSample) + "-bit"
                                     + (track.format.isFloatingPoint ? " float" : ""));
        rates.addIfNotAlreadyThere (rateText (tracks[i].sampleRate));
    }

    juce::StringArray facts{ shownText (folder.getFullPathName()) };

    for (const auto& kind : { types, depths, rates })
        if (kind.size() == 1)
            facts.add (kind[0]);

    if (! types.isEmpty())
        facts.add ("mono");

    return facts.joinIntoString (juce::String::fromUTF8 (" \xc2\xb7 "));
}
} // namespace

void GroupWork::exportTrack (const Group::Ptr& group, const Track::Ptr& track)
{
    const auto refusal = exportRefusal (ExportScope::track, workspace, group.get(), track.get());

    if (refusal.isNotEmpty())
    {
        prompts.warn (refusal);
        return;
    }

    const auto session = tracksToExport ({ group })[static_cast<std::size_t> (group->indexOf (*track))];
    auto request = chooserRequest ("Choose a file to export your audio - " + track->name(),
                                   "*.wav",
                                   FileChooserRequest::Kind::saveFile,
                                   workspace.lastExportFolder());
    request.suggestedName = exportFileName (session, ".wav");
    const auto files = choose (request);

    if (files.empty())
        return;

    const auto file =
        files.front().getFileExtension().isEmpty() ? files.front().withFileExtension (".wav") : files.front();
    workspace.setLastExportFolder (file.getParentDirectory().getFullPathName());

    if (! confirmOverwriting ({ file }, prompts))
        return;

    ExportOptions options;
    options.folder = file.getParentDirectory();
    options.overwrite = true;
    runExport ("Exporting Track to folder " + options.folder.getFullPathName(), { session }, options, file);
}

void GroupWork::exportGroups (ExportScope scope, const Group::Ptr& selected)
{
    const auto refusal = exportRefusal (scope, workspace, selected.get(), nullptr);

    if (refusal.isNotEmpty())
    {
        prompts.warn (refusal);
        return;
    }

    const auto isOne = scope == ExportScope::group;
    const auto groups = isOne ? std::vector<Group::Ptr>{ selected } : workspace.allGroups();
    const auto tracks = tracksToExport (groups);

    FileChooserRequest request;
    request.title = isOne ? "Choose a folder to export your audio - " + selected->name()
                          : juce::String ("Choose a folder to export your audio...");
    request.wildcard = folderWildcard;
    request.kind = FileChooserRequest::Kind::chooseFolder;
    request.startFolder =
        workspace.folderSettings().exportFolder.value_or (juce::File (workspace.lastExportFolder()));
    const auto folders = choose (request);

    if (folders.empty())
        return;

    ExportOptions options;
    options.folder = folders.front();
    options.overwrite = true;
    workspace.setLastExportFolder (options.folder.getFullPathName());

    if (confirmOverwriting (planExport (tracks, options), prompts))
        runExport ("Exporting Group to folder " + options.folder.getFullPathName(), tracks, options, {});
}

void GroupWork::runExport (const juce::String& title,
                           const std::vector<SessionTrack>& tracks,
                           const ExportOptions& options,
                           const juce::File& singleFile)
{
    const WritingNote note (workspace.folders().writing(), options.folder);
    auto left = tracks;

    for (;;)
    {
        auto rules = outputRules();
        auto ownOptions = options;
        ownOptions.rules = &rules;
        ExportReport report;
        const auto end =
            runner.run (title,
                        {},
                        [&] (const JobRunner::Watch& watch)
                        {
                            report =
                                singleFile == juce::File()
                                    ? exportTracks (left, ownOptions, controlOf (watch))
                                    : exportTrackTo (singleFile, left.front(), ownOptions, controlOf (watch));
                        });

        if (end == JobRunner::End::failed)
            prompts.warn ("The export did not come to its end.", runner.failure());

        if (end != JobRunner::End::done || ! reportExport (report, left, options))
            return;

        std::vector<SessionTrack> failed;

        for (std::size_t i = 0; i < report.tracks.size(); ++i)
            if (! report.tracks[i].written)
                failed.push_back (left[i]);

        left = std::move (failed);
    }
}

bool GroupWork::reportExport (const ExportReport& report,
                              const std::vector<SessionTrack>& tracks,
                              const ExportOptions& options)
{
    ExportReportContent content;
    content.facts = factsOf (report, tracks, options.folder);

    for (const auto& track : report.tracks)
    {
        ExportReportLine line;
        const auto fileName = track.file.getFileName();
        line.fileName = shownText (fileName);
        line.outcome = track.written ? ExportReportLine::Outcome::written : ExportReportLine::Outcome::failed;

        for (const auto& text : report.log)
            if (text.startsWith (fileName + " - "))
            {
                line.remark = shownText (text.fromFirstOccurrenceOf (" - ", false, false));

                if (track.written)
                    line.outcome = ExportReportLine::Outcome::remarked;
            }

        if (! track.written)
            line.remark = shownText (reasonOf (track));

        content.lines.push_back (line);
    }

    const auto folder = options.folder;
    const auto numWritten = content.numWritten();

    if (report.log.isEmpty() && report.errors.isEmpty())
    {
        if (onNotice)
            onNotice (filesExported (numWritten), "Show in folder", [folder] { showFolder (folder); });

        return false;
    }

    return prompts.showExportReport (content, [folder] { showFolder (folder); });
}

} // namespace tessivar
