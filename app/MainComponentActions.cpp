#include "app/DrumLooks.h"
#include "app/FileChooser.h"
#include "app/MainComponent.h"
#include "app/OpenExternally.h"
#include "app/TrackLooks.h"
#include "app/settings/SettingsDialog.h"
#include "model/Version.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr auto contactPage = "https://tessivar.org/contact";
constexpr float nudge = 0.01f, coarseNudge = 0.05f;
constexpr double playheadStep = 0.1, coarsePlayheadStep = 1.0; // s
constexpr KnobValues defaultKnobs{ 2.5f, 0.0f };

KnobSetting other (KnobSetting setting)
{
    return setting == KnobSetting::a ? KnobSetting::b : KnobSetting::a;
}

std::vector<juce::File> filesOf (const juce::StringArray& paths)
{
    std::vector<juce::File> files;

    for (const auto& path : paths)
        if (juce::File::isAbsolutePath (path))
            files.emplace_back (path);

    return files;
}
} // namespace

//======================================================================================================================
// Selection

std::vector<std::uint32_t> MainComponent::chosenTracks()
{
    const auto ids = BrowserPresenter::trackIdsOf (browser.getList().getSelection().tracks);

    if (! ids.empty())
        return ids;

    return selectedTrackId != 0 ? std::vector<std::uint32_t>{ selectedTrackId }
                                : std::vector<std::uint32_t>{};
}

void MainComponent::select (const BrowserSelection& selection)
{
    if (const auto group = presenter.groupOf (selection.group))
        workspace.selectGroup (workspace.indexOf (group.get()));

    if (selection.lead != 0)
        selectedTrackId = static_cast<std::uint32_t> (selection.lead);

    player.show (selectedGroup(), selectedTrackId);
    showTrack();
    showTransport();
    commands.refresh();
}

void MainComponent::selectTrack (std::uint32_t trackId)
{
    selectedTrackId = trackId;
    refresh();
}

void MainComponent::stepTrack (int step)
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();

    if (group == nullptr || track == nullptr)
        return;

    const auto index = juce::jlimit (0, group->numTracks() - 1, group->indexOf (*track) + step);
    selectTrack (group->track (index)->id());
}

void MainComponent::stepGroup (int step)
{
    const auto count = workspace.numGroups();

    if (count == 0)
        return;

    workspace.selectGroup (juce::jlimit (0, count - 1, workspace.selectedGroupIndex() + step));
    selectedTrackId = 0;
    refresh();
}

//======================================================================================================================
// Commands

bool MainComponent::canPerform (int action) const
{
    const auto group = selectedGroup();

    switch (action)
    {
        case commandId::saveGroup:
        case commandId::saveGroupAs:
        case commandId::closeSelectedGroup:
            return group != nullptr;
        case commandId::saveAllGroups:
        case commandId::analyzeGroups:
            return workspace.numGroups() > 0;
        case commandId::analyzeGroup:
            return group != nullptr;
        default:
            return true;
    }
}

