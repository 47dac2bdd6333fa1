#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/MainComponent.h"
#include "app/OpenExternally.h"
#include "app/TrackLooks.h"
#include "app/about/AboutDialog.h"
#include "app/about/Diagnostics.h"
#include "app/settings/SettingsDialog.h"
#include "jobs/GroupTracks.h"
#include "terms/KnobValues.h"
#include "ui/DrumLook.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr auto contactPage = "https://tessivar.org/contact";
constexpr int diagnosticsLogLines = 60;

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
    {
        // As the close button in the frame: it stops a job that is in front.
        if (action == commandId::quit && onQuit)
            onQuit();

        return;
    }

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
                chooseSetting (otherSetting (track->selectedSetting()), false);
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
        .onInterfaceSizeChanged = [this] (int) { applyInterfaceSize(); },
        .firstPage = page
    };
    prompts.showModally ([&] (std::function<void()>) { return makeSettingsDialog (context); });
    player.device.matchGroupRate();
    refresh();
}

void MainComponent::applyInterfaceSize()
{
    auto& desktop = juce::Desktop::getInstance();
    const auto* display = desktop.getDisplays().getPrimaryDisplay();

    if (display == nullptr)
        return;

    // The display's area is told in the size that holds now.
    const auto area = display->userArea.toFloat() * desktop.getGlobalScaleFactor();
    desktop.setGlobalScaleFactor (static_cast<float> (interfaceScale (
        workspace.settings(), juce::roundToInt (area.getWidth()), juce::roundToInt (area.getHeight()))));
}

void MainComponent::showAbout()
{
    showAboutDialog (
        prompts, images, resources, [this] (bool withPaths) { return makeDiagnostics (withPaths); });
}

juce::String MainComponent::makeDiagnostics (bool withPaths)
{
    const auto& desktop = juce::Desktop::getInstance();
    juce::String screen;

    if (const auto* display = desktop.getDisplays().getPrimaryDisplay())
        screen << display->totalArea.getWidth() << " x " << display->totalArea.getHeight() << ", interface "
               << juce::roundToInt (desktop.getGlobalScaleFactor() * 100.0f) << " %, window " << getWidth()
               << " x " << getHeight();

    DiagnosticsRequest request{ workspace, resources, player.device.statusText(), {}, screen, {}, withPaths };

    for (const auto* type : player.device.manager().getAvailableDeviceTypes())
        request.soundTypes.add (type->getTypeName());

    request.logLines = programLog.lastLines (diagnosticsLogLines);
    return diagnosticsText (request);
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
            if (self == nullptr)
                return;

            if (isBlocked())
            {
                waitingPaths.addArray (paths); // for when the dialog or the job in front is over
                return;
            }

            work.importInputs (filesOf (paths), target);
            refresh();
        });
}

void MainComponent::fileDragEnter (const juce::StringArray& files, int, int)
{
    if (isBlocked())
        return;

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
        turnKnobs (juce::jlimit (0.0f, focusMaximum, values.focus + focusMaximum * fraction), {});
    else
        turnKnobs ({}, juce::jlimit (0.0f, fineMaximum, values.fine + fineMaximum * fraction));
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

    group->resetKnobs ({ track->id() }, track->selectedSetting());
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

void MainComponent::removeTracks (const std::vector<std::uint32_t>& ids)
{
    const auto group = selectedGroup();

    if (group == nullptr || ids.empty())
        return;

    const auto first = group->findTrack (ids.front());

    if (first == nullptr)
        return;

    const auto what = ids.size() == 1 ? first->name() : juce::String (ids.size()) + " tracks";
    const auto file = ids.size() == 1 ? " Its file is not touched." : " Their files are not touched.";

    if (prompts.ask ({ .title = "Remove from group",
                       .text = "Remove " + what + " from the group?" + file,
                       .acceptButton = "Remove",
                       .refuseButton = "Cancel",
                       .risk = UserPrompts::Risk::discards }))
        group->removeTracks (ids);
}

} // namespace tessivar
