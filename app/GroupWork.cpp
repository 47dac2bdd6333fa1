#include "app/GroupWork.h"

#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/OpenExternally.h"
#include "jobs/GroupDLSImporter.h"
#include "jobs/WarningsDisplay.h"
#include "model/groupfile/GroupFileLoading.h"
#include "model/groupfile/GroupFileSaving.h"
#include "ui/dialogs/ExportReportDialog.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto groupFileWildcard = "*.dls";
constexpr auto groupFileExtension = ".dls";
constexpr auto importWildcard = "*.wav;*.aiff;*.caf;*.aif";
constexpr auto folderWildcard = "*.wav;*.aiff";

AnalysisControl controlOf (const JobRunner::Watch& watch)
{
    return { .shouldStop = watch.shouldStop, .setProgress = watch.setProgress };
}

JobControl jobControlOf (const JobRunner::Watch& watch)
{
    return { .shouldStop = watch.shouldStop, .setProgress = watch.setProgress };
}

juce::String filesExported (int count)
{
    return juce::String (count) + (count == 1 ? " file exported" : " files exported");
}
} // namespace

GroupWork::GroupWork (TessivarWorkspace& workspaceToUse,
                      JobRunner& runnerToUse,
                      DialogPrompts& promptsToUse,
                      const juce::File& resourceFolder)
    : workspace (workspaceToUse), runner (runnerToUse), prompts (promptsToUse), resources (resourceFolder)
{
}

TemporaryStore* GroupWork::temporaryStore()
{
    const auto wanted = workspace.temporaryFolder().folder;

    // What lies in the old folder stays there as long as a Group needs it.
    if (store != nullptr && store->folder().getParentDirectory() == wanted)
        return store.get();

    std::unique_ptr<TemporaryStore> opened;

    if (const auto outcome = TemporaryStore::open (wanted, opened); outcome.failed())
    {
        prompts.warn ("The folder for temporary files can't be used. Choose another one in the settings.",
                      outcome.getErrorMessage());
        return nullptr;
    }

    store = std::move (opened);
    return store.get();
}

std::vector<juce::File> GroupWork::choose (const FileChooserRequest& request)
{
    const juce::ScopedValueSetter<bool> busy (choosing, true);
    return chooseFiles (request);
}

//======================================================================================================================

Group::Ptr GroupWork::newGroup()
{
    juce::String name;

    for (int number = workspace.numGroups() + 1; name.isEmpty(); ++number)
    {
        const auto candidate = "Group " + juce::String (number);
        const auto groups = workspace.allGroups();
        const auto taken = std::any_of (groups.begin(),
                                        groups.end(),
                                        [&] (const Group::Ptr& group) { return group->name() == candidate; });

        if (! taken)
            name = candidate;
    }

    const Group::Ptr group = new Group (name, {});
    group->setMethod (defaultMethod (workspace.settings()));
    group->undo().clearUndoHistory();
    workspace.selectGroup (workspace.addGroup (group));
    return group;
}

void GroupWork::chooseAndOpen()
{
    FileChooserRequest request;
    request.title = "Choose a file to open...";
    request.wildcard = groupFileWildcard;
    request.kind = FileChooserRequest::Kind::openFiles;
    request.startFolder = juce::File (workspace.lastViewedFolder());
    const auto files = choose (request);

    if (! files.empty())
        workspace.setLastViewedFolder (files.front().getParentDirectory().getFullPathName());

    open (files);
}

void GroupWork::open (const std::vector<juce::File>& groupFiles)
{
    for (const auto& file : groupFiles)
        openOne (file);

    showPendingWarnings();
}

void GroupWork::openOne (const juce::File& file)
{
    if (const auto index = workspace.indexOfFile (file); index >= 0)
    {
        workspace.selectGroup (index);
        return;
    }

    LoadedGroup loaded;
    auto outcome = juce::Result::ok();
    const auto end = runner.run ("Loading Group " + file.getFileNameWithoutExtension(),
                                 {},
                                 [&] (const JobRunner::Watch&) { outcome = openGroupFile (file, loaded); });

    if (end == JobRunner::End::stopped)
        return;

    if (end == JobRunner::End::outOfMemory || outcome.failed())
    {
        workspace.removeRecentFile (file);
        prompts.warn (
            warningMessage (file.existsAsFile() ? ImportWarnings::unreadable : ImportWarnings::missing),
            outcome.failed() ? outcome.getErrorMessage() : file.getFullPathName() + ": memory ran out");
        return;
    }

    for (const auto& track : loaded.state.tracks)
        if (! track.sourceFile.existsAsFile() && track.source == nullptr)
            warnings.add (track.name, ImportWarnings::missingInGroupFile);

    const Group::Ptr group = new Group (std::move (loaded.state), file, loaded.file);

    if (loaded.damaged)
        group->markUnsaved();

    workspace.selectGroup (workspace.addGroup (group));
    workspace.addRecentFile (file);

    if (! loaded.notes.isEmpty())
        prompts.tell (group->name(), "There is something to know about this Group.", loaded.notes);
}

