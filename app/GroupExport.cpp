#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/GroupWork.h"
#include "app/TrackPresenter.h"
#include "app/WindowJobs.h"
#include "model/ForeignText.h"
#include "model/SampleRateText.h"
#include "platform/AtomicFile.h"
#include "platform/Desktop.h"
#include "terms/WorkControl.h"
#include "ui/dialogs/ExportReportDialog.h"

#include <algorithm>
#include <array>
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

/** A single remark goes beside the file's name; several, or the reason of a failure, below it. */
ExportReportLine lineOf (const TrackExport& track, const juce::StringArray& remarks)
{
    ExportReportLine line;
    line.fileName = shownText (track.file.getFileName());

    if (! track.isWritten())
    {
        line.outcome = ExportReportLine::Outcome::failed;
        line.remark = shownText (remarks[remarks.size() - 1]); // of all steps the one that failed
        line.detail = shownText (track.outcome.reason);
    }
    else if (! remarks.isEmpty())
    {
        // What the user has asked for, such as replacing a file, needs no look.
        if (track.clippedSamples > 0 || track.format.note.isNotEmpty())
            line.outcome = ExportReportLine::Outcome::remarked;

        (remarks.size() == 1 ? line.remark : line.detail) = shownText (remarks.joinIntoString ("\n"));
    }

    return line;
}

