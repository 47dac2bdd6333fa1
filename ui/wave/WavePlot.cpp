#include "ui/wave/WavePlot.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/wave/WaveGestures.h"
#include "ui/wave/WaveRaster.h"
#include "ui/wave/WaveTimeText.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

/** Full scale at true level reaches this share of the way from the centre to the plot's edge. */
constexpr float fullScaleShare = 0.94f;
constexpr int dragThreshold = 3;  // px
constexpr double snapReach = 4.0; // px
constexpr double fadeSeconds = 0.09;

/** One wheel notch, as the toolkit reports it. */
constexpr double wheelNotch = 50.0 / 256.0;

const juce::Colour gridLine = juce::Colours::white.withAlpha (0.055f);
const juce::Colour middleGridLine = juce::Colours::white.withAlpha (0.02f);
const juce::Colour levelLine = juce::Colours::white.withAlpha (0.05f);

} // namespace

double WaveScene::samplesPerColumn (double pixelScale) const noexcept
{
    return view.visibleLength() * view.sampleRate() / (view.plotWidth() * pixelScale);
}

std::int64_t WaveScene::firstColumn (double pixelScale) const noexcept
{
    return static_cast<std::int64_t> (
        std::llround (view.viewStart() * view.sampleRate() / samplesPerColumn (pixelScale)));
}

const std::vector<double>& WaveScene::strongHits()
{
    const auto& track = content.track();
    if (! hitsAreKnown && track.source != nullptr)
    {
        hits = findStrongHits (*track.source, track.energies.get(), content.weights(), track.sampleRate);
        // Search again next time while the track is still being read.
        hitsAreKnown = track.source->isComplete();
    }
    return hits;
}

void WavePart::mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel)
{
    if (applyWaveWheel (scene.view,
                        zoomAnchor (event),
                        static_cast<double> (wheel.deltaX) / wheelNotch,
                        static_cast<double> (wheel.deltaY) / wheelNotch,
                        { event.mods.isShiftDown(), event.mods.isCommandDown() }))
        onViewChanged();
}

double WavePart::timeAt (const juce::MouseEvent& event) const
{
    return scene.view.clampedTime (scene.view.timeForX (static_cast<double> (event.position.x)));
}

double WavePart::snapped (double seconds, const juce::MouseEvent& event) const
{
    return event.mods.isAltDown() ? seconds : scene.view.snapped (seconds, scene.strongHits(), snapReach);
}

WavePlot::WavePlot (WaveScene& sceneToDraw) : WavePart (sceneToDraw)
{
    setMouseCursor (juce::MouseCursor::IBeamCursor);
}

void WavePlot::beginFade()
{
    fading = std::exchange (image, {});
    fadeLeft = fading.isValid() ? fadeSeconds : 0.0;
}

bool WavePlot::advanceFade (double seconds)
{
    if (fadeLeft <= 0.0)
        return false;
    fadeLeft -= seconds;
    if (fadeLeft <= 0.0)
        fading = {};
    repaint();
    return fadeLeft > 0.0;
}

WavePlot::ImageKey WavePlot::keyFor (float scale) const
{
    return { juce::roundToInt (static_cast<float> (getWidth()) * scale),
             juce::roundToInt (static_cast<float> (getHeight()) * scale),
             scale,
             scene.firstColumn (static_cast<double> (scale)),
             scene.samplesPerColumn (static_cast<double> (scale)),
             scene.view.displayGain(),
             scene.view.selection(),
             scene.isLooping,
             scene.version };
}