//======================================================================================================================

bool GroupWork::save (const Group::Ptr& group)
{
    if (group == nullptr)
        return false;

    if (group->file() == juce::File())
        return saveAs (group);

    if (const auto file = group->openFile(); file != nullptr && file->isReadOnly())
    {
        prompts.warn ("This Group can't be saved to its file. Save it under another name.", file->why());
        return saveAs (group);
    }

    return ! group->hasUnsavedChanges() || saveTo (group, group->file(), true);
}

bool GroupWork::saveAs (const Group::Ptr& group)
{
    if (group == nullptr)
        return false;

    FileChooserRequest request;
    request.title = "Choose a file to save... (" + group->name() + ")";
    request.wildcard = groupFileWildcard;
    request.kind = FileChooserRequest::Kind::saveFile;
    request.startFolder = juce::File (workspace.lastViewedFolder());
    request.suggestedName = juce::File::createLegalFileName (group->name()) + groupFileExtension;
    const auto files = choose (request);

    if (files.empty())
        return false;

    auto file = files.front();

    if (! file.hasFileExtension (groupFileExtension))
        file = file.getParentDirectory().getChildFile (file.getFileName() + groupFileExtension);

    workspace.setLastViewedFolder (file.getParentDirectory().getFullPathName());

    if (file.existsAsFile() && file != group->file()
        && ! prompts.ask ({ "Warning", file.getFileName() + " exists. Replace it?", "Overwrite", "Cancel" }))
        return false;

    return saveTo (group, file, false);
}

bool GroupWork::saveTo (const Group::Ptr& group, const juce::File& file, bool savingDiskSpace)
{
    SaveRequest request;
    request.state = group->state();
    request.target = file;
    request.currentFile = group->openFile();
    request.savingDiskSpace = savingDiskSpace;
    SavedGroup saved;
    auto outcome = juce::Result::fail ("memory ran out");
    const auto end = runner.run ("Saving Track " + group->name(),
                                 {},
                                 [&] (const JobRunner::Watch& watch)
                                 { outcome = saveGroup (request, saved, jobControlOf (watch)); });

    // A stop that came too late changes nothing: the file is there.
    if (outcome.failed())
    {
        if (end != JobRunner::End::stopped)
            prompts.warn ("The Group could not be saved.", outcome.getErrorMessage());

        return false;
    }

    group->markSaved (saved.state, file, saved.file);
    workspace.addRecentFile (file);

    if (onNotice)
        onNotice ("Saved " + file.getFileName(), {}, {});

    return true;
}

bool GroupWork::saveAll()
{
    for (const auto& group : workspace.allGroups())
        if (group->hasUnsavedChanges() && ! save (group))
            return false;

    return true;
}

bool GroupWork::close (const Group::Ptr& group)
{
    if (group == nullptr)
        return true;

    if (group->hasUnsavedChanges() && group->numTracks() > 0)
    {
        enum Button
        {
            closeWithoutSaving,
            cancel,
            saveAndClose
        };
        auto chosen = static_cast<int> (cancel);
        MessageDialogSettings settings;
        settings.title = "Close " + group->name();
        settings.message = "Save changes before closing?";
        settings.buttons = {
            { .text = "Close Without Saving", .look = ButtonLook::danger, .atLeft = true },
            { .text = "Cancel", .isSafe = true },
            { .text = "Save and Close", .look = ButtonLook::primary, .hasFirstFocus = true },
        };
        prompts.showMessage (settings, [&] (int button, bool) { chosen = button; });

        if (chosen == cancel || (chosen == saveAndClose && ! save (group)))
            return false;
    }

    if (onClosed)
        onClosed (group);

    workspace.removeGroup (workspace.indexOf (group.get()));
    return true;
}

//======================================================================================================================

void GroupWork::chooseAndImportTracks (const Group::Ptr& target)
{
    FileChooserRequest request;
    request.title = "Select files to import...";
    request.wildcard = importWildcard;
    request.kind = FileChooserRequest::Kind::openFiles;
    request.startFolder = juce::File (workspace.lastViewedImportFolder());
    const auto files = choose (request);

    if (files.empty())
        return;

    workspace.setLastViewedImportFolder (files.front().getParentDirectory().getFullPathName());
    importInputs (files, target);
}

