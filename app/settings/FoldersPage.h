#pragma once

#include "app/settings/FoldersState.h"
#include "app/settings/SettingsDialog.h"
#include "app/settings/SettingsPage.h"
#include "ui/Buttons.h"

namespace tessivar
{

/** Where temporary files go, and where an export starts. */
class FoldersPage : public SettingsPage
{
public:
    explicit FoldersPage (const SettingsDialogContext& contextToUse);

    void paint (juce::Graphics& g) override;
    void resized() override;

protected:
    void enter() override;

private:
    void refresh();
    void chooseTemporary();
    void useDefault();
    void chooseExport();
    void clearExport();
    [[nodiscard]] std::optional<juce::File> askForFolder (const juce::String& title, const juce::File& start);
    void fail (const juce::String& reason);

    const SettingsDialogContext& context;
    TemporaryDisk disk;
    bool choosing = false;
    juce::Rectangle<int> diskCard, diskBar;

    TextBlock temporaryLabel{ TextBlock::Kind::label, "Temporary files" };
    PathField temporary{ "Temporary files", {} };
    ActionButton chooseTemporaryButton{ "Browse..." }, defaultButton{ "Use default" };
    TextBlock temporaryHint{ TextBlock::Kind::hint };
    TextBlock freeSpace{ TextBlock::Kind::value }, groups{ TextBlock::Kind::hint };
    TextBlock exportLabel{ TextBlock::Kind::label, "Export folder" };
    PathField exportFolder{ "Export folder", "No preset: the last folder used" };
    ActionButton chooseExportButton{ "Browse..." }, clearButton{ "Clear" };
    TextBlock exportHint{ TextBlock::Kind::hint, "With a preset, every export starts in this folder." };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (FoldersPage)
};

} // namespace tessivar
