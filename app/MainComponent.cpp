#include "app/MainComponent.h"

#include "app/AppSettings.h"
#include "app/ExportMessages.h"
#include "app/FileChooser.h"
#include "app/LastSession.h"
#include "app/TrackPresenter.h"
#include "app/settings/ReducedMotion.h"
#include "jobs/DemoSession.h"
#include "model/ForeignText.h"
#include "model/settings/Settings.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "ui/FocusRings.h"
#include "ui/Palette.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr int menuBarHeight = 28, menuBarInset = 6, seam = 1;
constexpr int compactHeight = 720, compactWidth = 1180, compactBrowserWidth = 300;
constexpr int smallestBrowser = 300, largestBrowser = 480;
constexpr int fastHz = 60, slowHz = 4;
constexpr double meterRelease =
    2.5;                           // s in which the output meter falls after playback, its held peak included
constexpr double labelStays = 4.0; // s in which a knob's value label has faded
constexpr double noticeStays = 5.0; // s
constexpr double meterRange = SuppressionMeterState::numLeds;

double now()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}

/** "Studio Interface · 48 kHz · 256 samples", the device by its own name and, where that says little, its
    kind's.
*/
juce::String deviceText (juce::AudioIODevice& device)
{
    const auto dot = juce::String::fromUTF8 (" \xc2\xb7 ");
    const auto isJack = device.getTypeName() == "JACK";
    return (isJack ? "JACK " + device.getName() : device.getName()) + dot
           + rateText (device.getCurrentSampleRate()) + dot
           + juce::String (device.getCurrentBufferSizeSamples()) + " samples";
}

float levelDbOf (float rms)
{
    return 20.0f * std::log10 (std::max (rms, 1.0e-6f));
}
} // namespace

/** The edge between browser and track: drags the browser wider or narrower. */
class MainComponent::Splitter : public juce::Component
{
public:
    Splitter() { setMouseCursor (juce::MouseCursor::LeftRightResizeCursor); }

    /** The browser's new right edge, in the parent's coordinates. */
    std::function<void (int)> onDrag;

    void mouseDrag (const juce::MouseEvent& event) override
    {
        if (onDrag)
            onDrag (event.getEventRelativeTo (getParentComponent()).x);
    }
};

MainComponent::MainComponent (const juce::File& resourceFolder,
                              const UserFolders& folders,
                              const ProgramLog& log)
    : resources (resourceFolder), images (resourceFolder), workspace (folders),
      player (workspace, readAheadSettings (workspace.settings())), wave (images, player),
      menuBar (&commands), browser (images), splitter (std::make_unique<Splitter>()), meter (images),
      dock (images), transport (images), tooltips (this), prompts (scrim, images),
      tracks (workspace, prompts), dragOut (workspace, tracks), bleed (wave, player, tracks),
      work (workspace, runner, prompts, resourceFolder), presenter (workspace, wave.waveforms, work),
      files (work), unsaved (workspace, work, prompts, images),
      dialogs ({ workspace, player, tracks, runner, prompts, images, *this, resourceFolder, log })
{
    // A folder of settings alone: what else lies there was left behind.
    tidySettingsFolder (folders.settings);
    [[maybe_unused]] const auto firstRun = workspace.isFirstRun();
    auto& settings = workspace.settings();
    volumeDb = static_cast<float> (settings.getDoubleValue (appSettingsKeys::volume, 0.0));
    browserWidth = juce::jlimit (
        smallestBrowser, largestBrowser, settings.getIntValue (appSettingsKeys::browserWidth, browserWidth));
    player.setVolumeDb (volumeDb);
    wave.setSpectrumShown (settings.getBoolValue (appSettingsKeys::spectrumShown, false));
    player.setPlaysWholeGroup (settings.getBoolValue (appSettingsKeys::playsKit, false));
    presenter.setShowsStrips (player.playsWholeGroup());

    for (auto* child : std::initializer_list<juce::Component*>{ &menuBar,
                                                                &deviceStatus,
                                                                &browser,
                                                                splitter.get(),
                                                                &wave.header,
                                                                &wave.view,
                                                                &meter,
                                                                &dock,
                                                                &transport })
        addAndMakeVisible (child);

    for (auto* child : std::initializer_list<juce::Component*>{ &bleed.view, &empty, &dropOverlay, &scrim })
        addChildComponent (child);

    wireCommands();
    wireBrowser();
    wireWave();
    wireDock();
    wireTransport();
    wireWork();
    wireFiles();
    workspace.addChangeListener (this);
    setWantsKeyboardFocus (true);
    setSize (1280, 772);
    lastTick = now();
    startTimerHz (slowHz);
    refresh();
}