void MainComponent::performAction (int action)
{
    if (isBlocked())
        return;

    const auto group = selectedGroup();

    switch (action)
    {
        case commandId::newGroup:
            work.newGroup();
            break;
        case commandId::openGroups:
            work.chooseAndOpen();
            break;
        case commandId::saveGroup:
            work.save (group);
            break;
        case commandId::saveGroupAs:
            work.saveAs (group);
            break;
        case commandId::saveAllGroups:
            work.saveAll();
            break;
        case commandId::settings:
            openSettings (SettingsPageId::audioDevice);
            break;
        case commandId::quit:
            if (onQuit)
                onQuit();
            break;
        case commandId::importTracks:
            work.chooseAndImportTracks (group);
            break;
        case commandId::importFolders:
            work.chooseAndImportFolders();
            break;
        case commandId::importFromGroup:
            work.chooseAndImportFromGroup (group);
            break;
        case commandId::analyzeGroup:
            work.analyze (group);
            break;
        case commandId::analyzeGroups:
            work.analyzeAll();
            break;
        case commandId::exportTrack:
            work.exportTrack (group, selectedTrack());
            break;
        case commandId::exportGroup:
            work.exportGroups (ExportScope::group, group);
            break;
        case commandId::exportAllGroups:
            work.exportGroups (ExportScope::allGroups, group);
            break;
        case commandId::quickStartGuide:
            openHelp ("tessivarQuickStartGuide.pdf");
            break;
        case commandId::documentation:
            openHelp ("tessivarManual.pdf");
            break;
        case commandId::onlineHelp:
            if (! openExternally (contactPage))
                prompts.warn ("No suitable browser found.");
            break;
        case commandId::about:
            showAbout();
            break;
        case commandId::playStop:
            player.playOrStop();
            animateFor (1.0);
            break;
        case commandId::warnings:
            work.showPendingWarnings();
            break;
        case commandId::closeSelectedGroup:
            work.close (group);
            break;
        case commandId::toggleFullscreen:
            if (onToggleFullScreen)
                onToggleFullScreen();
            break;
        case commandId::toggleSetting:
            if (const auto track = selectedTrack())
                chooseSetting (other (track->selectedSetting()), false);
            break;
        default:
            break;
    }

    commands.menuItemsChanged();
    refresh();
}

void MainComponent::openHelp (const char* document)
{
    const auto file = resources.getChildFile (document);

    if (! file.existsAsFile() || ! openExternally (file.getFullPathName()))
        prompts.warn ("The document can't be opened.", file.getFullPathName());
}

void MainComponent::openSettings (SettingsPageId page)
{
    if (isBlocked())
        return;

    SettingsDialogContext context{
        .workspace = workspace,
        .device = player.device,
        .prompts = prompts,
        .groupRate =
            [this]
        {
            const auto group = selectedGroup();
            return group != nullptr ? group->sampleRate() : 0.0;
        },
        .runJob =
            [this] (const juce::String& title, std::vector<ProgressStage> stages, const JobRunner::Work& job)
        { return runner.run (title, std::move (stages), job); },
        .chooseFiles = [] (const FileChooserRequest& request) { return chooseFiles (request); },
        .onInterfaceSizeChanged = {},
        .firstPage = page
    };
    prompts.showModally ([&] (std::function<void()>) { return makeSettingsDialog (context); });
    player.device.matchGroupRate();
    refresh();
}

void MainComponent::showAbout()
{
    const auto notices =
        juce::StringArray::fromLines (resources.getChildFile ("THIRD-PARTY-NOTICES.md").loadFileAsString());
    prompts.tell ("About tessivar",
                  juce::String (programVersion()) + " (rev. " + juce::String (programRevision())
                      + ")\n"
                        "Leakage reduction for multitrack drum recordings.",
                  notices);
}

//======================================================================================================================
// Files that come from outside

void MainComponent::openPaths (const juce::StringArray& paths)
{
    if (paths.isEmpty())
        return;

    if (isBlocked())
    {
        waitingPaths.addArray (paths);
        return;
    }

    work.importInputs (filesOf (paths), nullptr);
    refresh();
}

void MainComponent::dropPaths (const juce::StringArray& paths, const Group::Ptr& target)
{
    // The drag and drop has to end before a dialog may come.
    juce::MessageManager::callAsync (
        [this, paths, target, self = juce::Component::SafePointer<juce::Component> (this)]
        {
            if (self == nullptr || isBlocked())
                return;

            work.importInputs (filesOf (paths), target);
            refresh();
        });
}

void MainComponent::fileDragEnter (const juce::StringArray& files, int, int)
{
    dropOverlay.setTexts ("Release to make a new group",
                          juce::String (files.size()) + (files.size() == 1 ? " file" : " files"));
    dropOverlay.setVisible (! empty.isVisible());
    empty.setHovered (true);
}

void MainComponent::fileDragExit (const juce::StringArray&)
{
    dropOverlay.setVisible (false);
    empty.setHovered (false);
}

void MainComponent::filesDropped (const juce::StringArray& files, int, int)
{
    fileDragExit (files);
    dropPaths (files, nullptr);
}

