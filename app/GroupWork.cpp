#include "app/GroupWork.h"

#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/WindowJobs.h"
#include "model/ForeignText.h"
#include "model/groupfile/GroupFileLoading.h"
#include "platform/AtomicFile.h"
#include "platform/DiskNames.h"
#include "terms/AnalysisMethod.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto groupFileWildcard = "*.dls";
constexpr auto groupFileExtension = ".dls";
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

    // Files in the old folder stay there as long as a Group needs them.
    if (store != nullptr && store->folder().getParentDirectory() == wanted)
        return store.get();

    std::unique_ptr<TemporaryStore> opened;

    if (const auto outcome = TemporaryStore::open (wanted, opened); outcome.failed())
    {
        offerAnotherTemporaryFolder ("The folder for temporary files can't be used.\n\n"
                                     + outcome.getErrorMessage());
        return nullptr;
    }

    store = std::move (opened);
    return store.get();
}

void GroupWork::offerAnotherTemporaryFolder (const juce::String& why)
{
    if (prompts.ask ({ "Temporary files", why, "Choose another folder", "Cancel" })
        && onChooseTemporaryFolder)
        onChooseTemporaryFolder();
}

std::vector<juce::File> GroupWork::choose (const FileChooserRequest& request)
{
    const juce::ScopedValueSetter<bool> busy (choosing, true);
    return prompts.chooseFiles (request);
}

//============================================================================================================

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
    group->undo().clear();
    workspace.selectGroup (workspace.addGroup (group));
    return group;
}

void GroupWork::chooseAndOpen()
{
    auto request = chooserRequest ("Choose a file to open...",
                                   groupFileWildcard,
                                   FileChooserRequest::Kind::openFiles,
                                   workspace.lastViewedFolder());
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
    const auto ended = runner.run ("Loading Group " + file.getFileNameWithoutExtension(),
                                   {},
                                   [&] (const WorkControl&) { outcome = openGroupFile (file, loaded); });

    if (ended.wasStopped())
        return;

    if (! ended.isOk()) // which says nothing about the file
    {
        prompts.warn ("The Group could not be opened.",
                      file.getFullPathName() + ": " + juce::String (ended.reason));
        return;
    }

    if (outcome.failed())
    {
        workspace.removeRecentFile (file);
        prompts.warn (
            warningMessage (file.existsAsFile() ? ImportWarnings::unreadable : ImportWarnings::missing),
            outcome.getErrorMessage());
        return;
    }

    for (const auto& track : loaded.state.tracks)
        if (! track.sourceInfo.file.existsAsFile() && track.source == nullptr)
            warnings.add (track.name, ImportWarnings::missingInGroupFile);

    const Group::Ptr group = new Group (std::move (loaded.state), file, loaded.file);

    if (loaded.damaged)
        group->markUnsaved();

    workspace.selectGroup (workspace.addGroup (group));
    workspace.addRecentFile (file);

    if (! loaded.notes.isEmpty())
        prompts.tell (group->name(), "There is something to know about this Group.", loaded.notes);
}

//============================================================================================================

bool GroupWork::save (const Group::Ptr& group)
{
    if (group == nullptr || waitsForFiles (Waiting::save, group, [=, this] { save (group); }))
        return false;

    if (group->file() == juce::File())
        return saveAs (group);

    if (const auto file = group->openFile(); file != nullptr && file->isReadOnly())
    {
        prompts.warn ("This Group can't be saved to its file. Save it under another name.", file->why());
        return saveAs (group);
    }

    return (! group->hasUnsavedChanges() && ! group->hasUnsavedStrips()) || saveTo (group, group->file());
}