MainComponent::~MainComponent()
{
    stopTimer();
    workspace.removeChangeListener (this);
    player.stop();
    auto& settings = workspace.settings();
    LastSession::of (workspace, tracks, wave).save (settings);
    settings.setValue (appSettingsKeys::volume, static_cast<double> (volumeDb));
    settings.setValue (appSettingsKeys::playsKit, player.playsWholeGroup());
    settings.setValue (appSettingsKeys::browserWidth, browserWidth);
    settings.setValue (appSettingsKeys::spectrumShown, wave.isSpectrumShown());
}

void MainComponent::start (const juce::StringArray& paths)
{
    applyMotion (workspace.settings());
    player.start();
    showDevice();
    grabKeyboardFocus();
    unsaved.start();
    offerLastSession();
    files.open (paths);
}

bool MainComponent::mayQuit()
{
    if (! isBlocked())
        return work.mayStopReading() && unsaved.mayEnd();

    if (runner.isBusy())
        runner.requestStop();

    return false;
}

void MainComponent::keepForRecovery()
{
    if (runner.isBusy())
        runner.requestStop();

    work.stopReadingAll();
    unsaved.keepForRecovery();
}

//============================================================================================================
// Layout

void MainComponent::paint (juce::Graphics& g)
{
    // What shows between the areas are their seams.
    g.fillAll (palette::seam);
    g.setColour (palette::window);
    g.fillRect (0, 0, getWidth(), menuBarHeight - 1);
}

void MainComponent::resized()
{
    auto area = getLocalBounds();
    const auto isCompact = getHeight() < compactHeight || getWidth() < compactWidth;
    scrim.setBounds (area);

    auto bar = area.removeFromTop (menuBarHeight);
    deviceStatus.setBounds (bar.removeFromRight (std::min (bar.getWidth() / 2, deviceStatus.idealWidth())));
    menuBar.setBounds (bar.withTrimmedLeft (menuBarInset));
    transport.setBounds (area.removeFromBottom (TransportBar::height));

    browser.setCompact (isCompact);
    dock.setCompact (isCompact);
    browser.setBounds (area.removeFromLeft (isCompact ? compactBrowserWidth : browserWidth));
    splitter->setBounds (browser.getBounds().removeFromRight (3).translated (2, 0));
    area.removeFromLeft (seam);
    empty.setBounds (area);
    dropOverlay.setBounds (area);

    dock.setBounds (area.removeFromBottom (dockHeight (isCompact)).withTrimmedTop (seam));
    wave.header.setBounds (area.removeFromTop (WaveTrackHeader::height));
    meter.setBounds (area.removeFromRight (MeterColumn::width));
    area.removeFromRight (seam);
    wave.view.setBounds (area);
    bleed.view.setBounds (area);
}

//============================================================================================================
// Wiring

void MainComponent::callLater (std::function<void()> what)
{
    juce::MessageManager::callAsync (
        [what = std::move (what), self = juce::Component::SafePointer<juce::Component> (this)]
        {
            if (self != nullptr)
                what();
        });
}

void MainComponent::wireCommands()
{
    commands.onPerform = [this] (const VerbEntry& entry) { perform (entry); };
    commands.targets = [this] { return targets(); };
    scrim.addKeyListener (&quitKey);
    commands.recentFiles = [this]
    {
        std::vector<Commands::RecentFile> entries;

        for (const auto& entry : workspace.recentFilesMenu())
            entries.push_back ({ entry.index, shownText (entry.file.getFullPathName()) });

        return entries;
    };
    commands.onRecentFile = [this] (int index)
    {
        const auto& paths = workspace.recentFiles().paths();

        if (! isBlocked() && juce::isPositiveAndBelow (index, paths.size()))
        {
            work.open ({ juce::File (paths[index]) });
            commands.menuItemsChanged();
        }
    };
    deviceStatus.onClick = [this] { openSettings (SettingsPageId::audioDevice); };
}

