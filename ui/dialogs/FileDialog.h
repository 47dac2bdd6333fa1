#pragma once

#include "ui/dialogs/DialogContent.h"

namespace tessivar
{

/** Chooses files or folders, for desktops without a chooser of their own. */
class FileDialog : public DialogContent, private juce::FileBrowserListener, private juce::ChangeListener
{
public:
    struct Settings
    {
        juce::String title, acceptText;
        juce::String wildcard; // "*.wav;*.WAV"; of files
        juce::File start;      // a folder that exists, or a file to save in one
        bool saves = false, choosesFolders = false, severalAtOnce = false;
    };

    explicit FileDialog (const Settings& settings);
    ~FileDialog() override;

    /** None when it was cancelled. Comes after onDismiss. */
    std::function<void (const std::vector<juce::File>& files)> onResult;

    int idealWidth() const override { return 680; }
    void focusGained (FocusChangeType) override; // which goes on to the name or the list
    bool keyPressed (const juce::KeyPress& key) override;
    void paintOverChildren (juce::Graphics& g) override;

protected:
    int bodyHeight (int) const override { return 430; }
    void layOutBody (juce::Rectangle<int> body) override { browser.setBounds (body.withTrimmedTop (10)); }

private:
    void selectionChanged() override;
    void fileClicked (const juce::File&, const juce::MouseEvent&) override {}
    void fileDoubleClicked (const juce::File& file) override;
    void browserRootChanged (const juce::File&) override { selectionChanged(); }
    void changeListenerCallback (juce::ChangeBroadcaster*) override { repaint(); } // files were found

    [[nodiscard]] std::vector<juce::File> chosen() const;

    const juce::String nothingHere;
    juce::WildcardFileFilter filter;
    juce::FileBrowserComponent browser;
    juce::DirectoryContentsList& found;
    juce::TextEditor* name = nullptr; // of the file to save; the browser's

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (FileDialog)
};

} // namespace tessivar