/** "/Mixes/Processed · WAV · 24-bit · 48 kHz · mono": what all written files have in common. */
juce::String
factsOf (const ExportReport& report, const std::vector<TrackState>& tracks, const juce::File& folder)
{
    juce::StringArray types, depths, rates;

    for (std::size_t i = 0; i < report.tracks.size(); ++i)
    {
        const auto& track = report.tracks[i];

        if (! track.isWritten())
            continue;

        const auto isAiff = exportFileTypeFor (track.file.getFileExtension()) == ExportFileType::aiff;
        types.addIfNotAlreadyThere (isAiff ? "AIFF" : "WAV");
        depths.addIfNotAlreadyThere (juce::String (track.format.bitsPerSample) + "-bit"
                                     + (track.format.isFloatingPoint ? " float" : ""));
        rates.addIfNotAlreadyThere (sampleRateText (tracks[i].sampleRate()));
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
    const auto check = checkExportable (ExportScope::track, workspace, group.get(), track.get());

    if (! check.isOk())
    {
        prompts.warn (check.reason);
        return;
    }

    const auto file = chooseExportFile (
        "Choose a file to export your audio - " + track->name(),
        "*.wav",
        exportFileName (track->state(), ".wav"),
        [] (const juce::File& chosen)
        { return chosen.getFileExtension().isEmpty() ? chosen.withFileExtension (".wav") : chosen; });

    if (! file)
        return;

    ExportOptions options;
    options.folder = file->getParentDirectory();
    options.overwrite = true;
    options.depth = exportDepth (workspace.settings());
    runExport (ExportScope::track, { track->state() }, { PlannedFile{ *file } }, options);
}

std::optional<juce::File>
GroupWork::chooseExportFile (const juce::String& title,
                             const juce::String& wildcard,
                             const juce::String& suggestedName,
                             const std::function<juce::File (const juce::File&)>& withExtension)
{
    const auto files = choose ({ title,
                                 wildcard,
                                 FileChooserRequest::Kind::saveFile,
                                 workspace.exportDialogFolder(),
                                 suggestedName });

    if (files.empty())
        return {};

    const auto file = withExtension (files.front());
    workspace.setLastExportFolder (file.getParentDirectory().getFullPathName());
    return confirmOverwriting (std::vector{ PlannedFile{ file } }, prompts) ? std::optional (file)
                                                                            : std::nullopt;
}

void GroupWork::exportGroups (ExportScope scope, const Group::Ptr& selected)
{
    const auto ofOne = scope == ExportScope::group;

    if ((! ofOne || selected != nullptr)
        && waitsForFiles (ofOne ? Waiting::exporting : Waiting::exportOfAll,
                          ofOne ? selected : nullptr,
                          [=, this] { exportGroups (scope, selected); }))
        return;

    const auto check = checkExportable (scope, workspace, selected.get(), nullptr);

    if (! check.isOk())
    {
        prompts.warn (check.reason);
        return;
    }

    const auto isOne = scope == ExportScope::group;
    const auto groups = isOne ? std::vector<Group::Ptr>{ selected } : workspace.allGroups();
    const auto tracks = tracksToExport (groups);
    auto options =
        askForFileType (isOne ? "Export Group" : "Export All Groups", static_cast<int> (tracks.size()));

    if (! options)
        return;

    FileChooserRequest request;
    request.title = isOne ? "Choose a folder to export your audio - " + selected->name()
                          : juce::String ("Choose a folder to export your audio...");
    request.wildcard = folderWildcard;
    request.kind = FileChooserRequest::Kind::chooseFolder;
    request.startFolder = workspace.exportDialogFolder();
    const auto folders = choose (request);

    if (folders.empty())
        return;

    options->folder = folders.front();
    options->overwrite = true;
    options->numThreads = analysisThreads (workspace.settings());
    workspace.setLastExportFolder (options->folder.getFullPathName());

    // What is tried again goes where it would have gone, whatever has taken the names before it.
    if (const auto files = planExport (tracks, *options); confirmOverwriting (files, prompts))
        runExport (scope, tracks, files, *options);
}

std::optional<ExportOptions> GroupWork::askForFileType (const juce::String& title, int numFiles)
{
    struct Choice
    {
        const char* text;
        const char* type;
        const char* depth;
    };

    // The last choice becomes the primary button, and stands at the right.
    std::array choices{ Choice{ "AIFF", "aiff", "source" },
                        Choice{ "WAV, 32-bit float", "wav", "float" },
                        Choice{ "WAV", "wav", "source" } };
    auto& settings = workspace.settings();
    const auto isAiffProposed = exportFileType (settings) == ExportFileType::aiff;
    const auto isFloatProposed = exportDepth (settings) == ExportDepth::float32;
    const auto proposed = choices.begin() + (isAiffProposed ? 0 : isFloatProposed ? 1 : 2);
    std::rotate (proposed, proposed + 1, choices.end());

    auto chosen = 0;
    MessageDialogSettings dialog;
    dialog.title = title;
    dialog.message = numFiles == 1
                         ? juce::String ("One file is written. Of which type?")
                         : juce::String (numFiles) + " files are written, one for each track. Of which type?";
    dialog.message
        << "\n\nWAV and AIFF keep the depth of each source. 32-bit float rounds and clips nothing, "
           "and takes more room; AIFF can't hold it.";
    dialog.buttons = { { .text = "Cancel", .isSafe = true } };

    for (const auto& choice : choices)
        dialog.buttons.push_back ({ .text = choice.text });

    dialog.buttons.back().look = ButtonLook::primary;
    dialog.buttons.back().hasFirstFocus = true;
    prompts.showMessage (dialog, [&] (int button, bool) { chosen = button; });

    if (chosen == 0)
        return {};

    const auto& taken = choices[static_cast<std::size_t> (chosen - 1)];
    settings.setValue (appSettingsKeys::exportFileType, taken.type);
    settings.setValue (appSettingsKeys::exportDepth, taken.depth);
    ExportOptions options;
    options.extension = juce::String (".") + taken.type;
    options.depth = exportDepth (settings);
    return options;
}

void GroupWork::runExport (ExportScope scope,
                           std::vector<TrackState> tracks,
                           std::vector<PlannedFile> files,
                           const ExportOptions& options)
{
    const WritingNote note (workspace.folders().writing(), options.folder);

    for (;;)
    {
        auto rules = outputRules();
        auto ownOptions = options;
        ownOptions.rules = &rules;
        std::unique_ptr<ExportJob> job;

        if (scope == ExportScope::track)
            job = std::make_unique<ExportTrackThread> (tracks, files, ownOptions);
        else
            job = std::make_unique<ExportGroupThread> (tracks, files, ownOptions);

        const auto ended = runner.run (*job);
        const auto& report = job->report;

        if (hasFailed (ended))
            prompts.warn ("The export did not come to its end.", ended.reason);

        // A stop that came too late changes nothing: the files are there.
        if (hasFailed (ended) || report.outcome.wasStopped() || ! reportExport (report, tracks, options))
            return;

        std::vector<TrackState> failed;
        std::vector<PlannedFile> failedFiles;

        for (std::size_t i = 0; i < report.tracks.size(); ++i)
            if (! report.tracks[i].isWritten())
            {
                failed.push_back (tracks[i]);
                failedFiles.push_back (files[i]);
            }

        tracks = std::move (failed);
        files = std::move (failedFiles);
    }
}

bool GroupWork::reportExport (const ExportReport& report,
                              const std::vector<TrackState>& tracks,
                              const ExportOptions& options)
{
    ExportReportContent content;
    content.facts = factsOf (report, tracks, options.folder);

    for (const auto& track : report.tracks)
        content.lines.push_back (lineOf (track, report.remarksOn (track.file)));

    const auto folder = options.folder;
    const auto numWritten = content.numWritten();

    if (report.remarks.empty() && report.errors.isEmpty())
    {
        if (onNotice)
            onNotice (filesExported (numWritten)
                          + (options.depth == ExportDepth::float32 ? " as 32-bit float" : ""),
                      "Show in folder",
                      [folder] { showFolder (folder); });

        return false;
    }

    return prompts.showExportReport (content, [folder] { showFolder (folder); });
}

} // namespace tessivar