void MainComponent::wireBrowser()
{
    browser.onNewGroup = [this] { perform (Verb::newGroup); };
    browser.onImport = [this] { perform (Verb::importTracks); };
    browser.onUndo = [this] { perform (Verb::undo); };
    browser.onRedo = [this] { perform (Verb::redo); };
    browser.onAnalyze = [this] { perform (Verb::analyzeGroup); };
    browser.onExport = [this] { perform (Verb::exportGroup); };
    browser.onMethodChosen = [this] (AnalysisMethod method)
    { perform (method == AnalysisMethod::refined ? Verb::methodRefined : Verb::methodStandard); };
    browser.onDescribeMethod = [this] (AnalysisMethod method) { return presenter.describeMethod (method); };

    auto& list = browser.getList();
    const auto idsOf = &BrowserPresenter::trackIdsOf;
    list.onSelect = [this, idsOf] (const BrowserSelection& selection)
    {
        tracks.select (presenter.groupOf (selection.group),
                       static_cast<std::uint32_t> (selection.lead),
                       idsOf (selection.tracks));
        showSelection();
    };
    list.onMenu = [this] (RowId group, RowId row, juce::Point<int> position)
    {
        if (row == 0 && presenter.groupOf (group) != nullptr)
            showMenu (groupMenuLines(), nullptr, position);
        else if (const auto selected = tracks.group(); row != 0 && selected != nullptr)
            showMenu (trackMenuLines(), selected->findTrack (static_cast<std::uint32_t> (row)), position);
    };
    list.onInclude = [this, idsOf] (const std::vector<RowId>& rows, bool included)
    { tracks.setExcluded (idsOf (rows), ! included); };
    list.onType = [this, idsOf] (const std::vector<RowId>& rows, DrumType type)
    { tracks.setDrumType (idsOf (rows), type); };
    list.onSolo = [this, idsOf] (const std::vector<RowId>& rows, bool solo)
    { tracks.setSolo (idsOf (rows), solo); };
    list.onMute = [this, idsOf] (const std::vector<RowId>& rows, bool mute)
    { tracks.setMute (idsOf (rows), mute); };
    list.onFader = [this] (RowId row, float levelDb)
    { tracks.setFader (static_cast<std::uint32_t> (row), levelDb); };
    list.onFold = [this] (RowId group)
    {
        presenter.toggleOpen (group);
        browser.setState (presenter.makeState());
    };
    list.onClose = [this] (RowId row)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && ! isBlocked())
            callLater ([this, group] { work.close (group); });
    };
    list.onRename = [this] (RowId row, const juce::String& name)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && name.trim().isNotEmpty())
            group->rename (name.trim());
    };
    list.onStopReading = [this] (RowId row)
    {
        if (const auto group = presenter.groupOf (row))
            work.stopReading (group);
    };
    list.onDescribeType = [this] (RowId track)
    { return presenter.describeType (static_cast<std::uint32_t> (track)); };
    list.onLocate = [this] (RowId track) { locateSource (static_cast<std::uint32_t> (track)); };
    list.onMoveTracks = [this, idsOf] (const std::vector<RowId>& rows, RowId toGroup, int index)
    {
        if (const auto target = presenter.groupOf (toGroup))
            tracks.move (idsOf (rows), *target, index);
    };

    list.onDragOut = [this, idsOf] (const std::vector<RowId>& rows)
    {
        dragOut.begin (idsOf (rows),
                       [this] (const juce::StringArray& uris)
                       {
                           browser.getList().handOverDrag();
                           juce::DragAndDropContainer::performExternalDragDropOfFiles (uris, false, this);
                       });
    };
    list.onDragOver = [this] { dragOut.letGo(); };
    dragOut.onProgress = [this] (const TrackActions::TrackIds& ids, std::optional<double> share)
    {
        const std::vector<RowId> rows (ids.begin(), ids.end());
        browser.getList().setExporting (rows,
                                        share ? std::optional (static_cast<float> (*share)) : std::nullopt);
    };
    dragOut.onNotice = [this] (const juce::String& text, bool warns) { tellFor (text, {}, {}, warns); };

    splitter->onDrag = [this] (int right) { widenBrowser (right - browserWidth); };
}