void MainComponent::locateSource (std::uint32_t trackId)
{
    const auto group = selectedGroup();

    if (isBlocked() || group == nullptr || group->findTrack (trackId) == nullptr)
        return;

    FileChooserRequest request;
    request.title = "Locate " + group->findTrack (trackId)->name();
    request.wildcard = "*.wav;*.aiff;*.caf;*.aif";
    request.startFolder = workspace.defaultDialogFolder();

    if (const auto files = chooseFiles (request); ! files.empty())
        group->setSourceFile (trackId, files.front());
}

//======================================================================================================================
// Knobs and listening

void MainComponent::turnKnobs (std::optional<float> focus, std::optional<float> fine)
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();

    if (track == nullptr)
        return;

    auto values = track->soundingKnobs();
    values.focus = focus.value_or (values.focus);
    values.fine = fine.value_or (values.fine);
    group->setKnobs ({ track->id() }, track->selectedSetting(), values, std::exchange (knobGesture, true));

    // At once, not with the next message: this is what is heard and seen under the hand.
    player.show (group, selectedTrackId);
    showTrack();
    animateFor (4.0);
}

void MainComponent::nudgeKnob (bool isFocus, float fraction)
{
    const auto track = selectedTrack();

    if (track == nullptr || ! track->state().hasProcessedOutput())
        return;

    const auto values = track->soundingKnobs();

    if (isFocus)
        turnKnobs (juce::jlimit (0.0f, 5.0f, values.focus + 5.0f * fraction), {});
    else
        turnKnobs ({}, juce::jlimit (0.0f, 1.0f, values.fine + fraction));
}

void MainComponent::chooseSetting (KnobSetting setting, bool wholeGroup)
{
    const auto group = selectedGroup();

    if (group == nullptr)
        return;

    std::vector<std::uint32_t> ids{ selectedTrackId };

    if (wholeGroup)
    {
        ids.clear();

        for (int i = 0; i < group->numTracks(); ++i)
            ids.push_back (group->track (i)->id());
    }

    group->selectSetting (ids, setting);
    player.show (group, selectedTrackId);

    if (const auto track = selectedTrack())
        wave.setWeights (soundingWeights (track->state()), true);

    showTrack();
    animateFor (0.5);
}

void MainComponent::copySetting()
{
    const auto group = selectedGroup();

    if (const auto track = selectedTrack())
        group->copyKnobs ({ track->id() }, track->selectedSetting());
}

void MainComponent::resetKnobs()
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();

    if (track == nullptr)
        return;

    auto values = defaultKnobs;

    if (const auto suggested = track->state().findings.suggestedFocus)
        values.focus = static_cast<float> (*suggested);

    group->setKnobs ({ track->id() }, track->selectedSetting(), values);
    player.show (group, selectedTrackId);
    showTrack();
}

void MainComponent::setListening (ListenMode mode)
{
    listenMode = mode;
    player.setListening (mode == ListenMode::bypass    ? Listening::bypassed
                         : mode == ListenMode::removed ? Listening::removed
                                                       : Listening::processed);
    showTrack();
    animateFor (0.5);
}

void MainComponent::seek (double seconds)
{
    const auto position = juce::jlimit (0.0, player.duration(), seconds);
    player.seek (position);
    transport.setPosition (position);
    wave.setPlayhead (position, player.isPlaying());
    browser.getList().setLevels (presenter.levelsAt (position));
    animateFor (0.2);
}

void MainComponent::setLooping (bool shouldLoop)
{
    looping = shouldLoop;
    const auto selection = wave.view().selection();
    wave.setLooping (looping);
    player.setLoop (looping && selection
                        ? std::optional<juce::Range<double>> ({ selection->start, selection->end })
                        : std::nullopt);
    showTransport();
}

void MainComponent::undo (bool redo)
{
    const auto group = selectedGroup();

    if (group == nullptr)
        return;

    if (redo)
        group->undo().redo();
    else
        group->undo().undo();
}

