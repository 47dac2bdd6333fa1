#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/GroupWork.h"
#include "jobs/DemoSession.h"
#include "jobs/GroupDLSImporter.h"
#include "jobs/UserPrompts.h"
#include "model/KnobPresets.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto groupFileWildcard = "*.dls";
constexpr auto importWildcard = "*.wav;*.aiff;*.caf;*.aif";
constexpr auto folderWildcard = "*.wav;*.aiff";

} // namespace

void GroupWork::chooseAndImportTracks (const Group::Ptr& target)
{
    auto request = chooserRequest ("Select files to import...",
                                   importWildcard,
                                   FileChooserRequest::Kind::openFiles,
                                   workspace.lastViewedImportFolder());
    const auto files = choose (request);

    if (files.empty())
        return;

    workspace.setLastViewedImportFolder (files.front().getParentDirectory().getFullPathName());
    importInputs (files, target);
}

void GroupWork::chooseAndImportFolders()
{
    auto request = chooserRequest ("Select folders to import...",
                                   folderWildcard,
                                   FileChooserRequest::Kind::chooseFolders,
                                   workspace.lastViewedImportFolder());
    const auto folders = choose (request);

    if (folders.empty())
        return;

    workspace.setLastViewedImportFolder (folders.front().getFullPathName());
    importInputs (folders, nullptr);
}

void GroupWork::chooseAndImportFromGroup (const Group::Ptr& target)
{
    auto request = chooserRequest ("Select files to import...",
                                   groupFileWildcard,
                                   FileChooserRequest::Kind::openFile,
                                   workspace.lastViewedImportFolder());
    const auto files = choose (request);

    if (files.empty())
        return;

    workspace.setLastViewedImportFolder (files.front().getParentDirectory().getFullPathName());
    importFromGroupFile (files.front(), target);
}

void GroupWork::chooseSource (const Group::Ptr& group, std::uint32_t trackId)
{
    const auto track = group != nullptr ? group->findTrack (trackId) : nullptr;

    if (track == nullptr)
        return;

    const auto files = choose ({ "Locate " + track->name(),
                                 importWildcard,
                                 FileChooserRequest::Kind::openFile,
                                 workspace.defaultDialogFolder(),
                                 {} });

    if (! files.empty())
        group->setSourceFile (trackId, files.front());
}

void GroupWork::importInputs (const std::vector<juce::File>& filesAndFolders, const Group::Ptr& wanted)
{
    const auto sorted = sortInputs (filesAndFolders);
    const auto target = workspace.indexOf (wanted.get()) >= 0 ? wanted : nullptr; // it may have been closed

    for (const auto& rejected : sorted.rejected)
        juce::Logger::writeToLog ("Rejected file " + rejected.file.getFullPathName());

    std::vector<BackgroundImport::GroupFiles> groups;

    if (! sorted.newGroups.empty() && temporaryStore() != nullptr)
        for (const auto& group : sorted.newGroups)
        {
            // Loose files come first, and only they can join a Group that is there.
            const auto isLoose =
                &group == &sorted.newGroups.front() && ! group.files.empty()
                && std::find (filesAndFolders.begin(), filesAndFolders.end(), group.files.front())
                       != filesAndFolders.end();
            groups.push_back ({ isLoose && target != nullptr
                                    ? target
                                    : groupForFiles (group.name, defaultMethod (workspace.settings())),
                                group.files });
        }

    startReading (std::move (groups));

    for (const auto& file : sorted.groupFiles)
    {
        if (target != nullptr)
            importFromGroupFile (file, target);
        else
            openOne (file);
    }

    if (! sorted.groupFiles.empty())
        showPendingWarnings();

    tellOfRejected (sorted);
}

