#include "app/MainComponent.h"

#include "app/AppSettings.h"
#include "app/ExportMessages.h"
#include "app/KeyboardFocus.h"
#include "app/LastSession.h"
#include "app/TrackPresenter.h"
#include "app/settings/ReducedMotion.h"
#include "jobs/DemoSession.h"
#include "model/ForeignText.h"
#include "model/settings/Settings.h"
#include "terms/DrumType.h"
#include "ui/FocusRings.h"
#include "ui/Palette.h"

#include <algorithm>
#include <vector>

namespace tessivar
{

namespace
{
constexpr int menuBarHeight = 28, menuBarInset = 6, seam = 1;
constexpr int compactHeight = 720, compactWidth = 1180, compactBrowserWidth = 300;

// Seconds in which the output meter falls after playback, its held peak included, and in which a knob's value
// label has faded.
constexpr double meterRelease = 2.5, labelStays = 4.0;
} // namespace

MainComponent::MainComponent (const juce::File& resourceFolder,
                              const UserFolders& folders,
                              const ProgramLog& log)
    : resources (resourceFolder), images (resourceFolder), workspace (folders),
      player (workspace, readAheadSettings (workspace.settings())), wave (images, player),
      menuBar (&commands), tooltips (this), prompts (scrim, images), tracks (workspace, prompts),
      playback (player, wave, tracks, prompts, workspace.settings(), images),
      dock (tracks, player, wave, images), bleed (wave, player, tracks),
      work (workspace, runner, prompts, resourceFolder), browser (workspace, tracks, work, wave, images),
      files (work), unsaved (workspace, work, prompts, images),
      dialogs ({ workspace, player, tracks, runner, prompts, images, *this, resourceFolder, log })
{
    // A folder of settings alone: what else lies there was left behind.
    tidySettingsFolder (folders.settings);
    [[maybe_unused]] const auto firstRun = workspace.isFirstRun();
    auto& settings = workspace.settings();
    player.setPlaysWholeGroup (settings.getBoolValue (appSettingsKeys::playsKit, false));
    browser.presenter.setShowsStrips (player.playsWholeGroup());

    for (auto* child : std::initializer_list<juce::Component*>{ &menuBar,
                                                                &playback.deviceStatus,
                                                                &browser.view,
                                                                &browser.edge(),
                                                                &wave.header,
                                                                &wave.view,
                                                                &dock.meter,
                                                                &dock.view,
                                                                &playback.transport })
        addAndMakeVisible (child);

    for (auto* child : std::initializer_list<juce::Component*>{ &bleed.view, &empty, &dropOverlay, &scrim })
        addChildComponent (child);

    wireCommands();
    wireBrowser();
    wireWave();
    wireDock();
    wirePlayback();
    wireWork();
    wireFiles();
    wireClock();
    workspace.addChangeListener (this);
    setWantsKeyboardFocus (true);
    setSize (1280, 772);
    clock.start();
    refresh();
}

MainComponent::~MainComponent()
{
    clock.stop();
    workspace.removeChangeListener (this);
    player.stop();
    auto& settings = workspace.settings();
    LastSession::of (workspace, tracks, wave).save (settings);
    settings.setValue (appSettingsKeys::playsKit, player.playsWholeGroup());
}

void MainComponent::start (const juce::StringArray& paths)
{
    applyMotion (workspace.settings());
    player.start();
    playback.showDevice();
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

void MainComponent::tellFailure (const juce::String& reason)
{
    const auto isKept = unsaved.writeAllNow();
    prompts.warn ("Something went wrong: " + reason + ".",
                  juce::String (isKept ? "What is not saved has been written to the recovery folder. " : "")
                      + "Save your Groups, then start Tessivar anew.");
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
    auto& device = playback.deviceStatus;
    device.setBounds (bar.removeFromRight (std::min (bar.getWidth() / 2, device.idealWidth())));
    menuBar.setBounds (bar.withTrimmedLeft (menuBarInset));
    playback.transport.setBounds (area.removeFromBottom (TransportBar::height));

    browser.view.setCompact (isCompact);
    dock.view.setCompact (isCompact);
    browser.view.setBounds (area.removeFromLeft (isCompact ? compactBrowserWidth : browser.width()));
    browser.edge().setBounds (browser.view.getBounds().removeFromRight (3).translated (2, 0));
    area.removeFromLeft (seam);
    empty.setBounds (area);
    dropOverlay.setBounds (area);

    dock.view.setBounds (area.removeFromBottom (dockHeight (isCompact)).withTrimmedTop (seam));
    wave.header.setBounds (area.removeFromTop (WaveTrackHeader::height));
    dock.meter.setBounds (area.removeFromRight (MeterColumn::width));
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
}

void MainComponent::wireBrowser()
{
    browser.isBlocked = [this] { return isBlocked(); };
    browser.onVerb = [this] (Verb verb) { perform (verb); };
    browser.onMenu =
        [this] (std::span<const MenuLine> lines, const Track::Ptr& clicked, juce::Point<int> position)
    { showMenu (lines, clicked, position); };
    browser.onClose = [this] (const Group::Ptr& group) { callLater ([this, group] { work.close (group); }); };
    browser.onSelected = [this] { showSelection(); };
    browser.onWidthChanged = [this] { resized(); };
    browser.onNotice = [this] (const juce::String& text, bool warns) { playback.tell (text, {}, {}, warns); };
}

void MainComponent::wireWave()
{
    wave.onAnimate = [this] (double seconds) { clock.animateFor (seconds); };
    wave.onTransportChanged = [this] { playback.show(); };
    wave.onListeningChanged = [this] { showTrack(); };
    wave.onPlayheadMoved = [this] (double position)
    {
        playback.transport.setPosition (position);
        browser.view.getList().setLevels (browser.presenter.levelsAt (position));
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
    dock.view.onPresets = [this] (juce::Point<int> place) { showMenu (presetMenuLines(), nullptr, place); };
    dock.view.onEqualLoudness = [this] { perform (Verb::equalLoudness); };
    dock.view.onBlindTest = [this] { callLater ([this] { perform (Verb::blindTest); }); };
    player.onLoudnessMatched = [this] { showTrack(); };
    tracks.onKnobsChanged = [this]
    {
        // At once, not with the next message: this is what is heard and seen under the hand.
        player.show (tracks.group(), tracks.trackId());
        showTrack();
        clock.animateFor (labelStays);
    };
}

void MainComponent::wirePlayback()
{
    playback.onAnimate = [this] (double seconds) { clock.animateFor (seconds); };
    playback.onSettings = [this] (SettingsPageId page) { openSettings (page); };
    playback.onDeviceTextChanged = [this] { resized(); };
    playback.transport.onWholeGroup = [this] (bool isWhole) { setPlaysKit (isWhole); };
}

void MainComponent::wireWork()
{
    empty.onImport = [this] { perform (Verb::importTracks); };
    empty.onOpen = [this] { perform (Verb::openGroups); };

    empty.onReopen = [this] { callLater ([this] { reopenLastSession(); }); };

    work.onNotice =
        [this] (const juce::String& text, const juce::String& action, std::function<void()> onAction)
    { playback.tell (text, action, std::move (onAction), false); };
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
        playback.tell (
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
        playback.tell (
            juce::String (drumTypeDisplayName (type)) + " set",
            "Same for " + what,
            [group, ids, type] { group->setDrumType (ids, type); },
            false);
    };
    work.onClosed = [this] (const Group::Ptr& group) { unsaved.discard (group); };
    unsaved.onFailure = [this] (const juce::String& reason)
    { playback.tell ("Changes can't be kept for recovery: " + reason, {}, {}, true); };
}

void MainComponent::wireFiles()
{
    const auto describe = [this] (const juce::StringArray& paths) { return files.describe (paths); };
    browser.view.onDescribeFiles = empty.onDescribeFiles = describe;
    browser.view.onFilesDropped = [this] (const juce::StringArray& paths, RowId group)
    { files.drop (paths, browser.presenter.groupOf (group)); };
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
    return { *this, dialogs, tracks, wave, bleed, work, player, browser, dock, playback, clicked };
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
    showMenu (trackMenuLines(), track, browser.view.getScreenBounds().getCentre());
}

bool MainComponent::keyPressed (const juce::KeyPress& key)
{
    // Text fields have taken their keys by now; a dialog keeps the window's from working.
    if (isBlocked())
    {
        if (! quitInSpiteOfDialog (key))
            giveKeyToDialog (scrim, key);

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

void MainComponent::takeFocus()
{
    if (auto* dialog = scrim.getTop())
        dialog->takeFirstFocus();
    else
        grabKeyboardFocus();
}

void MainComponent::moveToArea (int step)
{
    auto& list = browser.view.getList();
    std::vector<FocusArea> areas;

    for (auto* area : std::initializer_list<juce::Component*>{
             &browser.view, &empty, &wave.view, &bleed.view, &dock.view, &playback.transport })
        if (area->isShowing())
            areas.push_back ({ area, area == &browser.view && list.isShowing() ? &list : area });

    moveFocusBetween (areas, step);
}

void MainComponent::setPlaysKit (bool shouldPlay)
{
    player.setPlaysWholeGroup (shouldPlay);
    browser.presenter.setShowsStrips (shouldPlay);
    refresh();
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
    const auto session = LastSession::load (workspace.settings());
    empty.setReopenable (session ? session->reopenable() : std::vector<ReopenableGroup>());
}

void MainComponent::reopenLastSession()
{
    const auto session = LastSession::load (workspace.settings());

    if (isBlocked() || ! session)
        return;

    work.open (session->filesThatAreThere());
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

//============================================================================================================
// Showing

void MainComponent::refresh()
{
    tracks.keepSelectionValid();
    readWaveforms();
    browser.show();
    browser.showSelection();
    showSelection();
    playback.showDevice();
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
        clock.animateFor (0.5);
}

void MainComponent::showSelection()
{
    player.show (tracks.group(), tracks.trackId());
    showTrack();
    playback.show();
    commands.refresh();
}

void MainComponent::showTrack()
{
    const auto track = tracks.track();
    empty.setVisible (track == nullptr);
    empty.setReading (browser.presenter.readingHeadline());
    wave.show (tracks.group(), track);
    dock.show();
    bleed.show (tracks.group(), track);
}

void MainComponent::showReading()
{
    // Rows come and go; else they move on.
    if (std::exchange (shownReading, work.imports().revision()) != work.imports().revision())
        refresh();
    else if (work.imports().isReading())
        browser.view.getList().setReadFractions (browser.presenter.readFractions());
}

//============================================================================================================
// Time

void MainComponent::wireClock()
{
    clock.onFrame = [this] (double time, double elapsed) { return showFrame (time, elapsed); };
    clock.onSlowTick = [this] { showSlowly(); };
    clock.onSecond = [this] { unsaved.tick(); };
}

bool MainComponent::showFrame (double time, double elapsed)
{
    const auto isPlaying = player.isPlaying();
    isEvenFrame = ! isEvenFrame;

    if (isPlaying || isPlaying != wasPlaying)
        wave.movePlayhead();

    if (isPlaying != std::exchange (wasPlaying, isPlaying))
    {
        playback.show();
        clock.animateFor (meterRelease);
    }

    if (dock.view.isFading())
        clock.animateFor (WindowClock::slowTickSeconds);

    if (isPlaying || clock.isAnimating())
    {
        if (isEvenFrame)
            dock.tick();

        playback.updateMeter (elapsed);
    }

    wave.tick (time, elapsed);
    playback.transport.tick (elapsed);
    return isPlaying;
}

void MainComponent::showSlowly()
{
    player.tick();
    files.tick();
    showReading();
    playback.showDevice();

    if (wave.haveWaveformsGrown())
    {
        showTrack();
        browser.show();
        clock.animateFor (0.5);
    }
}

} // namespace tessivar
