#include "ui/dialogs/FileDialog.h"

#include "ui/Call.h"

namespace tessivar
{
namespace
{

constexpr int cancelButton = 0, acceptButton = 1;

int flagsFor (const FileDialog::Settings& settings)
{
    using Browser = juce::FileBrowserComponent;
    return (settings.saves ? Browser::saveMode : Browser::openMode)
           | (settings.choosesFolders ? Browser::canSelectDirectories : Browser::canSelectFiles)
           | (settings.severalAtOnce ? Browser::canSelectMultipleItems : 0);
}

} // namespace

FileDialog::FileDialog (const Settings& settings)
    : DialogContent (settings.title,
                     { { .text = "Cancel", .isSafe = true },
                       { .text = settings.acceptText, .look = ButtonLook::primary } }),
      filter (settings.wildcard, "*", {}), browser (flagsFor (settings), settings.start, &filter, nullptr)
{
    addAndMakeVisible (browser);
    browser.addListener (this);
    onChoice = [this] (int button)
    { call (onResult, button == acceptButton ? chosen() : std::vector<juce::File>()); };
    selectionChanged();
}

FileDialog::~FileDialog()
{
    browser.removeListener (this);
}

void FileDialog::focusGained (FocusChangeType)
{
    if (auto* list = dynamic_cast<juce::Component*> (browser.getDisplayComponent());
        list != nullptr && isShowing())
        list->grabKeyboardFocus();
}

void FileDialog::selectionChanged()
{
    getButton (acceptButton).setEnabled (browser.currentFileIsValid());
}

void FileDialog::fileDoubleClicked (const juce::File& file)
{
    if (! file.isDirectory() && getButton (acceptButton).isEnabled())
        choose (acceptButton);
}

std::vector<juce::File> FileDialog::chosen() const
{
    std::vector<juce::File> files;
    for (int i = 0; i < std::max (1, browser.getNumSelectedFiles()); ++i)
        files.push_back (browser.getSelectedFile (i));
    return files;
}

} // namespace tessivar
