#include "app/WaveController.h"

#include "ui/Motion.h"

#include <utility>

namespace tessivar
{

namespace
{
constexpr double exactPause = 0.02;     // s without a change before exact columns are asked for
constexpr double processedPause = 0.05; // s without a change before a whole processed track is read
constexpr double playingGrace = 0.3;    // s
constexpr double largestHorizontalZoom = 0.9, largestVerticalZoom = 1.4;

double now()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}

void setUp (juce::Slider& slider, juce::Slider::SliderStyle style, double largest, double initial)
{
    slider.setTextBoxStyle (juce::Slider::NoTextBox, true, 0, 0);
    slider.setSliderStyle (style);
    slider.setRange (0.0, largest, 0.0);
    slider.setValue (initial, juce::sendNotificationAsync);
}
} // namespace

WaveController::WaveController (const ResourceImages& images, Player& playerToUse)
    : player (playerToUse), horizontalZoom (images, 0.0f, nullptr, false),
      verticalZoom (images, 0.0f, nullptr, false)
{
    setUp (horizontalZoom, juce::Slider::LinearHorizontal, largestHorizontalZoom, 0.0);
    horizontalZoom.setDefaultValue (0.0f);
    setUp (verticalZoom, juce::Slider::LinearVertical, largestVerticalZoom, 1.0);
    verticalZoom.setDefaultValue (1.0f);
    header.setSlider (&horizontalZoom);
    view.setHorizontalZoomSlider (&horizontalZoom);
    view.setVerticalZoomSlider (&verticalZoom);
    view.setFollowing (following);
    wireHeader();
    wireView();
}

WaveController::~WaveController()
{
    view.setHorizontalZoomSlider (nullptr);
    view.setVerticalZoomSlider (nullptr);
    header.setSlider (nullptr);
}

void WaveController::wireHeader()
{
    header.onLayersShown = [this] (bool kept, bool removed) { view.setLayersShown (kept, removed); };
    header.onZoomSteps = [this] (int steps) { view.zoomHorizontally (steps); };
    header.onZoomToSelection = [this] { view.zoomToSelection(); };
    header.onFit = [this] { view.fit(); };
}

void WaveController::wireView()
{
    view.onPlayheadMoved = [this] (double seconds) { seek (seconds); };
    view.onLoopChanged = [this] (std::optional<WaveRange> range, bool isFinished)
    {
        if (isFinished)
            setLooping (looping && range.has_value());
        else
            onTransportChanged();
    };
    // What has just been selected is heard next; playback that no loop holds goes on where it is.
    view.onSelectionMade = [this] (double start)
    {
        if (looping || ! player.isPlaying())
            seek (start);
    };
    view.onExactEnvelopeNeeded = [this] (const WaveEnvelopeRequest& request)
    {
        exactRequest = request;
        exactRequestAt = now();
        onAnimate (0.3);
    };
    view.onSpectrumNeeded = [this] (std::vector<SpectrumWish> tiles)
    {
        if (shown != nullptr)
            spectra.request (shown->state(), soundingWeights (shown->state()), std::move (tiles));
    };
    spectra.onTile = [this] (std::uint32_t contentId, std::shared_ptr<const SpectrumTile> tile)
    { view.setSpectrumTile (contentId, std::move (tile)); };
    waveforms.onExactEnvelope = [this] (const WaveExactEnvelope& answer) { view.setExactEnvelope (answer); };
    waveforms.onProcessed = [this] (std::uint32_t contentId,
                                    const ChannelWeights& weights,
                                    std::shared_ptr<const EnvelopePyramid> whole)
    {
        if (processedWish == ProcessedWish{ contentId, weights })
            view.setProcessedEnvelope (std::move (whole));
    };
}

//============================================================================================================

void WaveController::show (const Group::Ptr& group, const Track::Ptr& track)
{
    const auto isSameTrack = track == shown;
    shown = track;

    for (auto* part : std::initializer_list<juce::Component*>{ &header, &view })
        part->setVisible (track != nullptr);

    if (track == nullptr)
        return;

    const auto& state = track->state();
    const auto look = waveLookFor (state, mode);
    const auto waveform = waveforms.find (state);
    const auto weights = soundingWeights (state);
    header.setContent (
        headerFor (state,
                   look,
                   group->state().namesSharingDrumWith (static_cast<std::size_t> (group->indexOf (*track)))));
    view.setTrack (waveTrackFor (state, waveform.get(), group->lengthInSamples()));
    view.setLook (look);

    // The step from A to B is seen as it is heard: one goes over into the other.
    const auto before = std::exchange (shownSetting, track->selectedSetting());
    const auto fades = isSameTrack && shownSetting != before && ! motion::isReduced();
    view.setWeights (weights, fades);

    if (fades)
        onAnimate (0.5);

    wishForProcessed (state, waveform.get());
    view.setHint (state.takesPart() && ! group->isAnalysed()
                      ? "Check the drum types, then analyze to unlock Focus."
                      : juce::String(),
                  "Analyze Group");
}

