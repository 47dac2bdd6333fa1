#pragma once

#include "app/BleedController.h"
#include "app/BrowserController.h"
#include "app/Commands.h"
#include "app/DockController.h"
#include "app/FilesFromOutside.h"
#include "app/GroupWork.h"
#include "app/PlaybackController.h"
#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/UnsavedWork.h"
#include "app/WaveController.h"
#include "app/WindowClock.h"
#include "app/WindowDialogs.h"
#include "ui/EmptyView.h"
#include "ui/TessivarControls.h"

namespace tessivar
{

/** Everything in the window: lays out its areas, fills them when something changes, and leads what the user
    does to those who do it: verbs, TrackActions, GroupWork, and the controllers of the areas.
*/
class MainComponent : public juce::Component,
                      public juce::FileDragAndDropTarget,
                      public juce::MessageListener,
                      private juce::ChangeListener
{
public:
    /** @param resourceFolder  images, fonts, documents and analysis data
        @param log             whose last lines go into diagnostics; outlives the component
    */
    MainComponent (const juce::File& resourceFolder, const UserFolders& folders, const ProgramLog& log);
    ~MainComponent() override;

    /** Once the window shows: the sound device, what an earlier run left unsaved, and these files. */
    void start (const juce::StringArray& paths);

    /** Whether audio files are on their way, or something is to be told of them. */
    [[nodiscard]] bool isReadingFiles() const
    {
        return work.imports().isReading() || work.canFinishImports();
    }

    /** Files that were dropped, or named by a start of the program. */
    FilesFromOutside& filesFromOutside() { return files; }

    /** The keyboard's focus, which the window has just got: to the dialog in front, if there is one. */
    void takeFocus();

    /** Asks about unsaved Groups; stops a job instead while one runs. True when the program may end. */
    bool mayQuit();

    /** For an end without questions: stops a job and writes what is not saved to the recovery folder. */
    void keepForRecovery();

    /** The program has made an error, and goes on: keeps what is not saved, and tells. */
    void tellFailure (const juce::String& reason);

    [[nodiscard]] TessivarWorkspace& getWorkspace() { return workspace; }
    [[nodiscard]] Commands& getCommands() { return commands; }

    /** Told when the user asks for these. */
    std::function<void()> onQuit = [] {}, onToggleFullScreen = [] {};

    // What verbs do that takes the window.

    void openMenu (int index) { menuBar.showMenu (index); }
    void showTrackMenu (const Track::Ptr& track);
    void setPlaysKit (bool shouldPlay); // all tracks, instead of the selected one alone
    void moveToArea (int step);

    /** Exports when whatever asks for it has returned. */
    void postExport (ExportScope scope, const Group::Ptr& group, const Track::Ptr& track);

    void paint (juce::Graphics& g) override;
    void resized() override;
    bool keyPressed (const juce::KeyPress& key) override;
    bool keyStateChanged (bool isDown) override;
    void modifierKeysChanged (const juce::ModifierKeys&) override { menuBar.repaint(); }
    void handleMessage (const juce::Message& message) override;

    bool isInterestedInFileDrag (const juce::StringArray&) override { return true; }
    void fileDragEnter (const juce::StringArray& paths, int x, int y) override;
    void fileDragExit (const juce::StringArray& paths) override;
    void filesDropped (const juce::StringArray& paths, int x, int y) override;

private:
    // Wiring, in the order of the areas.
    void wireCommands();
    void wireBrowser();
    void wireWave();
    void wireDock();
    void wirePlayback();
    void wireWork();
    void wireFiles();
    void wireClock();

    void changeListenerCallback (juce::ChangeBroadcaster*) override { refresh(); }

    /** Whether a job or a dialog is in front of everything. */
    [[nodiscard]] bool isBlocked() const;

    /** Later, unless the component is gone by then: a click or a drag that is under way may not be held up by
        a dialog.
    */
    void callLater (std::function<void()> what);

    // Verbs.
    [[nodiscard]] VerbTargets targets (const Track::Ptr& clicked = nullptr);
    void perform (const VerbEntry& entry, const Track::Ptr& clicked = nullptr);
    void perform (Verb verb) { perform (entryOf (verb)); }
    void showMenu (std::span<const MenuLine> lines, const Track::Ptr& clicked, juce::Point<int> position);
    bool quitInSpiteOfDialog (const juce::KeyPress& key);

    // Showing.
    void refresh();
    void readWaveforms();
    void showSelection();
    void showTrack();
    void showReading();
    bool showFrame (double time, double elapsed);
    void showSlowly();

    void openSettings (SettingsPageId page);
    void offerLastSession();
    void reopenLastSession();

    const juce::File resources;
    ResourceImages images;
    TessivarWorkspace workspace;
    Player player;
    WaveController wave;

    Commands commands;
    juce::MenuBarComponent menuBar;
    EmptyView empty;
    DropOverlay dropOverlay;

    /** Of the window's keys a dialog keeps all but the one for quitting. */
    class QuitKey final : public juce::KeyListener
    {
    public:
        explicit QuitKey (MainComponent& ownerToUse) : owner (ownerToUse) {}
        bool keyPressed (const juce::KeyPress& key, juce::Component*) override
        {
            return owner.quitInSpiteOfDialog (key);
        }

    private:
        MainComponent& owner;
    };

    QuitKey quitKey{ *this };
    DialogScrim scrim;
    TessivarTooltipWindow tooltips;

    JobRunner runner{ scrim };
    DialogPrompts prompts;
    TrackActions tracks;
    PlaybackController playback;
    DockController dock;
    BleedController bleed;
    GroupWork work;
    BrowserController browser;
    FilesFromOutside files;
    UnsavedWork unsaved;
    WindowDialogs dialogs;
    std::uint32_t shownReading = 0; // revision of what is read
    bool wasPlaying = false, isEvenFrame = false;
    WindowClock clock;

    JUCE_DECLARE_NON_COPYABLE (MainComponent)
};

} // namespace tessivar
