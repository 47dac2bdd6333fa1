#include "ui/dialogs/ChecklistDialog.h"

#include "ui/Palette.h"

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
    for (const auto& [name, remark, ticked] : entries)
    {
        auto& row = rows.emplace_back();
        row.text = name;
        row.remark = remark;
        row.ticked = ticked;
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
    auto dialog = std::make_unique<ChecklistDialog> (
        images,
        "Save changes before quitting?",
        "These groups have changes that are not saved yet. Ticked groups will be saved.",
        unsavedGroups,
        std::vector<DialogButton>{
            { .text = "Quit Without Saving", .look = ButtonLook::danger, .atLeft = true },
            { .text = "Cancel", .isSafe = true },
            { .text = "Save and Quit", .look = ButtonLook::primary, .hasFirstFocus = true },
        });
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
    auto dialog = std::make_unique<ChecklistDialog> (
        images,
        "Recover unsaved groups?",
        "Tessivar ended before these groups were saved. Ticked groups will be opened as they were.",
        groups,
        std::vector<DialogButton>{
            { .text = "Discard", .look = ButtonLook::danger, .atLeft = true },
            { .text = "Not Now", .isSafe = true },
            { .text = "Recover", .look = ButtonLook::primary, .hasFirstFocus = true },
        });
    dialog->onResult = [choice = std::move (onChoice)] (int index, const std::vector<bool>& ticked)
    {
        if (choice != nullptr)
            choice (static_cast<RecoveryChoice> (index), ticked);
    };
    return dialog;
}

} // namespace tessivar
