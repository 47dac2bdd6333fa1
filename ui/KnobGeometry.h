#pragma once

#include <juce_graphics/juce_graphics.h>

#include <optional>

namespace tessivar
{

/** Knob and slider arithmetic, without a component: images, angles, texts. */

/** Path of a knob's image set below the Resources folder, up to and including the space before the layer's
    name; empty for a slider, which has no knob images. In the alternate set, size classes from 30 up have a
    base image of their own for the disabled state.
*/
juce::String knobImagePrefix (float sizeClass, bool alternateSet);
bool knobHasDisabledBase (float sizeClass, bool alternateSet);

/** Angle of the position dot in radians, clockwise from the top, for a proportion 0 to 1 of the range: from
    7:30 to 4:30, leaving the gap at the bottom. The constants are deliberately a hair short of 1.25 and 1.5
    pi.
*/
constexpr float angleForProportion (float proportion)
{
    return 3.9269876f + proportion * 4.712385f;
}

/** Bounds of the dot's image in a knob with these bounds. The dot's orbit and size scale with them. */
juce::Rectangle<float> knobDotBounds (juce::Rectangle<float> knob, float sizeClass, float proportion);

/** "38%" for 0.375 of 1: value over maximum, rounded and limited to 0 to 100. Ranges start at 0. */
juce::String percentText (double value, double maximum);

/** The typed percentage, 0 to 100; nothing when the text holds no digit. */
std::optional<int> percentFromText (const juce::String& text);

/** Turns pointer movement into knob movement: up and right raise the value. */
struct KnobDrag
{
    static constexpr double pixelsForRange = 250.0;
    static constexpr double finePixelsForRange = 1500.0;
    static constexpr double wheelStep = 0.01;
    static constexpr double fineWheelStep = 0.002;

    double proportion = 0.0; // of the range, 0 to 1

    /** @param dx, dy  pixels since the last call, y pointing down
        @param fine  whether the modifier for fine movement is held at this moment
    */
    void move (double dx, double dy, bool fine);

    /** The proportion after turning the wheel. @param steps  notches, upwards positive */
    static double afterWheel (double proportion, double steps, bool fine);
};

} // namespace tessivar
