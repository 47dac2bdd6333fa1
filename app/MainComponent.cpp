#include "app/MainComponent.h"

#include "app/AppSettings.h"
#include "app/Splitter.h"
#include "app/TrackLooks.h"
#include "app/settings/ReducedMotion.h"
#include "model/SettingsFolder.h"
#include "ui/Motion.h"
#include "ui/Palette.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr int menuBarHeight = 28, menuBarInset = 6, seam = 1;
constexpr int compactHeight = 720, compactWidth = 1180, compactBrowserWidth = 300;
constexpr int fastHz = 60, slowHz = 4;
constexpr double exactPause = 0.1;     // s without a change before exact columns are asked for
constexpr double processedPause = 0.5; // s without a change before a whole processed track is read
constexpr double meterRelease =
    2.5; // s in which the output meter falls after playback, its held peak included
constexpr double longestExact =
    60.0; // s that are read at once for exact columns; the whole track covers more
constexpr double meterRange = SuppressionMeterState::numLeds;

double now()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}

/** "Studio Interface · 48 kHz · 256 samples", the device by its own name and, where that says little, its kind's. */
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

MainComponent::MainComponent (const juce::File& resourceFolder,
                              const UserFolders& folders,
                              const ProgramLog& log)
    : resources (resourceFolder), programLog (log), images (resourceFolder), workspace (this, folders),
      player (workspace, readAheadSettings (workspace.settings())), presenter (workspace, waveforms),
      menuBar (&commands), browser (images), splitter (std::make_unique<Splitter>()),
      horizontalZoom (images, 0.0f, nullptr, false), verticalZoom (images, 0.0f, nullptr, false),
      meter (images), dock (images), transport (images), tooltips (this), prompts (scrim, images),
      work (workspace, runner, prompts, resourceFolder)
{
    // A folder of settings alone: what else lies there was left behind.
    tidySettingsFolder (folders.settings);
    [[maybe_unused]] const auto firstRun = workspace.isFirstRun();
    auto& settings = workspace.settings();
    volumeDb = static_cast<float> (settings.getDoubleValue (appSettingsKeys::volume, 0.0));
    browserWidth =
        juce::jlimit (300, 480, settings.getIntValue (appSettingsKeys::browserWidth, browserWidth));
    player.setVolumeDb (volumeDb);

    for (auto* child : std::initializer_list<juce::Component*>{ &menuBar,
                                                                &deviceStatus,
                                                                &browser,
                                                                splitter.get(),
                                                                &trackHeader,
                                                                &wave,
                                                                &meter,
                                                                &dock,
                                                                &transport,
                                                                &empty,
                                                                &dropOverlay,
                                                                &scrim })
        addChildComponent (child);

    for (auto* child : std::initializer_list<juce::Component*>{ &menuBar,
                                                                &deviceStatus,
                                                                &browser,
                                                                splitter.get(),
                                                                &trackHeader,
                                                                &wave,
                                                                &meter,
                                                                &dock,
                                                                &transport })
        child->setVisible (true);

    wireCommands();
    wireBrowser();
    wireWave();
    wireDock();
    wireTransport();
    wireWork();

    if (const auto opened = RecoverySession::open (folders.recovery(), recovery); opened.wasOk())
    {
        autosave = std::make_unique<GroupAutosave> (workspace, recovery);
        autosave->onFailure = [this] (const juce::String& reason)
        { transport.showNotice ("Changes can't be kept for recovery: " + reason, {}, {}, true); };
    }
    else
    {
        reasonAgainstRecovery = opened.getErrorMessage();
    }

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
    sweeper.removeAllJobs (false, -1); // a thread that is ended by force may hold anything
    workspace.removeChangeListener (this);
    player.stop();
    auto& settings = workspace.settings();
    settings.setValue (appSettingsKeys::volume, static_cast<double> (volumeDb));
    settings.setValue (appSettingsKeys::browserWidth, browserWidth);
    autosave.reset();
    wave.setHorizontalZoomSlider (nullptr);
    wave.setVerticalZoomSlider (nullptr);
    trackHeader.setSlider (nullptr);
}

