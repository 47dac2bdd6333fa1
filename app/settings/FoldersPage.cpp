#include "app/AppSettings.h"
#include "app/settings/ChoiceGroup.h"
#include "app/settings/FoldersState.h"
#include "app/settings/SettingsPage.h"
#include "model/ForeignText.h"
#include "ui/Buttons.h"
#include "ui/TessivarLookAndFeel.h"

namespace tessivar
{

namespace
{
constexpr int buttonGap = 8, cardHeight = 66, cardInset = 13, segmentsHeight = 34;
constexpr auto advice =
    "A fast local disk is best. One analyzed minute takes about 80 MB per track at 48 kHz.";

class FoldersPage final : public SettingsPage
{
public:
    explicit FoldersPage (const SettingsDialogContext& contextToUse)
        : SettingsPage ("Folders"), context (contextToUse), workspace (context.workspace)
    {
        chooseTemporaryButton.setTitle ("Browse for the folder of temporary files");
        chooseExportButton.setTitle ("Browse for the export folder");
        clearButton.setTitle ("Clear the export folder");
        chooseTemporaryButton.onClick = [this]
        { choose (temporary, &FolderSettings::temporaryFiles, workspace.temporaryFolder().folder); };
        chooseExportButton.onClick = [this]
        { choose (exportFolder, &FolderSettings::exportFolder, workspace.exportDialogFolder()); };
        defaultButton.onClick = [this]
        {
            store (withDefaultTemporaryFolder (
                workspace.folderSettings(), workspace.folders(), sharedTemporaryFolder()));
        };
        clearButton.onClick = [this]
        {
            auto chosen = workspace.folderSettings();
            chosen.exportFolder = std::nullopt;
            passFocus (clearButton, chooseExportButton);
            store (chosen);
        };
        add (temporary, chooseTemporaryButton, defaultButton, temporaryHint, freeSpace, groups);
        add (exportFolder, chooseExportButton, clearButton, exportHint, depthLabel, depth);
        depth.onSelect = [this] (int index)
        { workspace.settings().setValue (appSettingsKeys::exportDepth, index == 1 ? "float" : "source"); };
    }

    void paint (juce::Graphics& g) override
    {
        drawCard (g, diskCard);
        drawProgressTrough (g, diskBar.toFloat(), disk.usedFraction());
    }

    void resized() override
    {
        auto area = contentArea();
        const auto place = [&area] (PathField& field, std::initializer_list<ActionButton*> buttonsFromRight)
        {
            auto row = takeRow (field.label, area);

            for (auto* button : buttonsFromRight)
            {
                button->setSize (80, fieldHeight);
                button->setBounds (row.removeFromRight (button->idealWidth()));
                row.removeFromRight (buttonGap);
            }

            field.setBounds (row);
            area.removeFromTop (5);
        };

        place (temporary, { &defaultButton, &chooseTemporaryButton });
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
        place (exportFolder, { &clearButton, &chooseExportButton });
        exportHint.setBounds (area.removeFromTop (19));
        area.removeFromTop (14);
        depth.setBounds (takeRow (depthLabel, area, 4)
                             .withSize (depth.idealWidth(), segmentsHeight)
                             .expanded (ChoiceGroup::ringRoom));
    }

private:
    void enter() override
    {
        const auto choice = workspace.temporaryFolder();
        const auto note = temporaryFolderNote (choice, sharedTemporaryFolder());
        disk = TemporaryDisk::of (choice.folder);
        temporary.setText (shownText (choice.folder.getFullPathName()), false);
        temporary.label.setText (choice.reason == TemporaryFolderChoice::Reason::chosenByUser
                                     ? "Temporary files"
                                     : "Temporary files (default)");
        temporaryHint.setText (note.isNotEmpty() ? shownText (note) : juce::String (advice));
        temporaryHint.setWarning (note.isNotEmpty());
        freeSpace.setText (disk.freeText());
        groups.setText (disk.groupsText());

        const auto preset = workspace.folderSettings().exportFolder;
        exportFolder.setText (preset ? shownText (preset->getFullPathName()) : juce::String(), false);
        clearButton.setEnabled (preset.has_value());
        depth.select (exportDepth (workspace.settings()) == ExportDepth::float32 ? 1 : 0);
        resized();
        repaint();
    }

    void store (const FolderSettings& chosen)
    {
        workspace.setFolderSettings (chosen);
        enter();
    }

    /** Asks for the folder that a field shows, from a first folder on, and stores it. */
    void choose (const PathField& field,
                 std::optional<juce::File> FolderSettings::*folder,
                 const juce::File& start)
    {
        if (choosing)
            return;

        // The chooser delivers messages, by which the dialog may be closed, or this be asked again.
        choosing = true;
        const juce::Component::SafePointer<juce::Component> self (this);
        const auto files = context.chooseFiles ({ .title = field.getTitle(),
                                                  .wildcard = {},
                                                  .kind = FileChooserRequest::Kind::chooseFolder,
                                                  .startFolder = start,
                                                  .suggestedName = {} });

        if (self == nullptr)
            return;

        choosing = false;

        if (! isOpen() || files.empty())
            return;

        if (const auto usable = checkFolder (files.front()); usable.failed())
            return context.prompts.warn ("The folder can't be used.", usable.getErrorMessage());

        auto chosen = workspace.folderSettings();
        chosen.*folder = files.front();
        store (chosen);
    }

    const SettingsDialogContext& context;
    TessivarWorkspace& workspace;
    TemporaryDisk disk;
    bool choosing = false;
    juce::Rectangle<int> diskCard, diskBar;

    PathField temporary{ "Temporary files", {} };
    ActionButton chooseTemporaryButton{ "Browse..." }, defaultButton{ "Use default" };
    TextBlock temporaryHint{ TextBlock::Kind::hint };
    TextBlock freeSpace{ TextBlock::Kind::value }, groups{ TextBlock::Kind::hint };
    PathField exportFolder{ "Export folder", "No preset: the last folder used" };
    ActionButton chooseExportButton{ "Browse..." }, clearButton{ "Clear" };
    TextBlock depthLabel{ TextBlock::Kind::label, "Depth of exported WAV files" };
    ChoiceGroup depth{ "Depth of exported WAV files",
                       ChoiceGroup::Style::segments,
                       { { "As each source" }, { "32-bit float" } } };
    TextBlock exportHint{ TextBlock::Kind::hint, "With a preset, every export starts in this folder." };
};
} // namespace

std::unique_ptr<SettingsPage> makeFoldersPage (const SettingsDialogContext& context)
{
    return std::make_unique<FoldersPage> (context);
}

} // namespace tessivar