bool GroupWork::saveAs (const Group::Ptr& group)
{
    if (group == nullptr || waitsForFiles (Waiting::saveAs, group, [=, this] { saveAs (group); }))
        return false;

    auto request = chooserRequest ("Choose a file to save... (" + group->name() + ")",
                                   groupFileWildcard,
                                   FileChooserRequest::Kind::saveFile,
                                   workspace.lastViewedFolder());
    request.suggestedName =
        portableFileName (juce::File::createLegalFileName (group->name()) + groupFileExtension);
    const auto files = choose (request);

    if (files.empty())
        return false;

    auto file = files.front();

    if (! file.hasFileExtension (groupFileExtension))
        file = file.getParentDirectory().getChildFile (file.getFileName() + groupFileExtension);

    workspace.setLastViewedFolder (file.getParentDirectory().getFullPathName());

    if (file.existsAsFile() && file != group->file()
        && ! prompts.ask ({ .title = "Warning",
                            .text = file.getFileName() + " exists. Replace it?",
                            .acceptButton = "Overwrite",
                            .refuseButton = "Cancel",
                            .risk = UserPrompts::Risk::overwrites }))
        return false;

    return saveTo (group, file);
}

OutputRules GroupWork::outputRules (const Group* saved) const
{
    OutputRules rules;

    for (const auto& group : workspace.allGroups())
    {
        const auto isSaved = group.get() == saved;
        rules.protect (group->state(), isSaved ? group->file() : juce::File());

        if (! isSaved)
            rules.protectGroupFile (group->file());
    }

    return rules;
}

GroupWork::SaveAnswer GroupWork::askBeforeSaving (SaveRequest& request)
{
    const auto question = questionBeforeSaving (request);

    if (question.about == SaveQuestion::About::nothing)
        return SaveAnswer::save;

    const auto isChanged = question.about == SaveQuestion::About::changedFile;
    auto answer = SaveAnswer::cancel;
    MessageDialogSettings settings;
    settings.title = isChanged ? "Save " + request.state.name : juce::String ("Saving disk space");
    settings.message =
        isChanged
            ? question.reason + ".\n\nReplace what stands there now?"
            : question.reason
                  + ".\n\nThe Group can be saved in place: what is new goes into the file that is there, and "
                    "the room of what it replaces is given back. The file as it was last saved is gone then.";
    settings.warns = true;
    settings.buttons = {
        { .text = "Save as", .atLeft = true },
        { .text = "Cancel", .hasFirstFocus = true, .isSafe = true },
        { .text = isChanged ? "Replace" : "Save in place",
          .look = isChanged ? ButtonLook::danger : ButtonLook::caution },
    };
    prompts.showMessage (
        settings,
        [&] (int button, bool) {
            answer = button == 0 ? SaveAnswer::saveAs : button == 1 ? SaveAnswer::cancel : SaveAnswer::save;
        });

    if (answer == SaveAnswer::save)
        (isChanged ? request.replacesChanged : request.savingDiskSpace) = true;

    return answer;
}

bool GroupWork::saveTo (const Group::Ptr& group, const juce::File& file)
{
    if (const auto claimed = outputRules (group.get()).claimFile (file, true, group->file());
        claimed.failed())
    {
        prompts.warn ("The Group could not be saved.", claimed.getErrorMessage());
        return false;
    }

    SaveRequest request;
    request.state = group->state();
    request.target = file;
    request.currentFile = group->openFile();

    if (const auto answer = askBeforeSaving (request); answer != SaveAnswer::save)
        return answer == SaveAnswer::saveAs && saveAs (group);

    const WritingNote note (workspace.folders().writing(), file.getParentDirectory());
    SavedGroup saved;
    Outcome outcome;
    const auto ended =
        runner.run ("Saving Track " + group->name(),
                    {},
                    [&] (const WorkControl& watch) { outcome = saveGroup (request, saved, watch); });

    if (hasFailed (ended))
        outcome = ended;

    // A stop that came too late changes nothing: the file is there.
    if (! outcome.isOk())
    {
        if (! outcome.wasStopped())
            prompts.warn ("The Group could not be saved.", outcome.reason);

        return false;
    }

    group->markSaved (saved.state, file, saved.file);
    workspace.addRecentFile (file);

    if (onNotice)
        onNotice ("Saved " + shownText (file.getFileName()), {}, {});

    return true;
}

