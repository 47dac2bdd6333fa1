#include "app/MainWindow.h"

#include "app/AppSettings.h"
#include "ui/Palette.h"

namespace tessivar
{

MainWindow::MainWindow (const juce::File& resourceFolder, const UserFolders& folders)
    : juce::DocumentWindow ("Tessivar", palette::window, juce::DocumentWindow::allButtons, false),
      main (new MainComponent (resourceFolder, folders))
{
    const juce::Image icon (juce::ImageFileFormat::loadFrom (resourceFolder.getChildFile ("icon.png")));
    setUsingNativeTitleBar (true);
    setContentOwned (main, true);
    setResizable (true, false);
    setResizeLimits (MainComponent::minimumWidth, MainComponent::minimumHeight, 32000, 32000);

    if (icon.isValid())
        setIcon (icon);

    main->onQuit = [] { juce::JUCEApplicationBase::getInstance()->systemRequestedQuit(); };
    main->onToggleFullScreen = [this] { toggleFullScreen(); };

    if (const auto state = main->getWorkspace().settings().getValue (appSettingsKeys::windowState);
        state.isEmpty() || ! restoreWindowStateFromString (state))
        centreWithSize (1280, 800);

    addToDesktop();
    setVisible (true);
}

MainWindow::~MainWindow()
{
    main->getWorkspace().settings().setValue (appSettingsKeys::windowState, getWindowStateAsString());
    clearContentComponent();
}

void MainWindow::closeButtonPressed()
{
    juce::JUCEApplicationBase::getInstance()->systemRequestedQuit();
}

void MainWindow::toggleFullScreen()
{
    setFullScreen (! isFullScreen());
}

} // namespace tessivar
