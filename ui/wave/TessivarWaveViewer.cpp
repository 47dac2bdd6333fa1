#include "ui/wave/TessivarWaveViewer.h"

#include "ui/Call.h"
#include "ui/FocusRings.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"
#include "ui/wave/WaveTimeText.h"

#include <algorithm>

namespace tessivar
{

namespace
{

constexpr int leastForBoth = 190;      // px; with less room the spectrogram takes the waveform's place
constexpr float waveformShare = 0.36f; // of the height of both

} // namespace

TessivarWaveViewer::TessivarWaveViewer()
{
    setOpaque (true);
    setWantsKeyboardFocus (true);
    setMouseClickGrabsKeyboardFocus (false);
    for (auto* part : std::initializer_list<juce::Component*>{
             &plot, &spectrum, &strip, &ruler, &overview, &zoomColumn, &marker })
        addAndMakeVisible (part);
    addChildComponent (stateBanner);
    addChildComponent (hint);

    const auto movePlayhead = [this] (double seconds)
    {
        setPlayhead (seconds, false);
        tellAssistiveTechnology();
        call (onPlayheadMoved, scene.view.playhead());
    };
    const auto moveView = [this] { viewMoved(); };
    const auto moveSelection = [this] (bool isFinished) { selectionMoved (isFinished); };
    ruler.onPlayheadMoved = movePlayhead;
    ruler.onSelectionChanged = moveSelection;
    ruler.onViewChanged = overview.onViewChanged = moveView;
    for (auto* lane : lanes)
    {
        lane->onPlayheadMoved = movePlayhead;
        lane->onSelectionChanged = moveSelection;
        lane->onViewChanged = moveView;
        lane->onSelectionMade = [this]
        {
            if (const auto selection = scene.view.selection())
                call (onSelectionMade, selection->start);
        };
        lane->onPixelScaleFound = [this] (double scale)
        {
            pixelScale = scale;
            triggerAsyncUpdate();
        };
    }
    zoomColumn.onZoomSteps = [this] (int steps) { zoomVertically (steps); };
    hint.onButtonClick = [this] { call (onHintButton); };
    clearTrack();
}

TessivarWaveViewer::~TessivarWaveViewer()
{
    setHorizontalZoomSlider (nullptr);
    setVerticalZoomSlider (nullptr);
}

void TessivarWaveViewer::setTrack (WaveTrack track)
{
    const auto length =
        track.sampleRate > 0.0 ? static_cast<double> (track.lengthInSamples) / track.sampleRate : 0.0;
    setTitle (track.name.isEmpty() ? juce::String ("Waveform") : "Waveform of " + track.name);
    scene.view.setTrack (length, track.sampleRate);
    marker.setVisible (track.source != nullptr);
    scene.spectrum.setTrack (track.contentId,
                             track.sampleRate,
                             track.source != nullptr ? track.lengthInSamples : 0,
                             track.energies != nullptr);
    scene.content.setTrack (std::move (track));
    scene.forgetFindings();
    placeLanes();
    contentChanged();
    viewMoved();
}

void TessivarWaveViewer::setLook (WaveLook look)
{
    if (scene.look == look)
        return;
    scene.look = look;
    if (look == WaveLook::removed)
        stateBanner.show (WaveBanner::Kind::removed, Icon::removed, "You are hearing what is removed", {});
    else if (look == WaveLook::bypassed)
        stateBanner.show (
            WaveBanner::Kind::neutral, Icon::bypass, "Bypassed: you are hearing the source", {});
    else
        stateBanner.show (WaveBanner::Kind::neutral, Icon::none, {}, {});
    placeBanners();
    contentChanged();
}

void TessivarWaveViewer::setWeights (const ChannelWeights& weights, bool shouldFade)
{
    if (scene.content.weights() == weights)
        return;
    if (shouldFade)
        plot.beginFade();
    scene.content.setWeights (weights);
    scene.spectrum.setWeights (weights);
    scene.forgetFindings();
    contentChanged();
}

void TessivarWaveViewer::setLayersShown (bool kept, bool removed)
{
    if (scene.showsKept == kept && scene.showsRemoved == removed)
        return;
    scene.showsKept = kept;
    scene.showsRemoved = removed;
    contentChanged();
}

void TessivarWaveViewer::setProcessedEnvelope (std::shared_ptr<const EnvelopePyramid> processed)
{
    scene.content.setProcessed (std::move (processed));
    contentChanged();
}

void TessivarWaveViewer::setExactEnvelope (const WaveExactEnvelope& answer)
{
    if (! scene.content.takeExact (answer))
        return;
    ++scene.version;
    plot.repaint();
}

void TessivarWaveViewer::envelopesGrew()
{
    scene.forgetFindings();
    contentChanged();
}

void TessivarWaveViewer::setSpectrumShown (bool shouldShow)
{
    if (std::exchange (scene.showsSpectrum, shouldShow) == shouldShow)
        return;
    placeLanes();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::setSpectrumTile (std::uint32_t contentId, std::shared_ptr<const SpectrumTile> tile)
{
    if (! scene.spectrum.take (contentId, std::move (tile)))
        return;
    spectrum.repaint();
    spectrum.updateReadout();
}

void TessivarWaveViewer::setHint (const juce::String& text, const juce::String& buttonText)
{
    hint.show (WaveBanner::Kind::hint, Icon::none, text, buttonText);
    placeBanners();
}

void TessivarWaveViewer::repaintLanes()
{
    for (auto* lane : lanes)
    {
        lane->repaint();
        lane->updateReadout();
    }
}

void TessivarWaveViewer::contentChanged()
{
    ++scene.version;
    repaintLanes();
    overview.repaint();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::viewMoved()
{
    placePlayhead();
    showZoomOnSliders();
    repaintLanes();
    ruler.repaint();
    overview.repaint();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::handleAsyncUpdate()
{
    const auto columns = juce::roundToInt (scene.view.plotWidth() * pixelScale);
    const auto first = scene.firstColumn (pixelScale);
    const auto perColumn = scene.samplesPerColumn (pixelScale);
    if (onExactEnvelopeNeeded != nullptr)
        if (const auto request = scene.content.requestFor (first, perColumn, columns))
            onExactEnvelopeNeeded (*request);
    if (onSpectrumNeeded != nullptr && scene.showsSpectrum)
        onSpectrumNeeded (scene.spectrum.wishesFor (first, perColumn, static_cast<std::size_t> (columns)));
}

void TessivarWaveViewer::setPlayhead (double seconds, bool isPlaying)
{
    if (scene.view.setPlayhead (seconds, isPlaying))
        viewMoved();
    else
        placePlayhead();
}

void TessivarWaveViewer::placePlayhead()
{
    const auto x = juce::roundToInt (scene.view.xForTime (scene.view.playhead()));
    const auto overviewX = overview.xForTime (scene.view.playhead());
    if (x != playheadX)
    {
        for (const auto place : { playheadX, x })
        {
            for (auto* lane : lanes)
                lane->repaintPlayhead (place);
            ruler.repaintPlayhead (place);
        }
        playheadX = x;
    }
    if (overviewX != overviewPlayheadX)
    {
        overview.repaintPlayhead (overviewPlayheadX);
        overview.repaintPlayhead (overviewX);
        overviewPlayheadX = overviewX;
    }
    const auto area = laneArea();
    marker.setBounds (
        area.getIntersection (juce::Rectangle<int> (area.getX() + x - 1, area.getY(), 2, area.getHeight())));
}

void TessivarWaveViewer::setLooping (bool isLooping)
{
    if (scene.isLooping == isLooping)
        return;
    scene.isLooping = isLooping;
    repaintLanes();
    ruler.repaint();
}

void TessivarWaveViewer::setSelection (std::optional<WaveRange> selection)
{
    if (selection.has_value())
        scene.view.select (selection->start, selection->end);
    else
        scene.view.clearSelection();
    repaintLanes();
    ruler.repaint();
}

void TessivarWaveViewer::selectionMoved (bool isFinished)
{
    repaintLanes();
    ruler.repaint();
    if (isFinished)
        tellAssistiveTechnology();
    call (onLoopChanged, scene.view.selection(), isFinished);
}

void TessivarWaveViewer::clearSelection()
{
    scene.view.clearSelection();
    selectionMoved (true);
}

void TessivarWaveViewer::setLoopStartToPlayhead()
{
    const auto start = scene.view.playhead();
    const auto selection = scene.view.selection();
    scene.view.select (
        start, selection.has_value() && selection->end > start ? selection->end : scene.view.lengthSeconds());
    selectionMoved (true);
}

void TessivarWaveViewer::setLoopEndToPlayhead()
{
    const auto end = scene.view.playhead();
    const auto selection = scene.view.selection();
    scene.view.select (selection.has_value() && selection->start < end ? selection->start : 0.0, end);
    selectionMoved (true);
}

void TessivarWaveViewer::setHorizontalZoom (double zoom)
{
    scene.view.setHorizontalZoom (zoom);
    viewMoved();
}

void TessivarWaveViewer::setVerticalZoom (double zoom)
{
    scene.view.setVerticalZoom (zoom);
    viewMoved();
}

void TessivarWaveViewer::zoomTo (WaveRange range)
{
    scene.view.zoomTo (range);
    viewMoved();
}

void TessivarWaveViewer::zoomToSelection()
{
    if (const auto selection = scene.view.selection())
        zoomTo (*selection);
}

void TessivarWaveViewer::fit()
{
    scene.view.fit();
    viewMoved();
}

void TessivarWaveViewer::setViewStart (double seconds)
{
    scene.view.setViewStart (seconds);
    viewMoved();
}

void TessivarWaveViewer::listenTo (juce::Component::SafePointer<juce::Slider>& held,
                                   juce::Slider* slider,
                                   const juce::String& title)
{
    if (held != nullptr)
        held->removeListener (this);
    held = slider;
    if (slider == nullptr)
        return;
    slider->setTitle (title);
    slider->addListener (this);
    showZoomOnSliders();
}

void TessivarWaveViewer::setHorizontalZoomSlider (juce::Slider* slider)
{
    listenTo (horizontalSlider, slider, "Horizontal zoom");
}

void TessivarWaveViewer::setVerticalZoomSlider (juce::Slider* slider)
{
    listenTo (verticalSlider, slider, "Vertical zoom");
    zoomColumn.setSlider (slider);
}

void TessivarWaveViewer::sliderValueChanged (juce::Slider* slider)
{
    // Ignore the value that showZoomOnSliders() set, which may arrive late.
    const auto isHorizontal = slider == horizontalSlider.getComponent();
    const auto shown = isHorizontal ? scene.view.horizontalZoom() : scene.view.verticalZoom();
    if (std::abs (slider->getValue() - shown) < 1.0e-9)
        return;
    if (isHorizontal)
        setHorizontalZoom (slider->getValue());
    else
        setVerticalZoom (slider->getValue());
}

void TessivarWaveViewer::showZoomOnSliders()
{
    if (horizontalSlider != nullptr)
        horizontalSlider->setValue (scene.view.horizontalZoom(), juce::dontSendNotification);
    if (verticalSlider != nullptr)
        verticalSlider->setValue (scene.view.verticalZoom(), juce::dontSendNotification);
}

void TessivarWaveViewer::paint (juce::Graphics& g)
{
    // The seams between the parts.
    g.fillAll (palette::seam);
}

void TessivarWaveViewer::paintOverChildren (juce::Graphics& g)
{
    if (! areFocusRingsShown() || ! hasKeyboardFocus (false))
        return;
    g.setColour (palette::ice);
    g.drawRect (getLocalBounds(), 2);
}

void TessivarWaveViewer::resized()
{
    auto area = getLocalBounds();
    zoomColumn.setBounds (area.removeFromRight (zoomColumnWidth));
    area.removeFromRight (1);
    ruler.setBounds (area.removeFromTop (rulerHeight));
    overview.setBounds (area.removeFromBottom (overviewHeight));
    scene.view.setPlotWidth (area.getWidth());
    placeLanes();
    triggerAsyncUpdate();
}

juce::Rectangle<int> TessivarWaveViewer::laneArea() const
{
    return juce::Rectangle<int>::leftTopRightBottom (
        ruler.getX(), ruler.getBottom(), ruler.getRight(), std::max (ruler.getBottom(), overview.getY() - 1));
}

void TessivarWaveViewer::placeLanes()
{
    auto area = laneArea();
    strip.setVisible (scene.content.isAnalysed());
    if (strip.isVisible())
    {
        strip.setBounds (area.removeFromBottom (stripHeight));
        area.removeFromBottom (1);
    }
    spectrum.setVisible (scene.showsSpectrum);
    plot.setVisible (! scene.showsSpectrum || area.getHeight() >= leastForBoth);
    if (spectrum.isVisible() && plot.isVisible())
    {
        plot.setBounds (
            area.removeFromTop (juce::roundToInt (waveformShare * static_cast<float> (area.getHeight()))));
        area.removeFromTop (1);
    }
    (spectrum.isVisible() ? static_cast<juce::Component&> (spectrum) : plot).setBounds (area);
    placePlayhead();
    placeBanners();
}

void TessivarWaveViewer::placeBanners()
{
    auto area = laneArea();
    stateBanner.setBounds (stateBanner.idealSize().withCentre (area.getCentre()).withY (area.getY() + 10));
    if (strip.isVisible())
        area.removeFromBottom (stripHeight);
    const auto hintSize = hint.idealSize();
    hint.setBounds (
        hintSize.withCentre (area.getCentre()).withY (area.getBottom() - 18 - hintSize.getHeight()));
}

juce::String TessivarWaveViewer::accessibleValue() const
{
    auto text = "playhead " + waveTimeText (scene.view.playhead(), 3);
    if (const auto selection = scene.view.selection())
        text << ", loop " << waveTimeText (selection->start, 3) << " to " << waveTimeText (selection->end, 3);
    return text;
}

void TessivarWaveViewer::tellAssistiveTechnology()
{
    if (auto* handler = getAccessibilityHandler())
        handler->notifyAccessibilityEvent (juce::AccessibilityEvent::valueChanged);
}

std::unique_ptr<juce::AccessibilityHandler> TessivarWaveViewer::createAccessibilityHandler()
{
    // Gestures and keys change it, not this interface.
    return makeSpokenHandler (*this, juce::AccessibilityRole::image, [this] { return accessibleValue(); });
}

} // namespace tessivar
