#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/GroupWork.h"
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

void GroupWork::importInputs (const std::vector<juce::File>& filesAndFolders, const Group::Ptr& target)
{
    const auto sorted = sortInputs (filesAndFolders);

    for (const auto& rejected : sorted.rejected)
        juce::Logger::writeToLog ("Rejected file " + rejected.file.getFullPathName());

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

void GroupWork::importNewGroup (const NewGroupFiles& files)
{
    const Group::Ptr group = new Group (files.name.isEmpty() ? juce::String ("Group") : files.name, {});
    group->setMethod (defaultMethod (workspace.settings()));
    importInto (files.files, group);

    if (group->numTracks() == 0)
        return;

    group->undo().clear();
    workspace.selectGroup (workspace.addGroup (group));
}

void GroupWork::importInto (const std::vector<juce::File>& files, const Group::Ptr& target)
{
    auto* temporary = temporaryStore();

    if (temporary == nullptr)
        return;

    ImportedTracks imported;
    const auto state = target->state();
    const auto numThreads = analysisThreads (workspace.settings());
    const auto end =
        runner.run ("Importing data",
                    {},
                    [&] (const WorkControl& watch)
                    { imported = importTracks (files, state, warnings, *temporary, numThreads, watch); });

    if (end == JobRunner::End::failed)
        imported.outcome = Outcome::noRoom (runner.failure().toStdString());

    finishImport (std::move (imported), target);
}

void GroupWork::finishImport (ImportedTracks imported, const Group::Ptr& target)
{
    if (! imported.outcome.isOk() && ! imported.outcome.wasStopped())
        prompts.warn ("The files could not be read in.", imported.outcome.reason);

    for (const auto& refused : imported.refused)
        juce::Logger::writeToLog ("Refused " + refused.file.getFullPathName() + ": " + refused.reason);

    KnobPresets (workspace.settings()).applyToNew (imported.tracks);

    if (! imported.tracks.empty())
        target->addTracks (std::move (imported.tracks));

    if (! imported.notes.isEmpty())
        prompts.tell ("Imported", "There is something to know about these files.", imported.notes);
}

void GroupWork::importFromGroupFile (const juce::File& file, const Group::Ptr& target)
{
    GroupDLSImporter importer;
    auto opened = juce::Result::ok();
    const auto end = runner.run ("Loading Group " + file.getFileNameWithoutExtension(),
                                 {},
                                 [&] (const WorkControl&) { opened = importer.open (file, warnings); });

    if (end == JobRunner::End::stopped)
        return;

    if (end == JobRunner::End::failed)
        warnings.add (file.getFileName(), ImportWarnings::unreadable, runner.failure());

    if (end == JobRunner::End::failed || opened.failed())
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
    const auto imports =
        runner.run ("Importing data",
                    {},
                    [&] (const WorkControl& watch)
                    { imported = importer.import (indices, state, warnings, *temporary, watch); });

    if (imports == JobRunner::End::failed)
        imported.outcome = Outcome::noRoom (runner.failure().toStdString());

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