void MainComponent::removeTracks()
{
    const auto group = selectedGroup();
    const auto ids = chosenTracks();

    if (group == nullptr || ids.empty())
        return;

    const auto first = group->findTrack (ids.front());

    if (first == nullptr)
        return;

    const auto what = ids.size() == 1 ? first->name() : juce::String (ids.size()) + " tracks";
    const auto file = ids.size() == 1 ? " Its file is not touched." : " Their files are not touched.";

    if (prompts.askDangerous (
            { "Remove from group", "Remove " + what + " from the group?" + file, "Remove", "Cancel" }))
        group->removeTracks (ids);
}

//======================================================================================================================
// Keys

bool MainComponent::keyPressed (const juce::KeyPress& key)
{
    // Text fields have taken their keys by now; a dialog keeps the window's from working.
    if (isBlocked())
        return true;

    if (const auto windowKey = windowKeyFor (key))
    {
        performKey (*windowKey, key);
        return true;
    }

    return false;
}

void MainComponent::performKey (WindowKey key, const juce::KeyPress& press)
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();
    const auto toggled = [this] (ListenMode mode)
    { return listenMode == mode ? ListenMode::processed : mode; };

    switch (key)
    {
        case WindowKey::playOrStop:
            performAction (commandId::playStop);
            break;
        case WindowKey::toggleSetting:
        case WindowKey::toggleSettingOfGroup:
            if (track != nullptr)
                chooseSetting (other (track->selectedSetting()), key == WindowKey::toggleSettingOfGroup);
            break;
        case WindowKey::bypass:
            setListening (toggled (ListenMode::bypass));
            break;
        case WindowKey::removed:
            setListening (toggled (ListenMode::removed));
            break;
        case WindowKey::focusUp:
            nudgeKnob (true, nudge);
            break;
        case WindowKey::focusDown:
            nudgeKnob (true, -nudge);
            break;
        case WindowKey::focusUpCoarse:
            nudgeKnob (true, coarseNudge);
            break;
        case WindowKey::focusDownCoarse:
            nudgeKnob (true, -coarseNudge);
            break;
        case WindowKey::fineUp:
            nudgeKnob (false, nudge);
            break;
        case WindowKey::fineDown:
            nudgeKnob (false, -nudge);
            break;
        case WindowKey::fineUpCoarse:
            nudgeKnob (false, coarseNudge);
            break;
        case WindowKey::fineDownCoarse:
            nudgeKnob (false, -coarseNudge);
            break;
        case WindowKey::typeFocus:
            dock.getFocus().typeValue();
            break;
        case WindowKey::typeFine:
            dock.getFine().typeValue();
            break;
        case WindowKey::resetKnobs:
            resetKnobs();
            break;
        case WindowKey::copySetting:
            copySetting();
            break;
        case WindowKey::zoomIn:
            wave.zoomHorizontally (1);
            break;
        case WindowKey::zoomOut:
            wave.zoomHorizontally (-1);
            break;
        case WindowKey::zoomInVertically:
            wave.zoomVertically (1);
            break;
        case WindowKey::zoomOutVertically:
            wave.zoomVertically (-1);
            break;
        case WindowKey::fit:
            wave.fit();
            break;
        case WindowKey::zoomToSelection:
            wave.zoomToSelection();
            break;
        case WindowKey::previousTrack:
            stepTrack (-1);
            break;
        case WindowKey::nextTrack:
            stepTrack (1);
            break;
        case WindowKey::previousGroup:
            stepGroup (-1);
            break;
        case WindowKey::nextGroup:
            stepGroup (1);
            break;
        case WindowKey::drumType:
            if (group != nullptr)
                group->setDrumType (chosenTracks(),
                                    drumTypeChooserOrder[static_cast<std::size_t> (drumTypeIndexOf (press))]);
            break;
        case WindowKey::includeOrExclude:
            if (track != nullptr)
                group->setExcluded (chosenTracks(), ! track->isExcluded());
            break;
        case WindowKey::removeTrack:
            removeTracks();
            break;
        case WindowKey::renameGroup:
            if (group != nullptr)
                browser.getList().beginRename (BrowserPresenter::rowOf (*group));
            break;
        case WindowKey::nudgeBack:
            seek (player.position() - playheadStep);
            break;
        case WindowKey::nudgeForward:
            seek (player.position() + playheadStep);
            break;
        case WindowKey::nudgeBackCoarse:
            seek (player.position() - coarsePlayheadStep);
            break;
        case WindowKey::nudgeForwardCoarse:
            seek (player.position() + coarsePlayheadStep);
            break;
        case WindowKey::toStart:
            seek (0.0);
            break;
        case WindowKey::toEnd:
            seek (player.duration());
            break;
        case WindowKey::loop:
            setLooping (! looping);
            break;
        case WindowKey::loopIn:
            wave.setLoopStartToPlayhead();
            break;
        case WindowKey::loopOut:
            wave.setLoopEndToPlayhead();
            break;
        case WindowKey::follow:
            transport.onFollow (! following);
            break;
        case WindowKey::fullScreen:
            performAction (commandId::toggleFullscreen);
            break;
        case WindowKey::nextArea:
            moveKeyboardFocusToSibling (true);
            break;
        case WindowKey::previousArea:
            moveKeyboardFocusToSibling (false);
            break;
        case WindowKey::contextMenu:
            if (track != nullptr)
                showTrackMenu (track->id(), browser.getScreenBounds().getCentre());
            break;
        case WindowKey::escape:
            wave.clearSelection();
            break;
        case WindowKey::undo:
            undo (false);
            break;
        case WindowKey::redo:
            undo (true);
            break;
    }
}

