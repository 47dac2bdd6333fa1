#pragma once

#include "ui/dialogs/DialogContent.h"
#include "ui/dialogs/DialogList.h"

namespace tessivar
{

/** Asks about several Groups at once, each with a dot: which to save before quitting, which to recover. */
class ChecklistDialog : public DialogContent
{
public:
    struct Entry
    {
        juce::String name, remark;
        bool ticked = true;
    };

    ChecklistDialog (const ResourceImages& images,
                     const juce::String& titleText,
                     const juce::String& messageText,
                     const std::vector<Entry>& entries,
                     std::vector<DialogButton> buttonsToShow);

    /** The button pressed, and which entries were ticked. */
    std::function<void (int button, const std::vector<bool>& ticked)> onResult;

    juce::String getMessage() const override { return message; }
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;

private:
    const juce::String message;
    DialogList list;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ChecklistDialog)
};

enum class QuitChoice
{
    quitWithoutSaving,
    cancel,
    saveAndQuit
};
/** One dialog for all unsaved Groups; each remark says what has changed. */
std::unique_ptr<ChecklistDialog>
makeQuitDialog (const ResourceImages& images,
                const std::vector<ChecklistDialog::Entry>& unsavedGroups,
                std::function<void (QuitChoice, const std::vector<bool>& toSave)> onChoice);

enum class RecoveryChoice
{
    discard,
    later,
    recover
};
/** Offers to recover what was unsaved when the program last ended. Escape keeps everything for the next
    start.
*/
std::unique_ptr<ChecklistDialog>
makeRecoveryDialog (const ResourceImages& images,
                    const std::vector<ChecklistDialog::Entry>& groups,
                    std::function<void (RecoveryChoice, const std::vector<bool>& ticked)> onChoice);

} // namespace tessivar
