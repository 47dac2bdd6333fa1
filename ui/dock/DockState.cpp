#include "ui/dock/DockState.h"

#include "ui/KnobGeometry.h"

#include <cmath>

namespace tessivar
{

juce::String letterOf (KnobSetting setting)
{
    return setting == KnobSetting::a ? "A" : "B";
}

void ListenLatch::press (ListenMode mode, double now)
{
    before = listening;
    listening = mode;
    pressed = mode;
    pressedAt = now;
}

void ListenLatch::release (ListenMode mode, double now)
{
    if (pressed != mode)
        return;
    pressed.reset();
    const auto wasHeld = now - pressedAt > holdMilliseconds;
    if (before == mode)
        listening = ListenMode::processed; // the second click, or the end of a hold that began latched
    else if (wasHeld)
        listening = before;
}

void ListenLatch::toggle (ListenMode mode)
{
    set (listening == mode ? ListenMode::processed : mode);
}

void ListenLatch::set (ListenMode mode)
{
    pressed.reset();
    listening = mode;
}

float layerBarHeight (float weight)
{
    constexpr float floorDb = -60.0f;
    if (! (weight > 0.0f))
        return 0.0f;
    return juce::jlimit (0.0f, 1.0f, 1.0f - 20.0f * std::log10 (weight) / floorDb);
}

namespace
{

juce::String percentWords (float value, float maximum)
{
    return percentText (static_cast<double> (value), static_cast<double> (maximum)).dropLastCharacters (1)
           + " percent";
}

} // namespace

juce::String settingDescription (const DockState& state)
{
    const auto& values = state.valuesOf (state.sounding);
    return letterOf (state.sounding) + ", Focus " + percentWords (values.focus, focusMaximum) + ", Fine "
           + percentWords (values.fine, fineMaximum);
}

juce::String listeningText (const DockState& state)
{
    if (! state.available)
        return state.unavailableText;
    switch (state.listening)
    {
        case ListenMode::bypass:
            return "The source, unprocessed.";
        case ListenMode::removed:
            return "Only the removed part.";
        case ListenMode::processed:
            break;
    }
    return "The processed track.";
}

juce::String gainText (float gainDb)
{
    const auto shown = std::round (10.0f * gainDb) / 10.0f;
    const auto* sign = shown > 0.0f ? "+" : shown < 0.0f ? "\xe2\x88\x92" : "";
    return juce::String::fromUTF8 (sign) + juce::String (std::abs (shown), 1) + " dB";
}

DockLayout dockLayout (juce::Rectangle<int> area, bool compact)
{
    constexpr double fineToFocus = 0.55, compactFocusShare = 0.68;
    DockLayout layout;
    layout.setting = area.removeFromLeft (compact ? 172 : 196);
    layout.listen = area.removeFromRight (compact ? 176 : 196);
    if (! compact)
        layout.layers = area.removeFromRight (176);
    // Each keeps its frame; the insides share the width.
    constexpr int frame = 10;
    layout.focus = area.removeFromLeft (
        compact ? juce::roundToInt (compactFocusShare * area.getWidth())
                : frame + juce::roundToInt ((area.getWidth() - 2 * frame) / (1.0 + fineToFocus)));
    layout.fine = area;
    return layout;
}

} // namespace tessivar
