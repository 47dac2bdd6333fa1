#include "app/AppSettings.h"
#include "app/MainComponent.h"
#include "app/Splitter.h"
#include "app/TrackLooks.h"
#include "app/settings/SettingsDialog.h"
#include "model/ForeignText.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "ui/DrumLook.h"

namespace tessivar
{

namespace
{
constexpr int smallestBrowser = 300, largestBrowser = 480;

double now()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}
} // namespace

void MainComponent::wireCommands()
{
    commands.onPerform = [this] (int action) { performAction (action); };
    commands.isActive = [this] (int action) { return canPerform (action); };
    scrim.addKeyListener (&quitKey);
    commands.recentFiles = [this]
    {
        std::vector<RecentMenuEntry> entries;

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
    browser.onNewGroup = [this] { performAction (commandId::newGroup); };
    browser.onImport = [this] { performAction (commandId::importTracks); };
    browser.onAnalyze = [this] { performAction (commandId::analyzeGroup); };
    browser.onMethodChosen = [this] (AnalysisMethod method)
    {
        if (const auto group = selectedGroup(); group != nullptr && ! isBlocked())
            group->setMethod (method == AnalysisMethod::refined ? AnalysisMethod::refined
                                                                : AnalysisMethod::standard);
    };
    browser.onExport = [this] { performAction (commandId::exportGroup); };
    browser.onFilesDropped = [this] (const juce::StringArray& files, RowId group)
    { dropPaths (files, presenter.groupOf (group)); };

    auto& list = browser.getList();
    list.onSelect = [this] (const BrowserSelection& selection) { select (selection); };
    list.onMenu = [this] (RowId group, RowId track, juce::Point<int> position)
    {
        if (track != 0)
            showTrackMenu (static_cast<std::uint32_t> (track), position);
        else if (const auto found = presenter.groupOf (group))
            showGroupMenu (found, position);
    };
    list.onInclude = [this] (const std::vector<RowId>& tracks, bool included)
    {
        if (const auto group = selectedGroup())
            group->setExcluded (BrowserPresenter::trackIdsOf (tracks), ! included);
    };
    list.onType = [this] (const std::vector<RowId>& tracks, DrumType type)
    {
        const auto ids = BrowserPresenter::trackIdsOf (tracks);

        // A chooser works on rows of any Group, selected or not.
        for (const auto& group : workspace.allGroups())
            if (! ids.empty() && group->findTrack (ids.front()) != nullptr)
                group->setDrumType (ids, type);
    };
    list.onFold = [this] (RowId group)
    {
        presenter.toggleOpen (group);
        browser.setState (presenter.makeState());
    };
    list.onClose = [this] (RowId row)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && ! isBlocked())
            juce::MessageManager::callAsync (
                [this, group, self = juce::Component::SafePointer<juce::Component> (this)]
                {
                    if (self != nullptr)
                        work.close (group);
                });
    };
    list.onRename = [this] (RowId row, const juce::String& name)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && name.trim().isNotEmpty())
            group->rename (name.trim());
    };
    list.onLocate = [this] (RowId track) { locateSource (static_cast<std::uint32_t> (track)); };
    list.onMoveTracks = [this] (const std::vector<RowId>& tracks, RowId toGroup, int index)
    {
        const auto target = presenter.groupOf (toGroup);
        const auto ids = BrowserPresenter::trackIdsOf (tracks);

        for (const auto& source : workspace.allGroups())
        {
            if (target == nullptr || ids.empty() || source->findTrack (ids.front()) == nullptr)
                continue;

            if (target->sampleRate() != 0.0 && target->sampleRate() != source->sampleRate())
                prompts.warn (warningMessage (ImportWarnings::differentSampleRate));
            else
                source->moveTracks (ids, *target, index);
        }
    };

    splitter->onDrag = [this] (int right)
    {
        browserWidth = juce::jlimit (smallestBrowser, largestBrowser, right);
        resized();
    };
}

void MainComponent::wireWave()
{
    for (auto* slider : { &horizontalZoom, &verticalZoom })
        slider->setTextBoxStyle (juce::Slider::NoTextBox, true, 0, 0);

    horizontalZoom.setSliderStyle (juce::Slider::LinearHorizontal);
    horizontalZoom.setRange (0.0, static_cast<double> (0.9f), 0.0);
    horizontalZoom.setValue (0.0, juce::sendNotificationAsync);
    horizontalZoom.setDefaultValue (0.0f);
    verticalZoom.setSliderStyle (juce::Slider::LinearVertical);
    verticalZoom.setRange (0.0, 1.4, 0.0);
    verticalZoom.setValue (1.0, juce::sendNotificationAsync);
    verticalZoom.setDefaultValue (1.0f);
    trackHeader.setSlider (&horizontalZoom);
    wave.setHorizontalZoomSlider (&horizontalZoom);
    wave.setVerticalZoomSlider (&verticalZoom);
    wave.setFollowing (following);

    trackHeader.onLayersShown = [this] (bool kept, bool removed) { wave.setLayersShown (kept, removed); };
    trackHeader.onZoomSteps = [this] (int steps) { wave.zoomHorizontally (steps); };
    trackHeader.onZoomToSelection = [this] { wave.zoomToSelection(); };
    trackHeader.onFit = [this] { wave.fit(); };

    wave.onPlayheadMoved = [this] (double seconds) { seek (seconds); };
    wave.onLoopChanged = [this] (std::optional<WaveRange> selection, bool isFinished)
    {
        if (isFinished)
            setLooping (looping && selection.has_value());

        showTransport();
    };
    wave.onExactEnvelopeNeeded = [this] (const WaveEnvelopeRequest& request)
    {
        exactRequest = request;
        exactRequestAt = now();
        animateFor (0.3);
    };
    wave.onHintButton = [this] { performAction (commandId::analyzeGroup); };
    waveforms.onProcessed = [this] (std::uint32_t contentId,
                                    const ChannelWeights& weights,
                                    std::shared_ptr<const EnvelopePyramid> whole)
    {
        if (processedWish == ProcessedWish{ contentId, weights })
            wave.setProcessedEnvelope (std::move (whole));
    };
    waveforms.onExactEnvelope = [this] (const WaveExactEnvelope& answer) { wave.setExactEnvelope (answer); };
}

