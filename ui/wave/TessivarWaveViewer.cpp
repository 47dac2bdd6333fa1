#include "ui/wave/TessivarWaveViewer.h"

#include "ui/Call.h"
#include "ui/FocusRings.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"
#include "ui/wave/WaveTimeText.h"

namespace tessivar
{
TessivarWaveViewer::TessivarWaveViewer()
{
    setOpaque (true);
    setWantsKeyboardFocus (true);
    setMouseClickGrabsKeyboardFocus (false);
    for (auto* part : std::initializer_list<juce::Component*>{ &plot, &ruler, &overview, &zoomColumn })
        addAndMakeVisible (part);
    plot.addAndMakeVisible (marker);
    plot.addChildComponent (stateBanner);
    plot.addChildComponent (hint);

    const auto movePlayhead = [this] (double seconds)
    {
        setPlayhead (seconds, false);
        tellAssistiveTechnology();
        call (onPlayheadMoved, scene.view.playhead());
    };
    plot.onPlayheadMoved = ruler.onPlayheadMoved = movePlayhead;
    plot.onSelectionChanged =
        ruler.onSelectionChanged = [this] (bool isFinished) { selectionMoved (isFinished); };
    plot.onSelectionMade = [this]
    {
        if (const auto selection = scene.view.selection())
            call (onSelectionMade, selection->start);
    };
    plot.onViewChanged = ruler.onViewChanged = overview.onViewChanged = [this] { viewMoved(); };
    plot.onPixelScaleFound = [this] (double scale)
    {
        pixelScale = scale;
        triggerAsyncUpdate();
    };
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
    scene.content.setTrack (std::move (track));
    scene.hitsAreKnown = false;
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
    scene.hitsAreKnown = false;
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

void TessivarWaveViewer::setHint (const juce::String& text, const juce::String& buttonText)
{
    hint.show (WaveBanner::Kind::hint, Icon::none, text, buttonText);
    placeBanners();
}

void TessivarWaveViewer::contentChanged()
{
    ++scene.version;
    plot.repaint();
    overview.repaint();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::viewMoved()
{
    placePlayhead();
    showZoomOnSliders();
    plot.repaint();
    ruler.repaint();
    overview.repaint();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::handleAsyncUpdate()
{
    if (onExactEnvelopeNeeded == nullptr)
        return;
    const auto columns = juce::roundToInt (scene.view.plotWidth() * pixelScale);
    if (const auto request = scene.content.requestFor (
            scene.firstColumn (pixelScale), scene.samplesPerColumn (pixelScale), columns))
        onExactEnvelopeNeeded (*request);
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
            plot.repaintPlayhead (place);
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
    marker.setBounds (x - 1, 0, 2, plot.getHeight());
}

void TessivarWaveViewer::setLooping (bool isLooping)
{
    if (scene.isLooping == isLooping)
        return;
    scene.isLooping = isLooping;
    plot.repaint();
    ruler.repaint();
}

void TessivarWaveViewer::setSelection (std::optional<WaveRange> selection)
{
    if (selection.has_value())
        scene.view.select (selection->start, selection->end);
    else
        scene.view.clearSelection();
    plot.repaint();
    ruler.repaint();
}

void TessivarWaveViewer::selectionMoved (bool isFinished)
{
    plot.repaint();
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
    area.removeFromBottom (1);
    plot.setBounds (area);
    scene.view.setPlotWidth (plot.getWidth());
    placePlayhead();
    placeBanners();
    triggerAsyncUpdate();
}

void TessivarWaveViewer::placeBanners()
{
    const auto area = plot.getLocalBounds();
    stateBanner.setBounds (stateBanner.idealSize().withCentre (area.getCentre()).withY (10));
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