//======================================================================================================================
// Context menus

namespace
{
enum MenuItem
{
    include = 1,
    copyAToB,
    copyBToA,
    applyToType,
    duplicate,
    exportIt,
    showSource,
    remove,
    rename,
    analyze,
    methodStandard,
    methodRefined,
    save,
    saveAs,
    closeIt,
    undoIt,
    redoIt,
    playAll,
    equalLoudness,
    solo,
    mute,
    firstType = 100
};

void addUndoItems (juce::PopupMenu& menu, juce::UndoManager& undo)
{
    menu.addSeparator();
    menu.addItem (
        undoIt, undo.canUndo() ? "Undo " + undo.getUndoDescription() : juce::String ("Undo"), undo.canUndo());
    menu.addItem (
        redoIt, undo.canRedo() ? "Redo " + undo.getRedoDescription() : juce::String ("Redo"), undo.canRedo());
}
} // namespace

void MainComponent::showTrackMenu (std::uint32_t trackId, juce::Point<int> position)
{
    const auto group = selectedGroup();
    const auto track = group != nullptr ? group->findTrack (trackId) : nullptr;

    if (track == nullptr || isBlocked())
        return;

    auto ids = chosenTracks();

    if (std::find (ids.begin(), ids.end(), trackId) == ids.end())
        ids = { trackId };

    juce::PopupMenu menu, types;

    for (int i = 0; i < static_cast<int> (drumTypeChooserOrder.size()); ++i)
    {
        const auto type = drumTypeChooserOrder[static_cast<std::size_t> (i)];
        types.addItem (firstType + i, drumTypeDisplayName (type), true, track->drumType() == type);
    }

    const auto hasSource = track->state().sourceFile.existsAsFile();
    menu.addItem (include, "Include in analysis", true, ! track->isExcluded());
    menu.addSubMenu ("Drum type", types);
    menu.addSeparator();
    menu.addItem (copyAToB, "Copy A to B");
    menu.addItem (copyBToA, "Copy B to A");
    menu.addItem (applyToType, "Apply to all of this type");
    menu.addItem (duplicate, "Duplicate track");
    menu.addSeparator();
    menu.addItem (solo, "Solo in the group", player.playsWholeGroup(), player.isSolo (trackId));
    menu.addItem (mute, "Mute in the group", player.playsWholeGroup(), player.isMuted (trackId));
    menu.addItem (equalLoudness, "A and B equally loud", true, player.matchesLoudness());
    menu.addSeparator();
    menu.addItem (exportIt, juce::String::fromUTF8 ("Export Track\xe2\x80\xa6"));
    menu.addItem (showSource, "Show source file", hasSource);
    menu.addItem (remove, "Remove from group");
    addUndoItems (menu, group->undo());

    menu.showMenuAsync (
        juce::PopupMenu::Options().withTargetScreenArea ({ position.x, position.y, 1, 1 }),
        [this, group, track, ids, self = juce::Component::SafePointer<juce::Component> (this)] (int item)
        {
            if (self == nullptr || item == 0 || isBlocked())
                return;

            if (item >= firstType)
                group->setDrumType (ids, drumTypeChooserOrder[static_cast<std::size_t> (item - firstType)]);
            else if (item == include)
                group->setExcluded (ids, ! track->isExcluded());
            else if (item == copyAToB || item == copyBToA)
                group->copyKnobs (ids, item == copyAToB ? KnobSetting::a : KnobSetting::b);
            else if (item == duplicate)
                group->duplicateTrack (track->id());
            else if (item == exportIt)
                work.exportTrack (group, track);
            else if (item == showSource)
                showFolder (track->state().sourceFile.getParentDirectory());
            else if (item == remove)
                removeTracks();
            else if (item == undoIt || item == redoIt)
                undo (item == redoIt);
            else if (item == solo)
                player.setSolo (track->id(), ! player.isSolo (track->id()));
            else if (item == mute)
                player.setMute (track->id(), ! player.isMuted (track->id()));
            else if (item == equalLoudness)
                player.setMatchesLoudness (! player.matchesLoudness());
            else if (item == applyToType)
            {
                std::vector<std::uint32_t> alike;

                for (int i = 0; i < group->numTracks(); ++i)
                    if (group->track (i)->drumType() == track->drumType())
                        alike.push_back (group->track (i)->id());

                group->setKnobs (alike, track->selectedSetting(), track->soundingKnobs());
            }

            refresh();
        });
}