void MainComponent::start (const juce::StringArray& paths)
{
    applyMotion (workspace.settings());
    player.start();
    showDevice();
    grabKeyboardFocus();
    sweepLeftovers();

    if (reasonAgainstRecovery.isNotEmpty())
        prompts.warn (
            "Changes can't be kept for recovery: if the program ends before they are saved, they are lost.",
            reasonAgainstRecovery);

    offerRecovery();
    openPaths (paths);
}

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
    trackHeader.setBounds (area.removeFromTop (WaveTrackHeader::height));
    meter.setBounds (area.removeFromRight (MeterColumn::width));
    area.removeFromRight (seam);
    wave.setBounds (area);
}

//======================================================================================================================

bool MainComponent::isBlocked() const
{
    return work.isBusy() || scrim.isShowingDialog();
}

void MainComponent::changeListenerCallback (juce::ChangeBroadcaster*)
{
    refresh();
}

Track::Ptr MainComponent::selectedTrack() const
{
    const auto group = selectedGroup();
    return group != nullptr ? group->findTrack (selectedTrackId) : nullptr;
}

void MainComponent::refresh()
{
    const auto group = selectedGroup();

    if (group != nullptr && group->findTrack (selectedTrackId) == nullptr)
        selectedTrackId = group->numTracks() > 0 ? group->track (0)->id() : 0;

    if (group == nullptr)
        selectedTrackId = 0;

    // What is looked at is read first.
    std::vector<TrackState> tracks;

    if (const auto track = selectedTrack())
        tracks.push_back (track->state());

    for (const auto& each : workspace.allGroups())
        for (auto& track : each->state().tracks)
            if (track.id != selectedTrackId)
                (each == group ? tracks.insert (tracks.begin() + (tracks.empty() ? 0 : 1), track)
                               : tracks.insert (tracks.end(), track));

    waveforms.setTracks (tracks);
    browser.setState (presenter.makeState());

    if (group != nullptr)
    {
        auto selection = browser.getList().getSelection();

        if (selection.group != BrowserPresenter::rowOf (*group)
            || selection.lead != static_cast<RowId> (selectedTrackId))
        {
            selection = {};
            selection.group = BrowserPresenter::rowOf (*group);
            selection.lead = selection.anchor = static_cast<RowId> (selectedTrackId);

            if (selectedTrackId != 0)
                selection.tracks = { static_cast<RowId> (selectedTrackId) };

            browser.getList().setSelection (selection);
        }
    }

    player.show (group, selectedTrackId);
    showTrack();
    showTransport();
    showDevice();
    commands.refresh();

    if (waveforms.isReading())
    {
        wasReading = true;
        animateFor (0.5);
    }
}

void MainComponent::showTrack()
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();
    const auto hasTrack = track != nullptr;
    empty.setVisible (! hasTrack);

    for (auto* view : std::initializer_list<juce::Component*>{ &trackHeader, &wave, &meter, &dock })
        view->setVisible (hasTrack);

    if (! hasTrack)
        return;

    const auto& state = track->state();
    const auto look = waveLookFor (state, listenMode);
    const auto waveform = waveforms.find (state);
    trackHeader.setContent (headerFor (state, look));
    wave.setTrack (waveTrackFor (state, waveform.get(), group->lengthInSamples()));
    wave.setLook (look);
    // The step from A to B is seen as it is heard: one goes over into the other.
    const auto setting = track->selectedSetting();
    const auto steps = state.id == shownTrack && setting != shownSetting && ! motion::isReduced();
    shownTrack = state.id;
    shownSetting = setting;
    wave.setWeights (soundingWeights (state), steps);

    if (steps)
        animateFor (0.2);

    if (waveform == nullptr || waveform->energies == nullptr || ! waveform->source->isComplete())
        processedWish.reset();
    else if (const ProcessedWish wish{ state.contentId, soundingWeights (state) }; wish != processedWish)
    {
        processedWish = wish;
        processedRequestAt = now();
        auto known = waveforms.findProcessed (wish.contentId, wish.weights);
        processedIsWanted = known == nullptr;

        if (known != nullptr)
            wave.setProcessedEnvelope (std::move (known));
    }

    wave.setHint (state.takesPart() && ! group->isAnalysed()
                      ? "Check the drum types, then analyze to unlock Focus."
                      : juce::String(),
                  "Analyze Group");
    dock.setState (dockFor (&state, listenMode));
}

