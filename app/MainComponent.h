#pragma once

#include "app/BrowserPresenter.h"
#include "app/CommandCentre.h"
#include "app/GroupWork.h"
#include "app/Player.h"
#include "app/WaveformLibrary.h"
#include "app/WindowKeys.h"
#include "app/system/ProgramLog.h"
#include "model/recovery/GroupAutosave.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"
#include "ui/Buttons.h"
#include "ui/EmptyView.h"
#include "ui/TessivarControls.h"
#include "ui/TessivarSuppressionMeterComponent.h"
#include "ui/browser/BrowserView.h"
#include "ui/dock/SettingDock.h"
#include "ui/transport/TransportBar.h"
#include "ui/wave/TessivarWaveViewer.h"
#include "ui/wave/WaveTrackHeader.h"

namespace tessivar
{

enum class SettingsPageId;

/** Everything in the window: the workspace, the views of it, and what the user's gestures do to it. */
class MainComponent : public juce::Component,
                      public TessivarWorkspace::Owner,
                      public juce::FileDragAndDropTarget,
                      private juce::ChangeListener,
                      private juce::Timer
{
public:
    /** @param resourceFolder  images, fonts, documents and analysis data
        @param log             whose last lines go into diagnostics; outlives the component
    */
    MainComponent (const juce::File& resourceFolder, const UserFolders& folders, const ProgramLog& log);
    ~MainComponent() override;

    /** Once the window shows: the sound device, what an earlier run left unsaved, and these files. */
    void start (const juce::StringArray& paths);

    /** Files from a second start of the program. */
    void openPaths (const juce::StringArray& paths);

    /** The keyboard's focus, which the window has just got: to the dialog in front, if there is one. */
    void takeFocus();

    /** Asks about unsaved Groups. True when the program may end. */
    bool mayQuit();

    /** For an end without questions: stops a job and writes what is not saved to the recovery folder. */
    void keepForRecovery();

    [[nodiscard]] TessivarWorkspace& getWorkspace() { return workspace; }
    [[nodiscard]] CommandCentre& getCommands() { return commands; }

    /** Told when the user asks for these. */
    std::function<void()> onQuit, onToggleFullScreen;

    void paint (juce::Graphics& g) override;
    void resized() override;
    bool keyPressed (const juce::KeyPress& key) override;

    bool isInterestedInFileDrag (const juce::StringArray&) override { return true; }
    void fileDragEnter (const juce::StringArray& files, int x, int y) override;
    void fileDragExit (const juce::StringArray& files) override;
    void filesDropped (const juce::StringArray& files, int x, int y) override;

    static constexpr int minimumWidth = 1024, minimumHeight = 640;

private:
    class Splitter;

    // Wiring, in the order of the areas.
    void wireCommands();
    void wireBrowser();
    void wireWave();
    void wireDock();
    void wireTransport();
    void wireWork();

    void changeListenerCallback (juce::ChangeBroadcaster*) override;
    void timerCallback() override;

    /** Whether a job or a dialog is in front of everything. */
    [[nodiscard]] bool isBlocked() const;

    // Showing.
    void refresh();
    void showTrack();
    void showTransport();
    void showDevice();
    void showMeter();
    void movePlayhead();
    void animateFor (double seconds);
    void sendExactRequest();

    // The selection.
    [[nodiscard]] Group::Ptr selectedGroup() const { return workspace.selectedGroup(); }
    [[nodiscard]] Track::Ptr selectedTrack() const;
    [[nodiscard]] std::vector<std::uint32_t> chosenTracks();
    void selectTrack (std::uint32_t trackId);
    void select (const BrowserSelection& selection);
    void stepTrack (int step);
    void stepGroup (int step);
    void moveToArea (int step);

    // What gestures do.
    void performAction (int action);
    [[nodiscard]] bool canPerform (int action) const;
    void performKey (WindowKey key, const juce::KeyPress& press);
    void giveToDialog (const juce::KeyPress& key);
    bool quitInSpiteOfDialog (const juce::KeyPress& key);
    void dropPaths (const juce::StringArray& paths, const Group::Ptr& target);
    void turnKnobs (std::optional<float> focus, std::optional<float> fine);
    void nudgeKnob (bool isFocus, float fraction);
    void chooseSetting (KnobSetting setting, bool wholeGroup);
    void copySetting();
    void resetKnobs();
    void setListening (ListenMode mode);
    void setLooping (bool shouldLoop);
    void seek (double seconds);
    void removeTracks (const std::vector<std::uint32_t>& ids);
    void showTrackMenu (std::uint32_t trackId, juce::Point<int> position);
    void showGroupMenu (const Group::Ptr& group, juce::Point<int> position);
    void undo (bool redo);
    void openSettings (SettingsPageId page);
    void applyInterfaceSize();
    void showAbout();
    [[nodiscard]] juce::String makeDiagnostics (bool withPaths);
    void openHelp (const char* document);
    void offerRecovery();
    void sweepLeftovers();
    void locateSource (std::uint32_t trackId);

    const juce::File resources;
    const ProgramLog& programLog;
    ResourceImages images;
    TessivarWorkspace workspace;
    Player player;
    WaveformLibrary waveforms;
    BrowserPresenter presenter;

    CommandCentre commands;
    juce::MenuBarComponent menuBar;
    DeviceStatusButton deviceStatus;
    BrowserView browser;
    std::unique_ptr<Splitter> splitter;
    WaveTrackHeader trackHeader;
    TessivarWaveViewer wave;
    TessivarKnobComponent horizontalZoom, verticalZoom;
    MeterColumn meter;
    SettingDock dock;
    TransportBar transport;
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
    GroupWork work;
    std::shared_ptr<RecoverySession> recovery;
    std::unique_ptr<GroupAutosave> autosave;
    juce::String reasonAgainstRecovery; // why there is no autosave; empty when there is one
    juce::ThreadPool sweeper{ 1 };      // what killed runs left may be large
    juce::StringArray waitingPaths;     // came while something was in front

    std::uint32_t selectedTrackId = 0;
    ListenMode listenMode = ListenMode::processed;
    bool looping = false, following = true, knobGesture = false, wasPlaying = false, wasReading = false;
    float volumeDb = 0.0f;
    int browserWidth = 344;
    struct ProcessedWish
    {
        std::uint32_t contentId = 0;
        ChannelWeights weights{};
        bool operator== (const ProcessedWish&) const = default;
    };
    std::optional<ProcessedWish> processedWish; // whose whole processed signal is drawn in wide views
    bool processedIsWanted = false;
    double processedRequestAt = 0.0;
    std::uint32_t shownTrack = 0;
    KnobSetting shownSetting = KnobSetting::a;
    std::optional<WaveEnvelopeRequest> exactRequest; // waits for a pause
    double exactRequestAt = 0.0, animateUntil = 0.0, lastTick = 0.0, lastSlowTick = 0.0, lastSecond = 0.0;
    bool evenTick = false;

    JUCE_DECLARE_NON_COPYABLE (MainComponent)
};

} // namespace tessivar