void MainComponent::showGroupMenu (const Group::Ptr& group, juce::Point<int> position)
{
    if (isBlocked())
        return;

    juce::PopupMenu menu, methods;
    methods.addItem (methodStandard, "Standard", true, group->method() == SeparationMethod::standard);
    methods.addItem (
        methodRefined, "Refined, with a suggested Focus", true, group->method() == SeparationMethod::refined);
    menu.addItem (rename, "Rename");
    menu.addSubMenu ("Method of analysis", methods);
    menu.addItem (playAll, "Play all tracks together", true, player.playsWholeGroup());
    menu.addItem (analyze, "Analyze Group");
    menu.addItem (exportIt, juce::String::fromUTF8 ("Export Group\xe2\x80\xa6"));
    menu.addSeparator();
    menu.addItem (save, "Save Group");
    menu.addItem (saveAs, juce::String::fromUTF8 ("Save Group as\xe2\x80\xa6"));
    menu.addItem (closeIt, "Close group");
    addUndoItems (menu, group->undo());

    menu.showMenuAsync (juce::PopupMenu::Options().withTargetScreenArea ({ position.x, position.y, 1, 1 }),
                        [this, group, self = juce::Component::SafePointer<juce::Component> (this)] (int item)
                        {
                            if (self == nullptr || item == 0 || isBlocked())
                                return;

                            workspace.selectGroup (workspace.indexOf (group.get()));

                            switch (item)
                            {
                                case rename:
                                    browser.getList().beginRename (BrowserPresenter::rowOf (*group));
                                    break;
                                case methodStandard:
                                case methodRefined:
                                    group->setMethod (item == methodRefined ? SeparationMethod::refined
                                                                            : SeparationMethod::standard);
                                    break;
                                case analyze:
                                    work.analyze (group);
                                    break;
                                case exportIt:
                                    work.exportGroups (ExportScope::group, group);
                                    break;
                                case save:
                                    work.save (group);
                                    break;
                                case saveAs:
                                    work.saveAs (group);
                                    break;
                                case closeIt:
                                    work.close (group);
                                    break;
                                case undoIt:
                                case redoIt:
                                    undo (item == redoIt);
                                    break;
                                default:
                                    break;
                            }

                            refresh();
                        });
}

} // namespace tessivar