void MainComponent::showTransport()
{
    TransportState state;
    state.hasTrack = selectedTrack() != nullptr;
    state.playable = player.canPlay();
    state.playing = player.isPlaying();
    state.looping = looping;
    state.following = following;
    state.position = player.position();
    state.duration = player.duration();
    state.volumeDb = volumeDb;

    if (const auto selection = wave.view().selection())
        state.loop = juce::Range<double> (selection->start, selection->end);

    transport.setState (state);
    trackHeader.setCanZoomToSelection (state.loop.has_value());
}

void MainComponent::showDevice()
{
    auto* device = player.device.manager().getCurrentAudioDevice();
    const auto deviceStatusNow = player.device.status();
    // Without a Group there is no rate to differ from.
    const auto isRunning = deviceStatusNow == DeviceStatus::running
                           || (deviceStatusNow == DeviceStatus::converting && selectedGroup() == nullptr);
    const auto name = isRunning && device != nullptr ? deviceText (*device) : player.device.statusText();
    auto text = name;
    const auto dropouts = player.numDropouts();

    if (dropouts > 0)
        text << juce::String::fromUTF8 (" \xc2\xb7 ") << juce::String (dropouts)
             << (dropouts == 1 ? " dropout" : " dropouts");

    if (deviceStatus.getButtonText() != text)
    {
        // Not every dropout has a line of its own.
        if (! deviceStatus.getButtonText().startsWith (name))
            juce::Logger::writeToLog ("Audio device: " + name);

        deviceStatus.setStatus (text, ! isRunning || dropouts > 0);
        resized();
    }
}

void MainComponent::movePlayhead()
{
    const auto position = player.position();
    transport.setPosition (position);
    wave.setPlayhead (position, player.isPlaying());
    browser.getList().setLevels (presenter.levelsAt (position));
}

void MainComponent::showMeter()
{
    const auto track = selectedTrack();
    const auto isSilent = track == nullptr || ! player.isPlaying() || listenMode == ListenMode::bypass
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

//======================================================================================================================

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
        movePlayhead();

    if (isPlaying != std::exchange (wasPlaying, isPlaying))
    {
        showTransport();
        animateFor (meterRelease);
    }

    if (dock.isFading())
        animateFor (1.0 / slowHz);

    if (isPlaying || time < animateUntil)
    {
        wave.advanceFade (elapsed);

        if (evenTick)
        {
            dock.fadeTick();
            showMeter();
        }

        const auto peaks = player.engine.takeOutputPeaks();
        transport.getMeter().update ({ levelDbOf (peaks[0]), levelDbOf (peaks[1]) }, elapsed);
    }

    transport.tick (elapsed);

    if (exactRequest && time - exactRequestAt >= exactPause)
        sendExactRequest();

    // Reading a whole track takes its time, so it waits until the hand has let go of the knob.
    if (processedIsWanted && processedWish && time - processedRequestAt >= processedPause)
    {
        processedIsWanted = false;

        if (const auto track = selectedTrack())
            waveforms.requestProcessed (track->state(), processedWish->weights);
    }

    if (time - lastSlowTick >= 0.25)
    {
        lastSlowTick = time;
        player.tick();
        showDevice();

        // Once more when the last track has been read.
        if (const auto isReading = waveforms.isReading(); std::exchange (wasReading, isReading) || isReading)
        {
            wave.envelopesGrew();
            showTrack();
            browser.setState (presenter.makeState());
            animateFor (0.5);
        }
    }

    if (autosave != nullptr && time - lastSecond >= 1.0)
    {
        lastSecond = time;
        autosave->tick (juce::Time::getMillisecondCounter());
    }

    if (! isBlocked() && ! waitingPaths.isEmpty())
        openPaths (std::exchange (waitingPaths, {}));

    if (! isPlaying && time >= animateUntil && getTimerInterval() < 1000 / slowHz)
        startTimerHz (slowHz);
}

void MainComponent::sendExactRequest()
{
    const auto seconds = [] (const TrackState& track, const WaveEnvelopeRequest& request)
    { return request.numColumns * request.samplesPerColumn / track.sampleRate; };

    if (const auto track = selectedTrack();
        track != nullptr && exactRequest && seconds (track->state(), *exactRequest) <= longestExact)
        waveforms.requestExact (track->state(), *exactRequest, soundingWeights (track->state()));

    exactRequest.reset();
}

} // namespace tessivar
