#include "ui/dialogs/FileDialog.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

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
      nothingHere (settings.choosesFolders ? "No folders in here" : "No files of this kind in here"),
      filter (settings.wildcard, "*", {}), browser (flagsFor (settings), settings.start, &filter, nullptr),
      found (browser.getDisplayComponent()->directoryContentsList)
{
    found.addChangeListener (this);
    addAndMakeVisible (browser);
    browser.setFilenameBoxLabel ("Name");
    for (auto* child : browser.getChildren())
        if (auto* editor = dynamic_cast<juce::TextEditor*> (child))
            name = editor;
    if (name != nullptr)
        name->onEscapeKey = [this] { escape(); };
    browser.addListener (this);
    onChoice = [this] (int button)
    { call (onResult, button == acceptButton ? chosen() : std::vector<juce::File>()); };
    selectionChanged();
}

FileDialog::~FileDialog()
{
    browser.removeListener (this);
    found.removeChangeListener (this);
}

void FileDialog::focusGained (FocusChangeType)
{
    if (! isShowing())
        return;
    if (browser.isSaveMode() && name != nullptr)
        name->grabKeyboardFocus();
    else if (auto* list = dynamic_cast<juce::Component*> (browser.getDisplayComponent()))
        list->grabKeyboardFocus();
}

bool FileDialog::keyPressed (const juce::KeyPress& key)
{
    // A list takes it to open what is selected in it.
    if (key != juce::KeyPress (juce::KeyPress::returnKey) || ! getButton (acceptButton).isEnabled())
        return DialogContent::keyPressed (key);
    choose (acceptButton);
    return true;
}

void FileDialog::paintOverChildren (juce::Graphics& g)
{
    auto* const list = dynamic_cast<juce::Component*> (browser.getDisplayComponent());
    if (list == nullptr || found.isStillLoading() || found.getNumFiles() > 0)
        return;
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (13.0f));
    g.drawText (nothingHere, getLocalArea (&browser, list->getBounds()), juce::Justification::centred, true);
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