void GroupWork::tellOfRejected (const SortedInputs& sorted)
{
    const auto count = static_cast<int> (sorted.rejected.size());

    if (count == 0)
        return;

    juce::StringArray names, reasons;

    for (const auto& rejected : sorted.rejected)
    {
        names.add (rejected.file.getFileName());
        reasons.add (rejected.reason);
    }

    if (sorted.newGroups.empty() && sorted.groupFiles.empty())
        prompts.tell (
            "Nothing to open", "There is no audio file and no group file among these.", names, reasons);
    else if (onNotice)
        onNotice ((count == 1 ? names[0] : juce::String (count) + " files") + " left out: no audio",
                  "Details",
                  [this, names, reasons]
                  { prompts.tell ("Left out", "These were not imported.", names, reasons); });
}

Group::Ptr GroupWork::groupForFiles (const juce::String& name, AnalysisMethod method)
{
    const Group::Ptr group = new Group (name.isEmpty() ? juce::String ("Group") : name, {});
    group->setMethod (method);
    group->undo().clear();
    madeForFiles[group.get()] = workspace.selectedGroup();
    workspace.addGroup (group);
    return group;
}

void GroupWork::importDemo()
{
    if (temporaryStore() == nullptr)
        return;

    const auto group = groupForFiles ("demo", AnalysisMethod::refined);
    demoGroup = group->id();
    startReading ({ { group, demoSession::files (resources), demoSession::types() } }, false);
}

void GroupWork::startReading (std::vector<BackgroundImport::GroupFiles> groups, bool givesAdvice)
{
    if (groups.empty())
        return;

    // The first one is read first; the others are folded then.
    workspace.selectGroup (workspace.indexOf (groups.front().group.get()));
    reading.onGroupEnd = [this] (const Group::Ptr& group) { groupIsRead (group); };
    reading.onNewTracks = [this] (std::vector<TrackState>& tracks)
    { KnobPresets (workspace.settings()).applyToNew (tracks); };
    reading.start (std::move (groups),
                   store,
                   analysisThreads (workspace.settings()),
                   [this, givesAdvice] (std::unique_ptr<BackgroundImport::Report> report)
                   {
                       if (! givesAdvice)
                           report->warnings.clear (ImportWarnings::shortDuration);

                       reports.push_back (std::move (report));
                   });
}

void GroupWork::groupIsRead (const Group::Ptr& group)
{
    const auto made = madeForFiles.find (group.get());

    if (group->numTracks() == 0)
        std::erase_if (waiters, [&] (const Waiter& waiter) { return waiter.group == group; });

    if (made == madeForFiles.end())
        return;

    const auto before = made->second;
    madeForFiles.erase (made);

    if (group->numTracks() == 0)
    {
        const auto wasSelected = workspace.selectedGroup() == group;
        workspace.removeGroup (workspace.indexOf (group.get()));

        if (wasSelected && workspace.indexOf (before.get()) >= 0)
            workspace.selectGroup (workspace.indexOf (before.get()));

        return;
    }

    if (demoGroup == group->id() && onDemoRead)
        onDemoRead (group);
}

void GroupWork::stopReading (const Group::Ptr& group)
{
    std::erase_if (waiters, [&] (const Waiter& waiter) { return waiter.group == group; });
    reading.stop (group);
}

void GroupWork::stopReadingAll()
{
    waiters.clear();
    reading.stopAll();
}

bool GroupWork::mayStopReading()
{
    if (! reading.isReading())
        return true;

    if (! prompts.ask ({ .title = "Quit",
                         .text = "Files are still being read in. Quit without them?",
                         .acceptButton = "Stop and Quit",
                         .refuseButton = "Cancel",
                         .risk = UserPrompts::Risk::discards }))
        return false;

    stopReadingAll();
    return true;
}

bool GroupWork::isReading (const Group::Ptr& group) const
{
    return group != nullptr ? reading.isReading (*group) : reading.isReading();
}

bool GroupWork::canFinishImports() const
{
    return ! reports.empty()
           || std::any_of (waiters.begin(),
                           waiters.end(),
                           [this] (const Waiter& waiter) { return ! isReading (waiter.group); });
}