void GroupWork::chooseAndImportFolders()
{
    FileChooserRequest request;
    request.title = "Select folders to import...";
    request.wildcard = folderWildcard;
    request.kind = FileChooserRequest::Kind::chooseFolders;
    request.startFolder = juce::File (workspace.lastViewedImportFolder());
    const auto folders = choose (request);

    if (folders.empty())
        return;

    workspace.setLastViewedImportFolder (folders.front().getFullPathName());
    importInputs (folders, nullptr);
}

void GroupWork::chooseAndImportFromGroup (const Group::Ptr& target)
{
    FileChooserRequest request;
    request.title = "Select files to import...";
    request.wildcard = groupFileWildcard;
    request.kind = FileChooserRequest::Kind::openFile;
    request.startFolder = juce::File (workspace.lastViewedImportFolder());
    const auto files = choose (request);

    if (files.empty())
        return;

    workspace.setLastViewedImportFolder (files.front().getParentDirectory().getFullPathName());
    importFromGroupFile (files.front(), target);
}

void GroupWork::importInputs (const std::vector<juce::File>& filesAndFolders, const Group::Ptr& target)
{
    const auto sorted = sortInputs (filesAndFolders);

    for (const auto& rejected : sorted.rejected)
        juce::Logger::writeToLog ("Rejected file " + rejected.getFullPathName());

    for (const auto& group : sorted.newGroups)
    {
        // Loose files come first, and only they can join a Group that is there.
        const auto isLoose =
            &group == &sorted.newGroups.front() && ! group.files.empty()
            && std::find (filesAndFolders.begin(), filesAndFolders.end(), group.files.front())
                   != filesAndFolders.end();

        if (isLoose && target != nullptr)
            importInto (group.files, target);
        else
            importNewGroup (group);
    }

    for (const auto& file : sorted.groupFiles)
    {
        if (target != nullptr)
            importFromGroupFile (file, target);
        else
            openOne (file);
    }

    showPendingWarnings();
}

void GroupWork::importNewGroup (const NewGroupFiles& files)
{
    const Group::Ptr group = new Group (files.name.isEmpty() ? juce::String ("Group") : files.name, {});
    group->setMethod (defaultMethod (workspace.settings()));
    importInto (files.files, group);

    if (group->numTracks() == 0)
        return;

    group->undo().clearUndoHistory();
    workspace.selectGroup (workspace.addGroup (group));
}

void GroupWork::importInto (const std::vector<juce::File>& files, const Group::Ptr& target)
{
    auto* temporary = temporaryStore();

    if (temporary == nullptr)
        return;

    ImportedTracks imported;
    const auto state = target->state();
    const auto end =
        runner.run ("Importing data",
                    {},
                    [&] (const JobRunner::Watch& watch)
                    { imported = importTracks (files, state, warnings, *temporary, controlOf (watch)); });

    if (end == JobRunner::End::outOfMemory)
        imported.storageError = "memory ran out";

    finishImport (std::move (imported), target);
}

void GroupWork::finishImport (ImportedTracks imported, const Group::Ptr& target)
{
    if (imported.storageError.isNotEmpty())
        prompts.warn ("The files could not be read in.", imported.storageError);

    if (! imported.tracks.empty())
        target->addTracks (std::move (imported.tracks));

    if (! imported.notes.isEmpty())
        prompts.tell ("Imported", "There is something to know about these files.", imported.notes);
}

void GroupWork::importFromGroupFile (const juce::File& file, const Group::Ptr& target)
{
    GroupDLSImporter importer;

    if (importer.open (file, warnings).failed())
    {
        showPendingWarnings();
        return;
    }

    std::vector<ChecklistDialog::Entry> entries;

    for (const auto& track : importer.group().tracks)
        entries.push_back ({ track.name, drumTypeDisplayName (track.drumType()), true });

    const auto picked = prompts.pick ("Import From Group (" + importer.group().name + ")",
                                      "Choose the tracks to import.",
                                      entries,
                                      "Import");

    if (! picked)
        return;

    std::vector<int> indices;

    for (std::size_t i = 0; i < picked->size(); ++i)
        if ((*picked)[i])
            indices.push_back (static_cast<int> (i));

    auto* temporary = temporaryStore();

    if (indices.empty() || temporary == nullptr)
        return;

    const auto group = target != nullptr ? target : newGroup();
    const auto state = group->state();
    ImportedTracks imported;
    runner.run ("Importing data",
                {},
                [&] (const JobRunner::Watch& watch)
                { imported = importer.import (indices, state, warnings, *temporary, controlOf (watch)); });
    finishImport (std::move (imported), group);
    showPendingWarnings();
}

void GroupWork::showPendingWarnings()
{
    showWarnings (warnings, workspace, prompts);
}

//======================================================================================================================

