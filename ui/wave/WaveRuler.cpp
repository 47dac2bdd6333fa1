#include "ui/wave/WaveRuler.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/wave/WaveTimeText.h"

#include <cmath>

namespace tessivar
{

namespace
{

const juce::Colour ground (0xff101418);
constexpr int bandTop = 15; // px below the ruler's top edge

} // namespace

void WaveRuler::repaintPlayhead (int x)
{
    repaint (x - 7, bandTop, 14, getHeight() - bandTop);
}

void WaveRuler::paint (juce::Graphics& g)
{
    g.fillAll (ground);
    drawTicks (g);
    drawSelection (g);
    drawFlag (g);
    g.setColour (palette::seam);
    g.fillRect (0, getHeight() - 1, getWidth(), 1);
}

void WaveRuler::drawTicks (juce::Graphics& g) const
{
    const auto& view = scene.view;
    const auto ticks = WaveRulerTicks::forScale (view.pixelsPerSecond());
    const auto part = ticks.labelSpacing / ticks.divisions;
    const auto bottom = getHeight() - 1;
    const auto font = fonts::inter (11.0f);
    const auto last = static_cast<juce::int64> (view.timeForX (view.plotWidth()) / part);
    // One label left of the view reaches into it.
    auto i = std::max<juce::int64> (static_cast<juce::int64> (view.viewStart() / part) - ticks.divisions, 0);
    for (; i <= last; ++i)
    {
        const auto time = static_cast<double> (i) * part;
        const auto x = static_cast<int> (std::floor (view.xForTime (time)));
        const auto isMajor = i % ticks.divisions == 0;
        const auto isMiddle = ticks.middle != 0 && i % ticks.middle == 0;
        g.setColour (isMajor    ? palette::outline
                     : isMiddle ? palette::outline.withAlpha (0.6f)
                                : palette::lineStrong.withAlpha (0.8f));
        const auto height = isMajor ? 9 : isMiddle ? 6 : 3;
        g.fillRect (x, bottom - height, 1, height);
        if (isMajor)
        {
            g.setColour (palette::textMid);
            fonts::drawTabular (g,
                                font,
                                waveTimeText (time, ticks.decimals),
                                { static_cast<float> (x) + 5.0f, 1.0f, 90.0f, 14.0f },
                                juce::Justification::centredLeft);
        }
    }
}

void WaveRuler::drawSelection (juce::Graphics& g) const
{
    const auto selection = scene.view.selection();
    if (! selection.has_value())
        return;
    const auto left = static_cast<float> (juce::roundToInt (scene.view.xForTime (selection->start)));
    const auto right = static_cast<float> (juce::roundToInt (scene.view.xForTime (selection->end)) + 1);
    const auto bottom = static_cast<float> (getHeight() - 1);
    const auto top = static_cast<float> (bandTop);
    const auto colour = scene.isLooping ? palette::iceMid : palette::outline;

    g.setColour (colour.withAlpha (0.19f));
    g.fillRect (juce::Rectangle<float>::leftTopRightBottom (left, top + 2.0f, right, bottom));
    g.setColour (colour);
    g.fillRect (juce::Rectangle<float>::leftTopRightBottom (left, top, right, top + 2.0f));
    juce::Path grips;
    grips.addTriangle (left - 1.0f, top, left + 6.0f, top, left - 1.0f, bottom);
    grips.addTriangle (right + 1.0f, top, right - 6.0f, top, right + 1.0f, bottom);
    g.fillPath (grips);
}

void WaveRuler::drawFlag (juce::Graphics& g) const
{
    if (scene.content.track().source == nullptr)
        return;
    const auto& view = scene.view;
    const auto x = static_cast<float> (juce::roundToInt (view.xForTime (view.playhead())));
    const auto top = static_cast<float> (bandTop + 1);
    juce::Path flag;
    flag.startNewSubPath (x - 6.0f, top);
    flag.lineTo (x + 6.0f, top);
    flag.lineTo (x + 6.0f, top + 4.5f);
    flag.lineTo (x, top + 10.0f);
    flag.lineTo (x - 6.0f, top + 4.5f);
    flag.closeSubPath();
    g.setColour (juce::Colours::white);
    g.fillPath (flag);
}

void WaveRuler::mouseMove (const juce::MouseEvent& event)
{
    setMouseCursor (loopGripAt (scene.view, static_cast<double> (event.position.x)) == LoopGrip::none
                        ? juce::MouseCursor::NormalCursor
                        : juce::MouseCursor::LeftRightResizeCursor);
}

void WaveRuler::mouseDown (const juce::MouseEvent& event)
{
    if (! event.mods.isLeftButtonDown())
        return;
    heldGrip = loopGripAt (scene.view, static_cast<double> (event.position.x));
    if (heldGrip == LoopGrip::none)
        onPlayheadMoved (timeAt (event));
}

void WaveRuler::mouseDrag (const juce::MouseEvent& event)
{
    if (! event.mods.isLeftButtonDown())
        return;
    if (heldGrip == LoopGrip::none)
        return onPlayheadMoved (timeAt (event));

    const auto time = scene.view.timeForX (static_cast<double> (event.position.x));
    heldGrip = dragLoopGrip (scene.view, heldGrip, snapped (time, event));
    onSelectionChanged (false);
}

void WaveRuler::mouseUp (const juce::MouseEvent&)
{
    if (std::exchange (heldGrip, LoopGrip::none) != LoopGrip::none)
        onSelectionChanged (true);
}

} // namespace tessivar