bool GroupWork::waitsToAnalyze (const Group& group) const
{
    return std::any_of (waiters.begin(),
                        waiters.end(),
                        [&] (const Waiter& waiter)
                        { return waiter.what == Waiting::analysis && waiter.group.get() == &group; });
}

bool GroupWork::waitsForFiles (Waiting what, const Group::Ptr& group, std::function<void()> start)
{
    if (! isReading (group))
        return false;

    const auto isThis = [what, group] (const Waiter& waiter)
    { return waiter.what == what && waiter.group == group; };
    std::erase_if (waiters, isThis);
    waiters.push_back ({ what, group, std::move (start) });

    if (onNotice)
        onNotice (juce::String (what == Waiting::analysis || what == Waiting::analysisOfAll  ? "The analysis"
                                : what == Waiting::exporting || what == Waiting::exportOfAll ? "The export"
                                                                                             : "Saving")
                      + " starts when all files are in",
                  "Cancel",
                  [this, isThis]
                  {
                      std::erase_if (waiters, isThis);
                      workspace.sendChangeMessage(); // what shows that it waits
                  });

    return true;
}

void GroupWork::finishImports()
{
    while (! reports.empty())
    {
        const auto report = std::move (reports.front());
        reports.pop_front();

        // Nobody wants to go on with what is there.
        if (report->failure.isNotEmpty())
            waiters.clear();

        if (report->failure.isNotEmpty())
            prompts.warn ("The files could not be read in.", report->failure);

        if (! report->notes.isEmpty())
            prompts.tell ("Imported", "There is something to know about these files.", report->notes);

        warnings.add (report->warnings);
        showPendingWarnings();
    }

    const auto next = std::find_if (
        waiters.begin(), waiters.end(), [this] (const Waiter& waiter) { return ! isReading (waiter.group); });

    if (next == waiters.end())
        return;

    const auto start = std::move (next->start);
    waiters.erase (next);
    start();
}

void GroupWork::finishImport (ImportedTracks imported, const Group::Ptr& target)
{
    if (! imported.outcome.isOk() && ! imported.outcome.wasStopped())
        prompts.warn ("The files could not be read in.", imported.outcome.reason);

    for (const auto& refused : imported.refused)
        juce::Logger::writeToLog ("Refused " + refused.file.getFullPathName() + ": " + refused.reason);

    KnobPresets (workspace.settings()).applyToNew (imported.tracks);
    BackgroundImport::addTracks (std::move (imported.tracks), *target, warnings);

    if (! imported.notes.isEmpty())
        prompts.tell ("Imported", "There is something to know about these files.", imported.notes);
}

void GroupWork::importFromGroupFile (const juce::File& file, const Group::Ptr& target)
{
    GroupDLSImporter importer;
    auto opened = juce::Result::ok();
    const auto ended = runner.run ("Loading Group " + file.getFileNameWithoutExtension(),
                                   {},
                                   [&] (const WorkControl&) { opened = importer.open (file, warnings); });

    if (ended.wasStopped())
        return;

    if (! ended.isOk())
        warnings.add (file.getFileName(), ImportWarnings::unreadable, ended.reason);

    if (! ended.isOk() || opened.failed())
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
    const auto importing =
        runner.run ("Importing data",
                    {},
                    [&] (const WorkControl& watch)
                    { imported = importer.import (indices, state, warnings, *temporary, watch); });

    if (hasFailed (importing))
        imported.outcome = importing;

    finishImport (std::move (imported), group);

    if (target == nullptr && group->numTracks() == 0)
        workspace.removeGroup (workspace.indexOf (group.get()));

    showPendingWarnings();
}

void GroupWork::showPendingWarnings()
{
    showWarnings (warnings, workspace, prompts);
}

} // namespace tessivar