GroupAnalysis GroupWork::runAnalysis (const Group::Ptr& group)
{
    GroupAnalysis result;
    result.outcome.status = AnalyseStatus::noRoom;
    auto* temporary = temporaryStore();

    if (temporary == nullptr)
    {
        result.outcome.status = AnalyseStatus::stopped; // the user was told why
        return result;
    }

    AnalyseOptions options;
    options.resourceFolder = resources;
    options.numThreads = analysisThreads (workspace.settings());
    const auto state = group->state();
    const auto end = runner.run ("Analyzing " + group->name(),
                                 analysisStages(),
                                 [&] (const JobRunner::Watch& watch)
                                 { result = analyseGroup (state, options, *temporary, controlOf (watch)); });

    if (end == JobRunner::End::outOfMemory)
        result.outcome.reason = "memory ran out";

    return result;
}

void GroupWork::analyze (const Group::Ptr& group)
{
    const auto end = requestAnalysis (
        group, workspace, warnings, prompts, [this] (const Group::Ptr& each) { return runAnalysis (each); });

    if (end == AnalysisRequestEnd::done && onAnalysed)
        onAnalysed (group);
}

namespace
{
/** Keeps refusals for a summary; everything else is told and asked as ever. */
class CollectingPrompts final : public UserPrompts
{
public:
    explicit CollectingPrompts (UserPrompts& promptsToUse) : prompts (promptsToUse) {}

    void warn (const juce::String& text, const juce::String& details) override
    {
        lastWarning = details.isEmpty() ? text : text + " (" + details + ")";
    }

    bool ask (const Question& question) override { return prompts.ask (question); }
    bool showWarning (const ImportWarnings::Warning& warning) override
    {
        return prompts.showWarning (warning);
    }

    juce::String lastWarning;

private:
    UserPrompts& prompts;
};
} // namespace

void GroupWork::analyzeAll()
{
    juce::StringArray summary;

    for (const auto& group : workspace.allGroups())
    {
        CollectingPrompts collecting (prompts);
        const auto end = requestAnalysis (group,
                                          workspace,
                                          warnings,
                                          collecting,
                                          [this] (const Group::Ptr& each) { return runAnalysis (each); });

        if (end == AnalysisRequestEnd::stopped || end == AnalysisRequestEnd::returned)
            return;

        if (end == AnalysisRequestEnd::done && onAnalysed)
            onAnalysed (group);

        summary.add (
            group->name() + ": "
            + (end == AnalysisRequestEnd::done ? juce::String ("analysed") : collecting.lastWarning));
    }

    if (! summary.isEmpty())
        prompts.tell ("Analyze Group(s)", "This is what became of the open Groups.", summary);
}

//======================================================================================================================

void GroupWork::exportTrack (const Group::Ptr& group, const Track::Ptr& track)
{
    const auto refusal = exportRefusal (ExportScope::track, workspace, group.get(), track.get());

    if (refusal.isNotEmpty())
    {
        prompts.warn (refusal);
        return;
    }

    const auto session = tracksToExport ({ group })[static_cast<std::size_t> (group->indexOf (*track))];
    FileChooserRequest request;
    request.title = "Choose a file to export your audio - " + track->name();
    request.wildcard = "*.wav";
    request.kind = FileChooserRequest::Kind::saveFile;
    request.startFolder = juce::File (workspace.lastExportFolder());
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
    auto left = tracks;

    for (;;)
    {
        ExportReport report;
        const auto end =
            runner.run (title,
                        {},
                        [&] (const JobRunner::Watch& watch)
                        {
                            report =
                                singleFile == juce::File()
                                    ? exportTracks (left, options, controlOf (watch))
                                    : exportTrackTo (singleFile, left.front(), options, controlOf (watch));
                        });

        if (end == JobRunner::End::outOfMemory)
            prompts.warn ("The export did not come to its end.", "memory ran out");

        if (end != JobRunner::End::done || ! reportExport (report, options))
            return;

        std::vector<SessionTrack> failed;

        for (std::size_t i = 0; i < report.tracks.size(); ++i)
            if (! report.tracks[i].written)
                failed.push_back (left[i]);

        left = std::move (failed);
    }
}

bool GroupWork::reportExport (const ExportReport& report, const ExportOptions& options)
{
    ExportReportContent content;
    content.facts = options.folder.getFullPathName();

    for (const auto& track : report.tracks)
    {
        ExportReportLine line;
        line.fileName = track.file.getFileName();
        line.outcome = track.written ? ExportReportLine::Outcome::written : ExportReportLine::Outcome::failed;

        for (const auto& text : report.log)
            if (text.startsWith (line.fileName + " - "))
            {
                line.remark = text.fromFirstOccurrenceOf (" - ", false, false);

                if (track.written)
                    line.outcome = ExportReportLine::Outcome::remarked;
            }

        if (! track.written)
            line.remark = track.error;

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