void WavePlot::paint (juce::Graphics& g)
{
    // The image is a cache of the scene; only painting knows the display's scale for certain.
    const auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    if (const auto key = keyFor (scale); key != imageKey || image.isNull())
    {
        if (key.scale != imageKey.scale)
            call (onPixelScaleFound, static_cast<double> (scale));
        drawImage (key);
        imageKey = key;
    }
    g.drawImageTransformed (image, juce::AffineTransform::scale (1.0f / scale));
    if (fadeLeft > 0.0 && fading.getBounds() == image.getBounds())
    {
        g.setOpacity (static_cast<float> (fadeLeft / fadeSeconds));
        g.drawImageTransformed (fading, juce::AffineTransform::scale (1.0f / scale));
    }

    if (scene.content.track().source == nullptr)
        return;
    // A faint shadow sets the white strip off from bright waveforms.
    const auto x = juce::roundToInt (scene.view.xForTime (scene.view.playhead()));
    for (const auto& [distance, alpha] :
         { std::pair{ 1, 0.20f }, std::pair{ 2, 0.18f }, std::pair{ 3, 0.12f } })
    {
        g.setColour (juce::Colours::black.withAlpha (alpha));
        g.fillRect (x - distance - 1, 0, 1, getHeight());
        g.fillRect (x + distance, 0, 1, getHeight());
    }
}

void WavePlot::drawImage (const ImageKey& key)
{
    if (image.getWidth() != key.width || image.getHeight() != key.height)
        image = juce::Image (juce::Image::RGB,
                             std::max (key.width, 1),
                             std::max (key.height, 1),
                             false,
                             juce::SoftwareImageType());
    {
        juce::Graphics g (image);
        // One row is enough: the background consists of vertical stripes.
        g.reduceClipRegion (0, 0, key.width, 1);
        g.addTransform (juce::AffineTransform::scale (key.scale));
        drawGround (g);
    }
    drawLayers (key);
    juce::Graphics g (image);
    g.addTransform (juce::AffineTransform::scale (key.scale));
    drawOverlay (g);
}

void WavePlot::drawGround (juce::Graphics& g) const
{
    const auto& view = scene.view;
    g.fillAll (palette::wave);

    if (const auto selection = view.selection())
    {
        const auto left = static_cast<float> (view.xForTime (selection->start));
        const auto right = static_cast<float> (view.xForTime (selection->end));
        g.setColour (palette::iceMid.withAlpha (scene.isLooping ? 0.075f : 0.045f));
        g.fillRect (
            juce::Rectangle<float>::leftTopRightBottom (left, 0.0f, right, static_cast<float> (getHeight())));
    }

    const auto ticks = WaveRulerTicks::forScale (view.pixelsPerSecond());
    const auto part = ticks.labelSpacing / ticks.divisions;
    const auto last = static_cast<juce::int64> (view.timeForX (view.plotWidth()) / part);
    for (auto i = static_cast<juce::int64> (view.viewStart() / part); i <= last; ++i)
    {
        const auto isMajor = i % ticks.divisions == 0;
        if (! isMajor && (ticks.middle == 0 || i % ticks.middle != 0))
            continue;
        g.setColour (isMajor ? gridLine : middleGridLine);
        g.fillRect (static_cast<int> (std::floor (view.xForTime (static_cast<double> (i) * part))),
                    0,
                    1,
                    getHeight());
    }
}

void WavePlot::drawLayers (const ImageKey& key)
{
    const auto width = static_cast<std::size_t> (key.width);
    sourceColumns.resize (width);
    processedColumns.resize (width);
    scene.content.read (key.firstColumn, key.samplesPerColumn, sourceColumns, processedColumns);

    const auto colours = WaveLayerColours::forLook (scene.look, scene.content.track().colour);
    const auto centre = static_cast<float> (key.height) / 2.0f;
    const WaveRasterScale scale{ centre, centre * fullScaleShare * static_cast<float> (key.displayGain) };
    const auto line = 0.5f * key.scale;
    const auto hasTwoLayers = scene.content.isAnalysed() && ! colours.processed.isTransparent();

    std::vector<WaveRasterLayer> layers;
    if (scene.showsRemoved || ! hasTwoLayers)
        layers.push_back (
            { sourceColumns, colours.source, colours.sourceEdge, juce::roundToInt (key.scale), line });
    if (scene.showsKept && hasTwoLayers)
        layers.push_back ({ processedColumns, colours.processed, {}, 0, line });
    juce::Image::BitmapData pixels (image, juce::Image::BitmapData::readWrite);
    fillWaveLayers (pixels, layers, scale);
}