void MainComponent::wireWave()
{
    wave.onAnimate = [this] (double seconds) { animateFor (seconds); };
    wave.onTransportChanged = [this] { showTransport(); };
    wave.onListeningChanged = [this] { showTrack(); };
    wave.onPlayheadMoved = [this] (double position)
    {
        transport.setPosition (position);
        browser.getList().setLevels (presenter.levelsAt (position));
    };
    wave.view.onHintButton = [this] { perform (Verb::analyzeGroup); };
    wave.header.onBleedShown = [this] (bool shouldShow) { bleed.setOpen (shouldShow); };
    bleed.onChanged = [this] { refresh(); };
    bleed.view.onAnalyze = [this]
    {
        perform (Verb::methodRefined);
        perform (Verb::analyzeGroup);
    };
}

void MainComponent::wireDock()
{
    dock.onFocusChange = [this] (float focus) { tracks.turnKnobs (focus, {}); };
    dock.onFineChange = [this] (float fine) { tracks.turnKnobs ({}, fine); };
    dock.onGestureStart = [this] { tracks.startKnobGesture(); };
    dock.onGestureEnd = [this] { tracks.startKnobGesture(); };
    dock.onChooseSetting = [this] (KnobSetting setting, bool ofWholeGroup)
    { tracks.chooseSetting (setting, ofWholeGroup); };
    dock.onCopy = [this] { tracks.copySoundingSetting(); };
    dock.onReset = [this] { tracks.resetKnobs(); };
    dock.onPresets = [this] (juce::Point<int> place) { showMenu (presetMenuLines(), nullptr, place); };
    dock.onEqualLoudness = [this] { perform (Verb::equalLoudness); };
    dock.onBlindTest = [this] { callLater ([this] { perform (Verb::blindTest); }); };
    player.onLoudnessMatched = [this] { showTrack(); };
    dock.onListeningChange = [this] (ListenMode mode) { wave.setListening (mode); };
    tracks.onKnobsChanged = [this]
    {
        // At once, not with the next message: this is what is heard and seen under the hand.
        player.show (tracks.group(), tracks.trackId());
        showTrack();
        animateFor (labelStays);
    };
}

void MainComponent::wireTransport()
{
    transport.onToStart = [this] { wave.seek (0.0); };
    transport.onPlayOrStop = [this] { playOrStop(); };
    transport.onLoop = [this] (bool shouldLoop) { wave.setLooping (shouldLoop); };
    transport.onWholeGroup = [this] (bool isWhole) { setPlaysKit (isWhole); };
    transport.onFollow = [this] (bool shouldFollow) { wave.setFollowing (shouldFollow); };
    transport.onVolume = [this] (float levelDb) { changeVolume (levelDb - volumeDb); };
    transport.onLoopTyped = [this] (juce::Range<double> range) { wave.select (range); };
    player.onNotice = [this] (const juce::String& text, Player::NoticeAction action)
    {
        switch (action)
        {
            case Player::NoticeAction::none:
                return tellFor (text, {}, {}, true);
            case Player::NoticeAction::showPerformance:
                return tellFor (
                    text, "Performance", [this] { openSettings (SettingsPageId::performance); }, true);
            case Player::NoticeAction::reopenDevice:
                break;
        }

        const auto reopen = [this]
        {
            if (const auto opened = player.device.reopen(); opened.failed())
                prompts.warn ("The audio device can't be opened.", opened.getErrorMessage());

            showDevice();
        };
        tellFor (text, "Reopen", reopen, true);
    };
}

