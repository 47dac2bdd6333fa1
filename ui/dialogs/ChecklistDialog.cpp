#include "ui/dialogs/ChecklistDialog.h"

#include "ui/Call.h"
#include "ui/Palette.h"
#include "ui/dialogs/DialogText.h"

#include <array>

namespace tessivar
{
namespace
{
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
        rows.push_back ({ .text = entry.name, .remark = entry.remark, .ticked = entry.ticked });
    list.setRows (std::move (rows), rowHeight);
    list.setTitle (titleText);
    addAndMakeVisible (list);
    onChoice = [this] (int index)
    {
        std::vector<bool> ticked;
        for (const auto& row : list.getRows())
            ticked.push_back (row.ticked.value_or (false));
        const auto result = onResult;
        call (result, index, ticked);
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

namespace
{

/** Choices in the order of the buttons: discard, the safe one, the primary one. */
template <typename Choice>
std::unique_ptr<ChecklistDialog>
makeChecklist (const ResourceImages& images,
               const juce::String& title,
               const juce::String& message,
               const std::vector<ChecklistDialog::Entry>& entries,
               const std::array<const char*, 3>& choices,
               std::function<void (Choice, const std::vector<bool>& ticked)> onChoice)
{
    auto dialog = std::make_unique<ChecklistDialog> (
        images,
        title,
        message,
        entries,
        std::vector<DialogButton>{
            { .text = choices[0], .look = ButtonLook::danger, .atLeft = true },
            { .text = choices[1], .isSafe = true },
            { .text = choices[2], .look = ButtonLook::primary, .hasFirstFocus = true } });
    dialog->onResult = [choice = std::move (onChoice)] (int index, const std::vector<bool>& ticked)
    { call (choice, static_cast<Choice> (index), ticked); };
    return dialog;
}

} // namespace

std::unique_ptr<ChecklistDialog>
makeQuitDialog (const ResourceImages& images,
                const std::vector<ChecklistDialog::Entry>& unsavedGroups,
                std::function<void (QuitChoice, const std::vector<bool>& toSave)> onChoice)
{
    return makeChecklist (images,
                          "Save changes before quitting?",
                          "These groups have changes that are not saved yet. Ticked groups will be saved.",
                          unsavedGroups,
                          { "Quit Without Saving", "Cancel", "Save and Quit" },
                          std::move (onChoice));
}

std::unique_ptr<ChecklistDialog>
makeRecoveryDialog (const ResourceImages& images,
                    const std::vector<ChecklistDialog::Entry>& groups,
                    std::function<void (RecoveryChoice, const std::vector<bool>& ticked)> onChoice)
{
    return makeChecklist (
        images,
        "Recover unsaved groups?",
        "Tessivar ended before these groups were saved. Ticked groups will be opened as they were.",
        groups,
        { "Discard", "Not Now", "Recover" },
        std::move (onChoice));
}

} // namespace tessivar
