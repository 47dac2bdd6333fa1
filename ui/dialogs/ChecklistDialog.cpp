#include "ui/dialogs/ChecklistDialog.h"

#include "ui/Palette.h"

namespace tessivar
{
namespace
{

DialogButton button (const juce::String& text, ButtonLook look)
{
    DialogButton made;
    made.text = text;
    made.look = look;
    return made;
}

constexpr int rowHeight = 44;

} // namespace

ChecklistDialog::ChecklistDialog (const ResourceImages& images,
                                  const juce::String& titleText,
                                  const juce::String& messageText,
                                  const std::vector<Entry>& entries,
                                  std::vector<DialogButton> buttonsToShow)
    : DialogContent (titleText, std::move (buttonsToShow)), message (messageText), list (images)
{
    std::vector<DialogListRow> rows;
    for (const auto& entry : entries)
    {
        DialogListRow row;
        row.text = entry.name;
        row.remark = entry.remark;
        row.ticked = entry.ticked;
        rows.push_back (row);
    }
    list.setRows (std::move (rows), rowHeight);
    list.setTitle (titleText);
    addAndMakeVisible (list);
    onChoice = [this] (int index)
    {
        std::vector<bool> ticked;
        for (const auto& row : list.getRows())
            ticked.push_back (row.ticked.value_or (false));
        const auto result = onResult;
        if (result != nullptr)
            result (index, ticked);
    };
}

int ChecklistDialog::bodyHeight (int width) const
{
    const auto text = layOutText (message, palette::textMid, static_cast<float> (width)).getHeight();
    return 2 + juce::roundToInt (std::ceil (text)) + 16 + list.idealHeight (width);
}

void ChecklistDialog::layOutBody (juce::Rectangle<int> body)
{
    list.setBounds (body.withTrimmedTop (bodyHeight (body.getWidth()) - list.idealHeight (body.getWidth())));
}

void ChecklistDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    const auto body = bodyArea().withTrimmedTop (2).toFloat();
    layOutText (message, palette::textMid, body.getWidth()).draw (g, body);
}

std::unique_ptr<ChecklistDialog>
makeQuitDialog (const ResourceImages& images,
                const std::vector<ChecklistDialog::Entry>& unsavedGroups,
                std::function<void (QuitChoice, const std::vector<bool>& toSave)> onChoice)
{
    auto without = button ("Quit Without Saving", ButtonLook::danger);
    without.atLeft = true;
    auto cancel = button ("Cancel", ButtonLook::standard);
    cancel.isSafe = true;
    auto save = button ("Save and Quit", ButtonLook::primary);
    save.hasFirstFocus = true;
    auto dialog = std::make_unique<ChecklistDialog> (
        images,
        "Save changes before quitting?",
        "These groups have changes that are not saved yet. Ticked groups will be saved.",
        unsavedGroups,
        std::vector<DialogButton>{ without, cancel, save });
    dialog->onResult = [choice = std::move (onChoice)] (int index, const std::vector<bool>& ticked)
    {
        if (choice != nullptr)
            choice (static_cast<QuitChoice> (index), ticked);
    };
    return dialog;
}

std::unique_ptr<ChecklistDialog>
makeRecoveryDialog (const ResourceImages& images,
                    const std::vector<ChecklistDialog::Entry>& groups,
                    std::function<void (RecoveryChoice, const std::vector<bool>& ticked)> onChoice)
{
    auto discard = button ("Discard", ButtonLook::danger);
    discard.atLeft = true;
    auto later = button ("Not Now", ButtonLook::standard);
    later.isSafe = true;
    auto recover = button ("Recover", ButtonLook::primary);
    recover.hasFirstFocus = true;
    auto dialog = std::make_unique<ChecklistDialog> (
        images,
        "Recover unsaved groups?",
        "Tessivar ended before these groups were saved. Ticked groups will be opened as they were.",
        groups,
        std::vector<DialogButton>{ discard, later, recover });
    dialog->onResult = [choice = std::move (onChoice)] (int index, const std::vector<bool>& ticked)
    {
        if (choice != nullptr)
            choice (static_cast<RecoveryChoice> (index), ticked);
    };
    return dialog;
}

} // namespace tessivar
