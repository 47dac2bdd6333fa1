#include "app/MainWindow.h"

#include "app/AppSettings.h"
#include "app/system/ScreenFit.h"
#include "platform/Desktop.h"
#include "ui/Palette.h"

namespace tessivar
{

namespace
{
constexpr int frameWaitMs = 50, mostFrameWaits = 200; // 10 s: a busy machine gives the frame late
} // namespace

MainWindow::MainWindow (const juce::File& resourceFolder, const UserFolders& folders, ProgramLog& log)
    : juce::DocumentWindow ("Tessivar", palette::window, juce::DocumentWindow::allButtons, false),
      main (new MainComponent (resourceFolder, folders, log))
{
    const juce::Image icon (juce::ImageFileFormat::loadFrom (resourceFolder.getChildFile ("icon.png")));
    setUsingNativeTitleBar (true);
    setContentOwned (main, true);
    setResizable (true, false);
    limitSize();

    main->onQuit = [] { juce::JUCEApplicationBase::getInstance()->systemRequestedQuit(); };
    main->onToggleFullScreen = [this] { toggleFullScreen(); };

    // "fs" stands before the place of a window that was closed in full screen: it opens as before that.
    if (const auto state = main->getWorkspace().settings().getValue (appSettingsKeys::windowState);
        ! restoreWindowStateFromString (state.trimCharactersAtStart ("fs ")))
        centreWithSize (windowSizes::usualWidth, windowSizes::usualHeight);

    fitToScreen (*this, windowSizes::leastWidth, windowSizes::leastHeight);

    // On the window, which has the focus when none of the views has it.
    addKeyListener (main->getCommands().manager().getKeyMappings());
    addToDesktop();

    // The toolkit's own setIcon is for the title bar that it draws itself.
    if (auto* peer = getPeer(); peer != nullptr && icon.isValid())
        peer->setIcon (icon);

    darkenFrame (getWindowHandle());

    setVisible (true);
    startTimer (frameWaitMs);
}

MainWindow::~MainWindow()
{
    stopTimer();
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

void MainWindow::parentSizeChanged()
{
    // Another screen, or another size of the interface on the same one.
    juce::DocumentWindow::parentSizeChanged();
    startTimer (frameWaitMs);
}

void MainWindow::timerCallback()
{
    // The desktop tells of its frame some time after the window has come.
    if (frameAround (*this).getTopAndBottom() == 0 && ++frameWaits < mostFrameWaits)
        return;

    stopTimer();
    limitSize();

    if (! isFullScreen())
        fitToScreen (*this, windowSizes::leastWidth, windowSizes::leastHeight);
}

void MainWindow::limitSize()
{
    const auto frame = frameAround (*this);
    setResizeLimits (windowSizes::leastWidth + frame.getLeftAndRight(),
                     windowSizes::leastHeight + frame.getTopAndBottom(),
                     32000,
                     32000);
}

void MainWindow::toggleFullScreen()
{
    setFullScreen (! isFullScreen());
}

} // namespace tessivar
