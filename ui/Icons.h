#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The interface's icons, drawn as lines and shapes in a square of 16 units. */
enum class Icon
{
    none,
    kick,
    snare,
    hiHat,
    tomHigh,
    tomLow,
    tomFloor,
    microphone,
    play,
    stop,
    toStart,
    loop,
    follow,
    speaker,
    plus,
    minus,
    import,
    exporting,
    close,
    chevronDown,
    chevronRight,
    arrowRight,
    tick,
    ring,
    warning,
    cross,
    file,
    folder,
    device,
    tag,
    gauge,
    bypass,
    removed,
    fit,
    zoomToSelection,
    spectrum,
    undo,
    redo,
    equalLoudness
};

/** Draws an icon centred in the area, scaled to its shorter side. Lines are 1.5 units wide, at least 1.2 px.
*/
void drawIcon (juce::Graphics& g, Icon icon, juce::Rectangle<float> area, juce::Colour colour);

/** The icon as a drawable of the given edge length in pixels, for menus. */
std::unique_ptr<juce::Drawable> iconDrawable (Icon icon, float edge, juce::Colour colour);

} // namespace tessivar