void MainComponent::wireWork()
{
    empty.onImport = [this] { perform (Verb::importTracks); };
    empty.onOpen = [this] { perform (Verb::openGroups); };

    empty.onReopen = [this] { callLater ([this] { reopenLastSession(); }); };

    work.onNotice =
        [this] (const juce::String& text, const juce::String& action, std::function<void()> onAction)
    { tellFor (text, action, std::move (onAction), false); };
    work.onChooseTemporaryFolder = [this] { openSettings (SettingsPageId::folders); };
    work.onAnalysed = [this] (const Group::Ptr& group, const std::vector<AnalysisRemark>& remarks)
    {
        unsaved.writeNow (group);
        const auto [headline, sentences] = analysisSummary (group->state());
        juce::String notice (headline), text (headline + ".");

        for (const auto& remark : remarks)
        {
            notice << "; " << remark.brief;
            text << "\n\n" << remark.text;
        }

        const auto hasMore = ! sentences.isEmpty() || ! remarks.empty();
        tellFor (
            notice,
            hasMore ? "Details" : "",
            [this, text, list = sentences, name = group->name()] { prompts.tell (name, text, list); },
            false);
    };
    work.onDemoRead = [this] (const Group::Ptr& group)
    {
        for (int i = 0; i < group->numTracks(); ++i)
            if (group->track (i)->name() == demoSession::firstTrack)
                tracks.select (group, group->track (i)->id(), {});

        refresh();
        wave.seek (demoSession::firstPosition);
    };
    tracks.onMoreLikeIt = [this] (const Group::Ptr& group, const TrackActions::TrackIds& ids, DrumType type)
    {
        const auto what = ids.size() == 1 ? group->findTrack (ids.front())->name()
                                          : juce::String (ids.size()) + " others like it";
        tellFor (
            juce::String (drumTypeDisplayName (type)) + " set",
            "Same for " + what,
            [group, ids, type] { group->setDrumType (ids, type); },
            false);
    };
    work.onClosed = [this] (const Group::Ptr& group) { unsaved.discard (group); };
    unsaved.onFailure = [this] (const juce::String& reason)
    { tellFor ("Changes can't be kept for recovery: " + reason, {}, {}, true); };
}

void MainComponent::wireFiles()
{
    const auto describe = [this] (const juce::StringArray& paths) { return files.describe (paths); };
    browser.onDescribeFiles = empty.onDescribeFiles = describe;
    browser.onFilesDropped = [this] (const juce::StringArray& paths, RowId group)
    { files.drop (paths, presenter.groupOf (group)); };
    empty.onFilesDropped = [this] (const juce::StringArray& paths) { files.drop (paths, nullptr); };
    empty.setHasDemo (! demoSession::files (resources).empty());
    empty.onDemo = [this] { files.openDemo(); };
    files.isBlocked = [this] { return isBlocked(); };
    files.onTaken = [this] { refresh(); };
}

void MainComponent::openSettings (SettingsPageId page)
{
    if (isBlocked())
        return;

    dialogs.openSettings (page);
    refresh();
}

//============================================================================================================
// Verbs, keys and menus

bool MainComponent::isBlocked() const
{
    return work.isBusy() || scrim.isShowingDialog();
}

VerbTargets MainComponent::targets (const Track::Ptr& clicked)
{
    return { *this, dialogs, tracks, wave, bleed, work, player, clicked };
}

void MainComponent::perform (const VerbEntry& entry, const Track::Ptr& clicked)
{
    // Quitting stops a job that is in front, as the close button in the frame does.
    if (isBlocked())
    {
        if (entry.verb == Verb::quit)
            onQuit();

        return;
    }

    tessivar::perform (entry, targets (clicked));

    if (entry.number != 0)
        commands.menuItemsChanged();

    // What else is done shows itself.
    if (entry.area == VerbArea::groups || entry.area == VerbArea::tracks || entry.area == VerbArea::window)
        refresh();
}

void MainComponent::showMenu (std::span<const MenuLine> lines,
                              const Track::Ptr& clicked,
                              juce::Point<int> position)
{
    if (! isBlocked())
        commands.showMenu (lines,
                           targets (clicked),
                           position,
                           [this, clicked] (const VerbEntry& entry) { perform (entry, clicked); });
}

void MainComponent::showTrackMenu (const Track::Ptr& track)
{
    showMenu (trackMenuLines(), track, browser.getScreenBounds().getCentre());
}

bool MainComponent::keyPressed (const juce::KeyPress& key)
{
    // Text fields have taken their keys by now; a dialog keeps the window's from working.
    if (isBlocked())
    {
        if (! quitInSpiteOfDialog (key))
            giveToDialog (key);

        return ! key.isKeyCode (juce::KeyPress::tabKey); // the toolkit's: the next control of the dialog
    }

    const auto* entry = verbForKey (key);

    if (entry != nullptr)
        perform (*entry);

    return entry != nullptr;
}

bool MainComponent::keyStateChanged (bool isDown)
{
    // Of every key, also of those that a view takes.
    if (isDown)
    {
        tooltips.dismiss();
        showFocusRings();
    }

    return false;
}

bool MainComponent::quitInSpiteOfDialog (const juce::KeyPress& key)
{
    if (! isBlocked() || key != entryOf (Verb::quit).commandKey)
        return false;

    perform (Verb::quit);
    return true;
}

