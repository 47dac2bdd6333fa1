#include "app/UnsavedWork.h"

#include "model/ForeignText.h"
#include "model/TemporaryStore.h"
#include "model/recovery/RecoveryList.h"
#include "platform/AtomicFile.h"

#include <algorithm>

namespace tessivar
{

namespace
{
/** Shows a dialog with a dot for each Group; the choice and the dots that were lit, or the given choice
    without an answer.
*/
template <typename Choice, typename MakeDialog>
std::pair<Choice, std::vector<bool>> askAboutGroups (Choice choiceWithoutAnswer,
                                                     const MakeDialog& makeDialog,
                                                     DialogPrompts& prompts,
                                                     const ResourceImages& images,
                                                     const std::vector<ChecklistDialog::Entry>& entries)
{
    std::pair<Choice, std::vector<bool>> answer{ choiceWithoutAnswer, {} };
    prompts.showModally (
        [&] (std::function<void()> close)
        {
            return makeDialog (images,
                               entries,
                               [&answer, close] (Choice choice, const std::vector<bool>& ticked)
                               {
                                   answer = { choice, ticked };
                                   close();
                               });
        });
    return answer;
}
} // namespace

UnsavedWork::UnsavedWork (TessivarWorkspace& workspaceToUse,
                          GroupWork& workToUse,
                          DialogPrompts& promptsToUse,
                          const ResourceImages& imagesToUse)
    : workspace (workspaceToUse), work (workToUse), prompts (promptsToUse), images (imagesToUse)
{
    if (const auto opened = RecoverySession::open (workspace.folders().recovery(), session); opened.failed())
    {
        reasonAgainst = opened.getErrorMessage();
        return;
    }

    autosave = std::make_unique<GroupAutosave> (workspace, session);
    autosave->onFailure = [this] (const juce::String& reason)
    {
        if (onFailure)
            onFailure (reason);
    };
}

UnsavedWork::~UnsavedWork()
{
    sweeper.removeAllJobs (false, -1); // a thread that is ended by force may hold anything
}

void UnsavedWork::start()
{
    sweepLeftovers();

    if (reasonAgainst.isNotEmpty())
        prompts.warn (
            "Changes can't be kept for recovery: if the program ends before they are saved, they are lost.",
            reasonAgainst);

    offerRecovery();
}

void UnsavedWork::tick()
{
    if (autosave != nullptr)
        autosave->tick (juce::Time::getMillisecondCounter());
}

void UnsavedWork::writeNow (const Group::Ptr& group)
{
    if (autosave != nullptr)
        autosave->writeNow (group);
}

void UnsavedWork::discard (const Group::Ptr& group)
{
    if (autosave != nullptr)
        autosave->discard (group);
}

bool UnsavedWork::mayEnd()
{
    std::vector<Group::Ptr> unsaved;
    std::vector<ChecklistDialog::Entry> entries;

    for (const auto& group : workspace.allGroups())
    {
        if (! group->hasUnsavedChanges() || group->numTracks() == 0)
            continue;

        unsaved.push_back (group);
        entries.push_back ({ group->name(),
                             group->file() == juce::File() ? juce::String ("never saved")
                                                           : shownText (group->file().getFileName()),
                             true });
    }

    if (unsaved.empty())
        return true;

    const auto [choice, toSave] =
        askAboutGroups (QuitChoice::cancel, makeQuitDialog, prompts, images, entries);

    if (choice == QuitChoice::cancel)
        return false;

    for (std::size_t i = 0; i < unsaved.size(); ++i)
    {
        const auto saves = choice == QuitChoice::saveAndQuit && i < toSave.size() && toSave[i];

        if (saves && ! work.save (unsaved[i]))
            return false;
    }

    // Nothing is thrown away before everything that was to be saved is.
    for (const auto& group : unsaved)
        discard (group);

    return true;
}

bool UnsavedWork::writeAllNow()
{
    if (autosave == nullptr)
        return false;

    for (const auto& group : workspace.allGroups())
        autosave->writeNow (group);

    autosave->flush();
    return true;
}

void UnsavedWork::keepForRecovery()
{
    const auto groups = workspace.allGroups();

    if (writeAllNow()
        && std::any_of (groups.begin(),
                        groups.end(),
                        [] (const Group::Ptr& group) { return group->hasUnsavedChanges(); }))
        TemporaryStore::leaveAllBehind(); // the next start finds the audio there
}

void UnsavedWork::sweepLeftovers()
{
    const auto& folders = workspace.folders();
    sweeper.addJob (
        [notes = folders.writing(),
         own = TemporaryStore::defaultFolder(),
         chosen = workspace.temporaryFolder().folder]
        {
            WritingNote::sweep (notes);
            TemporaryStore::sweep (own);
            TemporaryStore::sweep (chosen);
        });
}

void UnsavedWork::offerRecovery()
{
    auto list = RecoveryList::scan (workspace.folders().recovery());

    if (! list.problems().isEmpty())
        prompts.tell (
            "Recovery", "Some notes of unsaved work can't be read. They were put aside.", list.problems());

    if (! list.hasNews())
        return;

    std::vector<ChecklistDialog::Entry> entries;

    for (const auto& offer : list.offers())
        entries.push_back ({ offer.entry.state.name,
                             juce::Time (offer.entry.writtenAt).toString (true, true, false, true),
                             ! offer.wasSkipped });

    const auto [choice, chosen] =
        askAboutGroups (RecoveryChoice::later, makeRecoveryDialog, prompts, images, entries);
    juce::StringArray notes;

    for (std::size_t i = 0; i < list.offers().size() && i < chosen.size(); ++i)
    {
        const auto& offer = list.offers()[i];
        auto outcome = juce::Result::ok();

        if (! chosen[i])
        {
            outcome = RecoveryList::skip (offer);
        }
        else if (choice == RecoveryChoice::discard)
        {
            outcome = RecoveryList::discard (offer);
        }
        else if (choice == RecoveryChoice::recover)
        {
            RecoveredGroup recovered;
            outcome = list.recover (offer, recovered);

            if (outcome.wasOk())
            {
                workspace.selectGroup (workspace.addGroup (recovered.group));
                notes.addArray (recovered.notes);

                if (autosave != nullptr)
                    autosave->takeOver (recovered);
            }
        }

        if (outcome.failed())
            notes.add (outcome.getErrorMessage());
    }

    if (! notes.isEmpty())
        prompts.tell ("Recovery", "There is something to know about the recovered Groups.", notes);
}

} // namespace tessivar
