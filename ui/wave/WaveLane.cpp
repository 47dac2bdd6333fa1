#include "ui/wave/WaveLane.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/wave/WaveTimeText.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{

constexpr int dragThreshold = 3; // px
constexpr double fadeSeconds = 0.09;

const juce::Colour gridLine = juce::Colours::white.withAlpha (0.055f);
const juce::Colour middleGridLine = juce::Colours::white.withAlpha (0.02f);

} // namespace

WaveLane::WaveLane (WaveScene& sceneToDraw) : WavePart (sceneToDraw)
{
    setMouseCursor (juce::MouseCursor::IBeamCursor);
    addChildComponent (readout);
}

void WaveLane::beginFade()
{
    fading = std::exchange (drawn, {});
    fadeLeft = fading.isValid() ? fadeSeconds : 0.0;
}

bool WaveLane::advanceFade (double seconds)
{
    if (fadeLeft <= 0.0)
        return false;
    fadeLeft -= seconds;
    if (fadeLeft <= 0.0)
        fading = {};
    repaint();
    return fadeLeft > 0.0;
}

WaveLane::ImageKey WaveLane::keyFor (float scale) const
{
    return { juce::roundToInt (static_cast<float> (getWidth()) * scale),
             juce::roundToInt (static_cast<float> (getHeight()) * scale),
             scale,
             scene.firstColumn (static_cast<double> (scale)),
             scene.samplesPerColumn (static_cast<double> (scale)),
             scene.view.displayGain(),
             scene.view.selection(),
             scene.isLooping,
             contentVersion() };
}

void WaveLane::paint (juce::Graphics& g)
{
    // The image is a cache of the scene; only painting knows the display's scale for certain.
    const auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    if (const auto key = keyFor (scale); key != imageKey || drawn.isNull())
    {
        if (key.scale != imageKey.scale)
            call (onPixelScaleFound, static_cast<double> (scale));
        if (drawn.getWidth() != key.width || drawn.getHeight() != key.height)
            drawn = juce::Image (juce::Image::RGB,
                                 std::max (key.width, 1),
                                 std::max (key.height, 1),
                                 false,
                                 juce::SoftwareImageType());
        drawImage (drawn, key);
        imageKey = key;
    }
    g.drawImageTransformed (drawn, juce::AffineTransform::scale (1.0f / scale));
    if (fadeLeft > 0.0 && fading.getBounds() == drawn.getBounds())
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

void WaveLane::drawGround (juce::Graphics& g) const
{
    g.fillAll (palette::wave);
    const auto& view = scene.view;
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

void WaveLane::drawSelectionEdges (juce::Graphics& g) const
{
    const auto& view = scene.view;
    if (const auto selection = view.selection())
    {
        g.setColour (scene.isLooping ? palette::iceMid : palette::outline);
        for (const auto time : { selection->start, selection->end })
            g.fillRect (juce::roundToInt (view.xForTime (time)), 0, 1, getHeight());
    }
}

void WaveLane::drawFigure (juce::Graphics& g, const juce::String& text, float y)
{
    const auto font = fonts::inter (10.0f);
    const juce::Rectangle<float> place (7.0f, y - 7.0f, font.getStringWidthFloat (text), 14.0f);
    g.setColour (palette::wave.withAlpha (0.85f));
    g.fillRect (place.expanded (2.0f, -1.0f));
    g.setColour (palette::textLow);
    g.setFont (font);
    g.drawText (text, place, juce::Justification::centredLeft, false);
}

void WaveLane::updateReadout()
{
    if (! mousePosition || scene.content.track().source == nullptr)
        return readout.setVisible (false);
    readout.show (WaveBanner::Kind::neutral, Icon::none, describe (*mousePosition), {});
    const auto size = readout.idealSize();
    // In the upper right corner, until the mouse is there.
    const auto isInTheWay = mousePosition->x > static_cast<float> (getWidth() - size.getWidth() - 40)
                            && mousePosition->y < static_cast<float> (size.getHeight() + 20);
    readout.setBounds (size.withY (4).withX (isInTheWay ? 64 : getWidth() - size.getWidth() - 8));
}

void WaveLane::mouseMove (const juce::MouseEvent& event)
{
    mousePosition = event.position;
    updateReadout();
}

void WaveLane::mouseExit (const juce::MouseEvent&)
{
    mousePosition.reset();
    updateReadout();
}

void WaveLane::mouseDown (const juce::MouseEvent& event)
{
    mouseExit (event);
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

void WaveLane::mouseDrag (const juce::MouseEvent& event)
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

void WaveLane::mouseUp (const juce::MouseEvent& event)
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

void WaveLane::mouseDoubleClick (const juce::MouseEvent& event)
{
    if (! event.mods.isLeftButtonDown() || scene.content.track().source == nullptr)
        return;
    const auto range = rangeBetweenHits (scene.strongHits(), timeAt (event), scene.view.lengthSeconds());
    scene.view.select (range.start, range.end);
    onSelectionChanged (true);
    onSelectionMade();
}

} // namespace tessivar