void MainComponent::giveToDialog (const juce::KeyPress& key)
{
    auto* dialog = scrim.getTop();

    // One that came before the window had the focus, or while another window had it, is without it.
    if (dialog == nullptr || dialog->hasKeyboardFocus (true))
        return;

    dialog->takeFirstFocus();
    auto* focused = juce::Component::getCurrentlyFocusedComponent();

    if (! (focused != nullptr && dialog->isParentOf (focused) && focused->keyPressed (key)))
        dialog->keyPressed (key);
}

void MainComponent::takeFocus()
{
    if (auto* dialog = scrim.getTop())
        dialog->takeFirstFocus();
    else
        grabKeyboardFocus();
}

void MainComponent::moveToArea (int step)
{
    std::vector<juce::Component*> areas;

    for (auto* area : std::initializer_list<juce::Component*>{
             &browser, &empty, &wave.view, &bleed.view, &dock, &transport })
        if (area->isShowing())
            areas.push_back (area);

    const auto count = static_cast<int> (areas.size());
    const auto here =
        std::find_if (areas.begin(),
                      areas.end(),
                      [] (const juce::Component* area) { return area->hasKeyboardFocus (true); });
    auto index = here != areas.end() ? static_cast<int> (here - areas.begin()) : (step > 0 ? -1 : count);

    // An area in which nothing can be used right now is passed over.
    for (int tries = 0; tries < count; ++tries)
    {
        index = (index + step + count) % count;
        auto* area = areas[static_cast<std::size_t> (index)];

        if (area == &browser && browser.getList().isShowing())
            browser.getList().grabKeyboardFocus();
        else
            area->grabKeyboardFocus();

        if (area->hasKeyboardFocus (true))
            return;
    }
}

void MainComponent::renameGroup()
{
    if (const auto group = tracks.group())
        browser.getList().beginRename (BrowserPresenter::rowOf (*group));
}

void MainComponent::stepGroup (int step)
{
    tracks.stepGroup (step);

    if (const auto group = tracks.group())
        presenter.unfold (*group);
}

void MainComponent::widenBrowser (int by)
{
    browserWidth = juce::jlimit (smallestBrowser, largestBrowser, browserWidth + by);
    resized();
}

void MainComponent::changeVolume (float byDb)
{
    volumeDb = juce::jlimit (volumeDbForPosition (0.0), volumeDbForPosition (1.0), volumeDb + byDb);
    player.setVolumeDb (volumeDb);
    showTransport();
}

void MainComponent::setPlaysKit (bool shouldPlay)
{
    player.setPlaysWholeGroup (shouldPlay);
    presenter.setShowsStrips (shouldPlay);
    refresh();
}

void MainComponent::playOrStop()
{
    player.playOrStop();
    animateFor (1.0);
}

void MainComponent::postExport (ExportScope scope, const Group::Ptr& group, const Track::Ptr& track)
{
    switch (scope)
    {
        case ExportScope::track:
            return postMessage (new TessivarExportTrackMessage (group, track));
        case ExportScope::group:
            return postMessage (new TessivarExportGroupMessage (group));
        case ExportScope::allGroups:
            return postMessage (new TessivarExportAllGroupsMessage);
    }
}

void MainComponent::handleMessage (const juce::Message& message)
{
    if (isBlocked())
        return;

    if (const auto* one = dynamic_cast<const TessivarExportTrackMessage*> (&message))
        work.exportTrack (one->group, one->track);
    else if (const auto* all = dynamic_cast<const TessivarExportGroupMessage*> (&message))
        work.exportGroups (ExportScope::group, all->group);
    else if (dynamic_cast<const TessivarExportAllGroupsMessage*> (&message) != nullptr)
        work.exportGroups (ExportScope::allGroups, tracks.group());

    refresh();
}

//============================================================================================================
// Files that come from outside

void MainComponent::offerLastSession()
{
    std::vector<ReopenableGroup> groups;

    if (const auto session = LastSession::load (workspace.settings()))
        for (const auto& file : session->files)
            groups.push_back ({ shownText (file.getFileNameWithoutExtension()),
                                shownText (file.getFullPathName()),
                                file.existsAsFile() ? juce::String() : "the file is no longer there" });

    empty.setReopenable (std::move (groups));
}