void WaveController::wishForProcessed (const TrackState& state, const TrackWaveform* waveform)
{
    if (waveform == nullptr || waveform->energies == nullptr || ! waveform->source->isComplete())
    {
        processedWish.reset();
        return;
    }

    const ProcessedWish wish{ state.contentId, soundingWeights (state) };

    if (wish == processedWish)
        return;

    processedWish = wish;
    processedWishAt = now();
    auto known = waveforms.findProcessed (wish.contentId, wish.weights);
    processedIsWanted = known == nullptr;

    if (known != nullptr)
        view.setProcessedEnvelope (std::move (known));
    else
        onAnimate (2.0 * processedPause); // else the pause is noticed late
}

void WaveController::setListening (ListenMode newMode)
{
    mode = newMode;
    player.setListening (mode == ListenMode::bypass    ? Listening::bypassed
                         : mode == ListenMode::removed ? Listening::removed
                                                       : Listening::processed);
    onListeningChanged();
    onAnimate (0.5);
}

void WaveController::toggleListening (ListenMode newMode)
{
    setListening (mode == newMode ? ListenMode::processed : newMode);
}

//============================================================================================================

void WaveController::seek (double seconds)
{
    const auto position = juce::jlimit (0.0, player.duration(), seconds);
    player.seek (position);
    view.setPlayhead (position, true); // into view
    onPlayheadMoved (position);
    onAnimate (0.2);
}

void WaveController::seekHit (int step)
{
    // While it plays, the last hit is soon behind the playhead again.
    const auto grace = player.isPlaying() && step < 0 ? playingGrace : 0.0;

    if (const auto hit = hitBeside (view.strongHits(), player.position() - grace, step))
        seek (*hit);
}

void WaveController::selectHit (int step)
{
    const auto range = extendedToHit (
        view.strongHits(), view.view().selection(), player.position(), step, view.view().lengthSeconds());
    select ({ range.start, range.end });

    if (! player.isPlaying())
        seek (range.start);
}

void WaveController::movePlayhead()
{
    const auto position = player.position();
    view.setPlayhead (position, player.isPlaying());
    onPlayheadMoved (position);
}

void WaveController::setLooping (bool shouldLoop)
{
    looping = shouldLoop;
    view.setLooping (looping);
    player.setLoop (looping ? selection() : std::nullopt);
    movePlayhead(); // a new loop may have taken it along
    onTransportChanged();
}

std::optional<juce::Range<double>> WaveController::selection() const
{
    if (const auto range = view.view().selection())
        return juce::Range<double> (range->start, range->end);

    return {};
}

void WaveController::select (juce::Range<double> range)
{
    view.setSelection (WaveRange{ range.getStart(), range.getEnd() });
    setLooping (looping);
}

void WaveController::setSpectrumShown (bool shouldShow)
{
    view.setSpectrumShown (shouldShow);
    header.setSpectrumShown (shouldShow);
}

void WaveController::setLayersShown (bool kept, bool removed)
{
    view.setLayersShown (kept, removed);
    header.setLayersShown (kept, removed);
}

void WaveController::setFollowing (bool shouldFollow)
{
    following = shouldFollow;
    view.setFollowing (following);
    onTransportChanged();
}

//============================================================================================================

void WaveController::tick (double time, double elapsed)
{
    view.advanceFade (elapsed);

    if (exactRequest && time - exactRequestAt >= exactPause)
        sendExactRequest();

    // Reading a whole track takes its time, so it waits until the hand has left the knob.
    if (processedIsWanted && processedWish && time - processedWishAt >= processedPause)
    {
        processedIsWanted = false;

        if (shown != nullptr)
            waveforms.requestProcessed (shown->state(), processedWish->weights);
    }
}

void WaveController::sendExactRequest()
{
    const auto request = *std::exchange (exactRequest, std::nullopt);

    if (shown != nullptr)
        waveforms.requestExact (shown->state(), request, soundingWeights (shown->state()));
}

void WaveController::setTracks (const std::vector<TrackState>& tracks)
{
    waveforms.setTracks (tracks);
    wasReading = wasReading || waveforms.isReading(); // else what is read quickly would never be shown
}

bool WaveController::haveWaveformsGrown()
{
    const auto isReading = waveforms.isReading();

    if (! std::exchange (wasReading, isReading) && ! isReading)
        return false;

    view.envelopesGrew();
    return true;
}

} // namespace tessivar
