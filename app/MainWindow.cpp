#include "app/MainWindow.h"

#include "app/AppSettings.h"
#include "ui/Palette.h"

namespace tessivar
{

MainWindow::MainWindow (const juce::File& resourceFolder, const UserFolders& folders, ProgramLog& log)
    : juce::DocumentWindow ("Tessivar", palette::window, juce::DocumentWindow::allButtons, false),
      main (new MainComponent (resourceFolder, folders, log))
{
    const juce::Image icon (juce::ImageFileFormat::loadFrom (resourceFolder.getChildFile ("icon.png")));
    setUsingNativeTitleBar (true);
    setContentOwned (main, true);
    setResizable (true, false);
    setResizeLimits (MainComponent::minimumWidth, MainComponent::minimumHeight, 32000, 32000);

    main->onQuit = [] { juce::JUCEApplicationBase::getInstance()->systemRequestedQuit(); };
    main->onToggleFullScreen = [this] { toggleFullScreen(); };

    if (const auto state = main->getWorkspace().settings().getValue (appSettingsKeys::windowState);
        state.isEmpty() || ! restoreWindowStateFromString (state))
        centreWithSize (1280, 800);

    // On the window, which has the focus when none of the views has it.
    addKeyListener (main->getCommands().manager().getKeyMappings());
    addToDesktop();

    // The toolkit's own setIcon is for the title bar that it draws itself.
    if (auto* peer = getPeer(); peer != nullptr && icon.isValid())
        peer->setIcon (icon);

    setVisible (true);
}

MainWindow::~MainWindow()
{
    removeKeyListener (main->getCommands().manager().getKeyMappings());
    main->getWorkspace().settings().setValue (appSettingsKeys::windowState, getWindowStateAsString());
    isEnding = true;
    clearContentComponent();
}

void MainWindow::closeButtonPressed()
{
    juce::JUCEApplicationBase::getInstance()->systemRequestedQuit();
}

bool MainWindow::keyPressed (const juce::KeyPress& key)
{
    // A key that came through a view has been offered to the content already.
    const auto* focused = juce::Component::getCurrentlyFocusedComponent();
    const auto isNew = focused == nullptr || ! (main == focused || main->isParentOf (focused));
    return (isNew && main->keyPressed (key)) || juce::DocumentWindow::keyPressed (key);
}

void MainWindow::focusGained (FocusChangeType)
{
    if (! isEnding)
        main->takeFocus();
}

void MainWindow::toggleFullScreen()
{
    setFullScreen (! isFullScreen());
}

} // namespace tessivar