void MainComponent::reopenLastSession()
{
    const auto session = LastSession::load (workspace.settings());

    if (isBlocked() || ! session)
        return;

    auto there = session->files;
    std::erase_if (there, [] (const juce::File& file) { return ! file.existsAsFile(); });
    work.open (there);
    session->show (workspace, tracks);
    refresh();
    session->show (wave);
    offerLastSession(); // some may be gone by the time that all Groups are closed
}

void MainComponent::fileDragEnter (const juce::StringArray& paths, int, int)
{
    if (isBlocked())
        return;

    dropOverlay.setTexts (releaseForNewGroup, files.describe (paths));
    dropOverlay.setVisible (! empty.isVisible());
    empty.setHovered (true, files.describe (paths));
}

void MainComponent::fileDragExit (const juce::StringArray&)
{
    dropOverlay.setVisible (false);
    empty.setHovered (false);
}

void MainComponent::filesDropped (const juce::StringArray& paths, int, int)
{
    fileDragExit (paths);
    files.drop (paths, nullptr);
}

void MainComponent::locateSource (std::uint32_t trackId)
{
    const auto group = tracks.group();

    if (isBlocked() || group == nullptr || group->findTrack (trackId) == nullptr)
        return;

    FileChooserRequest request;
    request.title = "Locate " + group->findTrack (trackId)->name();
    request.wildcard = "*.wav;*.aiff;*.caf;*.aif";
    request.startFolder = workspace.defaultDialogFolder();

    if (const auto chosen = prompts.chooseFiles (request); ! chosen.empty())
        group->setSourceFile (trackId, chosen.front());
}

//============================================================================================================
// Showing

void MainComponent::refresh()
{
    tracks.keepSelectionValid();
    readWaveforms();
    browser.setState (presenter.makeState());
    selectInBrowser();
    showSelection();
    showDevice();
}

void MainComponent::readWaveforms()
{
    // What is looked at is read first.
    std::vector<TrackState> wanted, ofOtherGroups;

    if (const auto track = tracks.track())
        wanted.push_back (track->state());

    for (const auto& group : workspace.allGroups())
        for (const auto& track : group->state().tracks)
            if (track.id != tracks.trackId())
                (group == tracks.group() ? wanted : ofOtherGroups).push_back (track);

    wanted.insert (wanted.end(), ofOtherGroups.begin(), ofOtherGroups.end());
    wave.setTracks (wanted);

    if (wave.waveforms.isReading())
        animateFor (0.5);
}

void MainComponent::selectInBrowser()
{
    const auto group = tracks.group();
    const auto lead = static_cast<RowId> (tracks.trackId());
    const auto& shown = browser.getList().getSelection();

    const auto chosen = tracks.chosen();

    if (group == nullptr
        || (shown.group == BrowserPresenter::rowOf (*group) && shown.lead == lead
            && shown.tracks.size() == chosen.size()))
        return;

    BrowserSelection selection;
    selection.group = BrowserPresenter::rowOf (*group);
    selection.lead = selection.anchor = lead;

    for (const auto id : chosen)
        selection.tracks.push_back (static_cast<RowId> (id));

    browser.getList().setSelection (selection);
}

void MainComponent::showSelection()
{
    player.show (tracks.group(), tracks.trackId());
    showTrack();
    showTransport();
    commands.refresh();
}

void MainComponent::showTrack()
{
    const auto track = tracks.track();
    empty.setVisible (track == nullptr);
    empty.setReading (presenter.readingHeadline());
    meter.setVisible (track != nullptr);
    dock.setVisible (track != nullptr);
    wave.show (tracks.group(), track);
    meter.setTake (wave.view.reductionOfTake());
    bleed.show (tracks.group(), track);

    if (track != nullptr)
    {
        auto state = dockFor (&track->state(), wave.listening());
        state.equalLoudness = player.matchesLoudness();
        state.matchingGainDb = player.matchingGainDb();
        dock.setState (state);
    }
}

void MainComponent::showTransport()
{
    TransportState state;
    state.hasTrack = tracks.track() != nullptr;
    state.playable = player.canPlay();
    state.playing = player.isPlaying();
    state.looping = wave.isLooping();
    state.following = wave.isFollowing();
    state.wholeGroup = player.playsWholeGroup();
    state.position = player.position();
    state.duration = player.duration();
    state.volumeDb = volumeDb;
    state.loop = wave.selection();
    transport.setState (state);
    wave.header.setCanZoomToSelection (state.loop.has_value());
}