void MainComponent::wireDock()
{
    dock.onFocusChange = [this] (float focus) { turnKnobs (focus, {}); };
    dock.onFineChange = [this] (float fine) { turnKnobs ({}, fine); };
    dock.onGestureStart = [this] { knobGesture = false; };
    dock.onGestureEnd = [this] { knobGesture = false; };
    dock.onChooseSetting = [this] (KnobSetting letter, bool wholeGroup)
    { chooseSetting (letter, wholeGroup); };
    dock.onCopy = [this] { copySetting(); };
    dock.onReset = [this] { resetKnobs(); };
    dock.onListeningChange = [this] (ListenMode mode) { setListening (mode); };
}

void MainComponent::wireTransport()
{
    transport.onToStart = [this] { seek (0.0); };
    transport.onPlayOrStop = [this]
    {
        player.playOrStop();
        animateFor (1.0);
    };
    transport.onLoop = [this] (bool shouldLoop) { setLooping (shouldLoop); };
    transport.onFollow = [this] (bool shouldFollow)
    {
        following = shouldFollow;
        wave.setFollowing (following);
        showTransport();
    };
    transport.onVolume = [this] (float levelDb)
    {
        volumeDb = levelDb;
        player.setVolumeDb (levelDb);
        showTransport();
    };
    transport.onLoopTyped = [this] (juce::Range<double> range)
    {
        wave.setSelection (WaveRange{ range.getStart(), range.getEnd() });
        setLooping (looping);
    };
    player.onNotice = [this] (const juce::String& text, Player::NoticeAction action)
    {
        if (action == Player::NoticeAction::reopenDevice)
            transport.showNotice (
                text,
                "Reopen",
                [this]
                {
                    if (const auto opened = player.device.reopen(); opened.failed())
                        prompts.warn ("The audio device can't be opened.", opened.getErrorMessage());

                    showDevice();
                },
                true);
        else if (action == Player::NoticeAction::none)
            transport.showNotice (text, {}, {}, true);
        else
            transport.showNotice (
                text, "Performance", [this] { openSettings (SettingsPageId::performance); }, true);

        animateFor (5.0);
    };
}

void MainComponent::wireWork()
{
    empty.onImport = [this] { performAction (commandId::importTracks); };
    empty.onOpen = [this] { performAction (commandId::openGroups); };
    const auto demo = resources.getChildFile ("demo");
    empty.setHasDemo (demo.isDirectory());
    empty.onDemo = [this, demo]
    {
        // Its dialogs come when the click is over.
        juce::MessageManager::callAsync (
            [this, demo, self = juce::Component::SafePointer<juce::Component> (this)]
            {
                if (self == nullptr)
                    return;

                // Not the folder: its licence would be told of as no audio.
                juce::StringArray tracks;

                for (const auto& file : demo.findChildFiles (juce::File::findFiles, false, "*.flac"))
                    tracks.add (file.getFullPathName());

                tracks.sortNatural();
                openPaths (tracks);
            });
    };
    empty.onFilesDropped = [this] (const juce::StringArray& files) { dropPaths (files, nullptr); };

    work.onNotice =
        [this] (const juce::String& text, const juce::String& action, std::function<void()> onAction)
    {
        transport.showNotice (text, action, std::move (onAction), false);
        animateFor (5.0);
    };
    work.onChooseTemporaryFolder = [this] { openSettings (SettingsPageId::folders); };
    work.onAnalysed = [this] (const Group::Ptr& group, const juce::StringArray& notes)
    {
        if (autosave != nullptr)
            autosave->writeNow (group);

        auto summary = analysisSummary (group->state());
        summary.sentences.addArray (notes);
        transport.showNotice (
            summary.headline,
            summary.sentences.isEmpty() ? juce::String() : juce::String ("Details"),
            [this, summary, name = group->name()]
            { prompts.tell (name, summary.headline + ".", summary.sentences); },
            false);
        animateFor (5.0);
    };
    work.onClosed = [this] (const Group::Ptr& group)
    {
        if (autosave != nullptr)
            autosave->discard (group);
    };
}

} // namespace tessivar
