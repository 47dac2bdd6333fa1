#pragma once

#include "app/MainComponent.h"

namespace tessivar
{

/** The only window. Its place and size are kept in the settings. */
class MainWindow : public juce::DocumentWindow
{
public:
    /** @param log  the program's, whose last lines go into diagnostics; outlives the window */
    MainWindow (const juce::File& resourceFolder, const UserFolders& folders, ProgramLog& log);
    ~MainWindow() override;

    [[nodiscard]] MainComponent& content() { return *main; }

    void closeButtonPressed() override;

    /** Keys that no view took, also when no view has the focus. */
    bool keyPressed (const juce::KeyPress& key) override;
    void focusGained (FocusChangeType cause) override;
    void toggleFullScreen();

private:
    MainComponent* main;   // owned by the window
    bool isEnding = false; // the focus of what is deleted comes to the window

    JUCE_DECLARE_NON_COPYABLE (MainWindow)
};

} // namespace tessivar