void MainComponent::showReading()
{
    // Rows come and go; else they move on.
    if (std::exchange (shownReading, work.imports().revision()) != work.imports().revision())
        refresh();
    else if (work.imports().isReading())
        browser.getList().setReadFractions (presenter.readFractions());
}

void MainComponent::showDevice()
{
    auto* device = player.device.manager().getCurrentAudioDevice();
    const auto deviceStatusNow = player.device.status();
    // Without a Group there is no rate to differ from.
    const auto isRunning = deviceStatusNow == DeviceStatus::running
                           || (deviceStatusNow == DeviceStatus::converting && tracks.group() == nullptr);
    const auto name = isRunning && device != nullptr ? deviceText (*device) : player.device.statusText();
    auto text = name;
    const auto dropouts = player.numDropouts();

    if (dropouts > 0)
        text << juce::String::fromUTF8 (" \xc2\xb7 ") << juce::String (dropouts)
             << (dropouts == 1 ? " dropout" : " dropouts");

    if (deviceStatus.getButtonText() != text)
    {
        // Not every dropout has a line of its own.
        if (std::exchange (loggedDevice, name) != name)
            juce::Logger::writeToLog ("Audio device: " + name);

        deviceStatus.setStatus (text, ! isRunning || dropouts > 0);
        resized();
    }
}

void MainComponent::showMeter()
{
    const auto track = tracks.track();
    const auto isSilent = track == nullptr || ! player.isPlaying() || wave.listening() == ListenMode::bypass
                          || ! track->state().hasProcessedOutput();

    if (isSilent)
    {
        meter.getMeter().setLevel (0.0f, 0.0f, static_cast<float> (meterRange), true);
        return;
    }

    const auto levels = player.levels (track->id());
    const auto suppression =
        levels.source > 0.0f ? levelDbOf (levels.source) - levelDbOf (levels.processed) : 0.0f;
    // A hair more, so that a whole dB always lights its LED.
    const auto fraction = std::clamp (suppression / static_cast<float> (meterRange) + 0.0005f, 0.0f, 1.0f);
    meter.getMeter().setLevel (fraction, 0.0f, static_cast<float> (meterRange), false);
}

void MainComponent::tellFor (const juce::String& notice,
                             const juce::String& action,
                             std::function<void()> onAction,
                             bool warns)
{
    transport.showNotice (notice, action, std::move (onAction), warns);
    animateFor (noticeStays);
}

//============================================================================================================
// Time

void MainComponent::animateFor (double seconds)
{
    animateUntil = std::max (animateUntil, now() + seconds);

    if (getTimerInterval() > 1000 / fastHz)
        startTimerHz (fastHz);
}

void MainComponent::timerCallback()
{
    const auto time = now();
    const auto elapsed = time - std::exchange (lastTick, time);
    const auto isPlaying = player.isPlaying();
    evenTick = ! evenTick;

    if (isPlaying || isPlaying != wasPlaying)
        wave.movePlayhead();

    if (isPlaying != std::exchange (wasPlaying, isPlaying))
    {
        showTransport();
        animateFor (meterRelease);
    }

    if (dock.isFading())
        animateFor (1.0 / slowHz);

    if (isPlaying || time < animateUntil)
    {
        if (evenTick)
        {
            dock.fadeTick();
            showMeter();
        }

        const auto peaks = player.engine.takeOutputPeaks();
        transport.getMeter().update ({ levelDbOf (peaks[0]), levelDbOf (peaks[1]) }, elapsed);
    }

    wave.tick (time, elapsed);
    transport.tick (elapsed);

    if (time - lastSlowTick >= 1.0 / slowHz)
    {
        lastSlowTick = time;
        slowTick();
    }

    if (time - lastSecond >= 1.0)
    {
        lastSecond = time;
        unsaved.tick();
    }

    if (! isPlaying && time >= animateUntil && getTimerInterval() < 1000 / slowHz)
        startTimerHz (slowHz);
}

void MainComponent::slowTick()
{
    player.tick();
    files.tick();
    showReading();
    showDevice();

    if (wave.haveWaveformsGrown())
    {
        showTrack();
        browser.setState (presenter.makeState());
        animateFor (0.5);
    }
}

} // namespace tessivar
