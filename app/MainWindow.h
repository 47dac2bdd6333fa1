#pragma once

#include "app/MainComponent.h"

namespace tessivar
{

/** The only window. Its place and size are kept in the settings, and fitted to the screen when it opens. */
class MainWindow : public juce::DocumentWindow, private juce::Timer
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
    void parentSizeChanged() override;
    void toggleFullScreen();

private:
    void timerCallback() override;
    void limitSize();

    MainComponent* main;   // owned by the window
    bool isEnding = false; // the focus of what is deleted comes to the window
    int frameWaits = 0;

    JUCE_DECLARE_NON_COPYABLE (MainWindow)
};

} // namespace tessivar
