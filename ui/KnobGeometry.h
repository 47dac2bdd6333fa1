#pragma once

#include <juce_graphics/juce_graphics.h>

#include <optional>

namespace tessivar
{

/** Arithmetic of the knobs and sliders, without a component: which images, which angle, which text. */

/** Path below the Resources folder, up to and with the space before the layer's name, of the image set for a knob;
    empty for a slider, which has no knob images. Size classes from 30 up with the alternate set have a base image of
    their own for the disabled state.
*/
juce::String knobImagePrefix (float sizeClass, bool alternateSet);
bool knobHasDisabledBase (float sizeClass, bool alternateSet);

/** Angle of the position dot in radians, clockwise, 0 pointing up, for a proportion 0 to 1 of the range: from 7:30 to
    4:30 with the gap below. The constants are a hair short of 1.25 and 1.5 pi, deliberately.
*/
constexpr float angleForProportion (float proportion)
{
    return 3.9269876f + proportion * 4.712385f;
}

/** The size a knob of this class has at 100 %: 128 for 39, 76 for 23. Its dot's orbit and size scale with the bounds
    over this.
*/
struct KnobProportions
{
    float designSize = 0.0f;  // edge of the square, logical pixels
    float orbitRadius = 0.0f; // of the dot's centre, logical pixels at the design size
    float dotSize = 0.0f;     // edge of the dot's image, logical pixels at the design size
};
KnobProportions knobProportions (float sizeClass);

/** Where the dot's image goes in a knob of these bounds. */
juce::Rectangle<float> knobDotBounds (juce::Rectangle<float> knob, float sizeClass, float proportion);

/** "38%" for 0.375 of 1: value over the maximum, rounded to the nearest and held to 0 to 100. The range starts at 0. */
juce::String percentText (double value, double maximum);

/** The percentage that was typed, 0 to 100; nothing when the text holds no digit. */
std::optional<int> percentFromText (const juce::String& text);

/** Movement of a pointer turned into movement of a knob: up and right raise it. */
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

    /** The proportion after a turn of the wheel. @param steps  notches, upwards positive */
    static double afterWheel (double proportion, double steps, bool fine);
};

} // namespace tessivar
