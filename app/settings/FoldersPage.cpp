#include "app/settings/FoldersPage.h"

#include "model/ForeignText.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

namespace tessivar
{

namespace
{
constexpr int buttonGap = 8, cardHeight = 66, cardInset = 13;
constexpr auto advice =
    "A fast local disk is best. One analyzed minute takes about 80 MB per track at 48 kHz.";
} // namespace

FoldersPage::FoldersPage (const SettingsDialogContext& contextToUse)
    : SettingsPage ("Folders"), context (contextToUse)
{
    chooseTemporaryButton.setTitle ("Browse for the folder of temporary files");
    chooseExportButton.setTitle ("Browse for the export folder");
    clearButton.setTitle ("Clear the export folder");
    chooseTemporaryButton.onClick = [this] { chooseTemporary(); };
    defaultButton.onClick = [this] { useDefault(); };
    chooseExportButton.onClick = [this] { chooseExport(); };
    clearButton.onClick = [this] { clearExport(); };

    for (auto* component : std::initializer_list<juce::Component*>{ &temporaryLabel,
                                                                    &temporary,
                                                                    &chooseTemporaryButton,
                                                                    &defaultButton,
                                                                    &temporaryHint,
                                                                    &freeSpace,
                                                                    &groups,
                                                                    &exportLabel,
                                                                    &exportFolder,
                                                                    &chooseExportButton,
                                                                    &clearButton,
                                                                    &exportHint })
        addAndMakeVisible (component);
}

void FoldersPage::enter()
{
    refresh();
}

void FoldersPage::refresh()
{
    const auto choice = context.workspace.temporaryFolder();
    const auto note = temporaryFolderNote (choice, sharedTemporaryFolder());
    disk = TemporaryDisk::of (choice.folder);
    temporary.setText (shownText (choice.folder.getFullPathName()), false);
    temporaryHint.setText (note.isNotEmpty() ? shownText (note) : juce::String (advice));
    temporaryHint.setWarning (note.isNotEmpty());
    temporaryLabel.setText (choice.reason == TemporaryFolderChoice::Reason::chosenByUser
                                ? "Temporary files"
                                : "Temporary files (default)");
    freeSpace.setText (disk.freeText());
    groups.setText (disk.groupsText());

    const auto preset = context.workspace.folderSettings().exportFolder;
    exportFolder.setText (preset ? shownText (preset->getFullPathName()) : juce::String(), false);
    clearButton.setEnabled (preset.has_value());
    resized();
    repaint();
}

std::optional<juce::File> FoldersPage::askForFolder (const juce::String& title, const juce::File& start)
{
    if (choosing)
        return {};

    // The chooser delivers messages, by which the dialog may be closed, or this be asked again.
    choosing = true;
    const juce::Component::SafePointer<juce::Component> self (this);
    const auto chosen = context.chooseFiles ({ .title = title,
                                               .wildcard = {},
                                               .kind = FileChooserRequest::Kind::chooseFolder,
                                               .startFolder = start,
                                               .suggestedName = {} });

    if (self == nullptr)
        return {};

    choosing = false;

    if (! isOpen() || chosen.empty())
        return {};

    if (const auto usable = checkFolder (chosen.front()); usable.failed())
    {
        fail (usable.getErrorMessage());
        return {};
    }

    return chosen.front();
}

void FoldersPage::fail (const juce::String& reason)
{
    context.prompts.warn ("The folder can't be used.", reason);
}

void FoldersPage::chooseTemporary()
{
    if (const auto folder = askForFolder ("Temporary files", context.workspace.temporaryFolder().folder))
    {
        auto chosen = context.workspace.folderSettings();
        chosen.temporaryFiles = folder;
        context.workspace.setFolderSettings (chosen);
        refresh();
    }
}

void FoldersPage::useDefault()
{
    context.workspace.setFolderSettings (withDefaultTemporaryFolder (
        context.workspace.folderSettings(), context.workspace.folders(), sharedTemporaryFolder()));
    refresh();
}

void FoldersPage::chooseExport()
{
    if (const auto folder = askForFolder ("Export folder", context.workspace.exportDialogFolder()))
    {
        auto chosen = context.workspace.folderSettings();
        chosen.exportFolder = folder;
        context.workspace.setFolderSettings (chosen);
        refresh();
    }
}

void FoldersPage::clearExport()
{
    auto chosen = context.workspace.folderSettings();
    chosen.exportFolder = std::nullopt;
    passFocus (clearButton, chooseExportButton);
    context.workspace.setFolderSettings (chosen);
    refresh();
}

void FoldersPage::paint (juce::Graphics& g)
{
    drawCard (g, diskCard);
    drawProgressTrough (g, diskBar.toFloat(), disk.usedFraction());
}

void FoldersPage::resized()
{
    auto area = contentArea();
    const auto placeRow = [&area] (juce::Component& label,
                                   juce::Component& field,
                                   std::initializer_list<ActionButton*> buttonsFromRight)
    {
        label.setBounds (area.removeFromTop (labelHeight));
        area.removeFromTop (labelGap);
        auto row = area.removeFromTop (fieldHeight);

        for (auto* button : buttonsFromRight)
        {
            button->setSize (80, fieldHeight);
            button->setBounds (row.removeFromRight (button->idealWidth()));
            row.removeFromRight (buttonGap);
        }

        field.setBounds (row);
        area.removeFromTop (5);
    };

    placeRow (temporaryLabel, temporary, { &defaultButton, &chooseTemporaryButton });
    const auto hintLines = temporaryHint.isWarning() ? 2 : 1; // a note is longer than the advice
    temporaryHint.setBounds (area.removeFromTop (hintLines * 17 + 2));
    area.removeFromTop (12);

    diskCard = area.removeFromTop (cardHeight);
    auto card = diskCard.reduced (cardInset, 10);
    auto top = card.removeFromTop (22);
    freeSpace.setBounds (top.removeFromRight (freeSpace.idealWidth()));
    diskBar = top.withTrimmedRight (12).withSizeKeepingCentre (top.getWidth() - 12, 6);
    groups.setBounds (card.withTrimmedTop (5));

    area.removeFromTop (22);
    placeRow (exportLabel, exportFolder, { &clearButton, &chooseExportButton });
    exportHint.setBounds (area.removeFromTop (19));
}

} // namespace tessivar