void WavePlot::drawOverlay (juce::Graphics& g) const
{
    const auto& view = scene.view;
    const auto height = static_cast<float> (getHeight());
    const auto centre = height / 2.0f;
    g.setColour (juce::Colours::white.withAlpha (0.10f));
    g.fillRect (0, juce::roundToInt (centre), getWidth(), 1);

    // The two multiples of 6 dB that fit the plot best: -6 and -12 at true level.
    const auto gainDb = 20.0 * std::log10 (view.displayGain());
    const auto upper = 6.0 * std::floor (-gainDb / 6.0 + 1.0e-9) - 6.0;
    const auto font = fonts::inter (10.0f);
    g.setFont (font);
    for (const auto level : { upper, upper - 6.0 })
    {
        const auto distance =
            centre * fullScaleShare * static_cast<float> (std::pow (10.0, (level + gainDb) / 20.0));
        const auto text =
            (level < 0.0 ? juce::String::fromUTF8 ("\xe2\x88\x92") : juce::String (level > 0.0 ? "+" : ""))
            + juce::String (juce::roundToInt (std::abs (level)));
        for (const auto y : { centre - distance, centre + distance })
        {
            g.setColour (levelLine);
            g.fillRect (0, juce::roundToInt (y), getWidth(), 1);
            const juce::Rectangle<float> place (7.0f, y - 7.0f, font.getStringWidthFloat (text), 14.0f);
            // Figures must stay legible over a loud track.
            g.setColour (palette::wave.withAlpha (0.85f));
            g.fillRect (place.expanded (2.0f, -1.0f));
            g.setColour (palette::textLow);
            g.drawText (text, place, juce::Justification::centredLeft, false);
        }
    }

    if (const auto selection = view.selection())
    {
        g.setColour (scene.isLooping ? palette::iceMid : palette::outline);
        for (const auto time : { selection->start, selection->end })
            g.fillRect (juce::roundToInt (view.xForTime (time)), 0, 1, getHeight());
    }
}

void WavePlot::mouseDown (const juce::MouseEvent& event)
{
    if (event.mods.isMiddleButtonDown())
    {
        drag = Drag::panning;
        panStart = scene.view.viewStart();
        setMouseCursor (juce::MouseCursor::DraggingHandCursor);
    }
    else if (event.mods.isLeftButtonDown())
    {
        drag = Drag::pending;
        dragAnchor = timeAt (event);
    }
}

void WavePlot::mouseDrag (const juce::MouseEvent& event)
{
    auto& view = scene.view;
    if (drag == Drag::panning)
    {
        view.setViewStart (panStart - event.getDistanceFromDragStartX() / view.pixelsPerSecond());
        onViewChanged();
        return;
    }
    if (drag == Drag::pending && std::abs (event.getDistanceFromDragStartX()) > dragThreshold)
    {
        drag = Drag::selecting;
        dragAnchor = snapped (dragAnchor, event);
        beginDragAutoRepeat (30);
    }
    if (drag != Drag::selecting)
        return;

    const auto x = static_cast<double> (event.position.x);
    const auto outside = x < 0.0 ? x : std::max (0.0, x - getWidth());
    if (outside != 0.0)
    {
        view.scrollByPixels (std::clamp (outside, -40.0, 40.0));
        onViewChanged();
    }
    const auto time = view.timeForX (std::clamp (x, 0.0, static_cast<double> (getWidth())));
    view.select (dragAnchor, snapped (time, event));
    onSelectionChanged (false);
}

void WavePlot::mouseUp (const juce::MouseEvent& event)
{
    const auto finished = std::exchange (drag, Drag::none);
    setMouseCursor (juce::MouseCursor::IBeamCursor);
    // The second click of a double-click has its own meaning.
    if (finished == Drag::pending && event.getNumberOfClicks() < 2)
        onPlayheadMoved (timeAt (event));
    else if (finished == Drag::selecting)
    {
        onSelectionChanged (true);
        onSelectionMade();
    }
}

void WavePlot::mouseDoubleClick (const juce::MouseEvent& event)
{
    if (! event.mods.isLeftButtonDown() || scene.content.track().source == nullptr)
        return;
    const auto range = rangeBetweenHits (scene.strongHits(), timeAt (event), scene.view.lengthSeconds());
    scene.view.select (range.start, range.end);
    onSelectionChanged (true);
    onSelectionMade();
}

} // namespace tessivar