bool GroupWork::saveAll()
{
    if (waitsForFiles (Waiting::saveAll, nullptr, [this] { saveAll(); }))
        return false;

    for (const auto& group : workspace.allGroups())
        if ((group->hasUnsavedChanges() || group->hasUnsavedStrips()) && ! save (group))
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
        settings.message =
            reading.isReading (*group)
                ? "Files that are still being read in are left out. Save changes before closing?"
                : "Save changes before closing?";
        settings.buttons = {
            { .text = "Close Without Saving", .look = ButtonLook::danger, .atLeft = true },
            { .text = "Cancel", .isSafe = true },
            { .text = "Save and Close", .look = ButtonLook::primary, .hasFirstFocus = true },
        };
        prompts.showMessage (settings, [&] (int button, bool) { chosen = button; });

        if (chosen == cancel)
            return false;

        stopReading (group);

        if (chosen == saveAndClose && ! save (group))
            return false;
    }

    stopReading (group);

    if (onClosed)
        onClosed (group);

    workspace.removeGroup (workspace.indexOf (group.get()));
    return true;
}

//============================================================================================================

std::vector<ProgressStage> TessivarProcess::stages() const
{
    return analysisStages (method::numIterations,
                           options.method == AnalysisMethod::refined ? standardShare : 1.0);
}

GroupAnalysis GroupWork::runAnalysis (const Group::Ptr& group)
{
    GroupAnalysis result;
    auto* temporary = temporaryStore();

    if (temporary == nullptr)
    {
        result.outcome = Outcome::stopped(); // the user was told why
        return result;
    }

    auto options = analysisOptions (group->state().workableMethod(), workspace.settings());
    options.resourceFolder = bytesOfPath (resources);
    TessivarProcess process (group, options, *temporary);
    const auto ended = runner.run (process);
    result = std::move (process.result);

    if (hasFailed (ended))
        result.outcome = ended;

    analysisRemarks = result.remarks;
    return result;
}

void GroupWork::chooseMethod (const Group::Ptr& group, AnalysisMethod method)
{
    group->setMethod (method);
    workspace.settings().setValue (appSettingsKeys::analysisMethod, analysisMethodKey (method));
}

void GroupWork::analyze (const Group::Ptr& group)
{
    if (group != nullptr && waitsToAnalyze (*group) && reading.isReading (*group))
    {
        std::erase_if (waiters, // asked for once more, it is called off
                       [&] (const Waiter& waiter)
                       { return waiter.what == Waiting::analysis && waiter.group == group; });
        return;
    }

    if (group != nullptr && waitsForFiles (Waiting::analysis, group, [=, this] { analyze (group); }))
        return;

    // The tips are about tracks of one's own.
    const auto isDemo = group != nullptr && demoGroup == group->id();
    const auto outcome = requestAnalysis (
        group,
        workspace,
        warnings,
        prompts,
        [this] (const Group::Ptr& each) { return runAnalysis (each); },
        isDemo ? QuickTips::never : QuickTips::once);

    if (outcome.isOk() && onAnalysed)
        onAnalysed (group, analysisRemarks);

    if (outcome.end == Outcome::End::noRoom)
        offerAnotherTemporaryFolder ("There may be more room for temporary files in another folder.");
}

namespace
{
/** Keeps refusals for a summary and passes everything else on. */
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
    if (waitsForFiles (Waiting::analysisOfAll, nullptr, [this] { analyzeAll(); }))
        return;

    juce::StringArray summary;

    for (const auto& group : workspace.allGroups())
    {
        CollectingPrompts collecting (prompts);
        const auto outcome = requestAnalysis (group,
                                              workspace,
                                              warnings,
                                              collecting,
                                              [this] (const Group::Ptr& each) { return runAnalysis (each); });

        if (outcome.wasStopped())
            return;

        if (outcome.isOk() && onAnalysed)
            onAnalysed (group, analysisRemarks);

        summary.add (group->name() + ": "
                     + (outcome.isOk() ? juce::String ("analyzed") : collecting.lastWarning));
    }

    if (! summary.isEmpty())
        prompts.tell ("Analyze Group(s)", "This is what became of the open Groups.", summary);
}

} // namespace tessivar
