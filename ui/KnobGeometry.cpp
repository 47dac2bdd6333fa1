#include "ui/KnobGeometry.h"

#include <cmath>

namespace tessivar
{

juce::String knobImagePrefix (float sizeClass, bool alternateSet)
{
    if (sizeClass >= 30.0f && alternateSet)
        return "mainKnob/main knob ";
    if (sizeClass < 10.0f)
        return {};
    if (sizeClass < 20.0f)
        return "plugin/fine/fine knob ";
    return alternateSet ? "plugin/focus/focus knob " : "fineKnob/fine knob ";
}

bool knobHasDisabledBase (float sizeClass, bool alternateSet)
{
    return sizeClass >= 30.0f && alternateSet;
}

namespace
{

/** At the design size, in logical pixels. */
struct KnobProportions
{
    float designSize;  // edge of the square
    float orbitRadius; // of the dot's centre
    float dotSize;     // edge of the dot's image
};

} // namespace

juce::Rectangle<float> knobDotBounds (juce::Rectangle<float> knob, float sizeClass, float proportion)
{
    const auto proportions = sizeClass >= 30.0f ? KnobProportions{ 128.0f, 0.94f * sizeClass, 20.0f }
                                                : KnobProportions{ 76.0f, 0.90f * sizeClass, 16.0f };
    const auto scale = std::min (knob.getWidth(), knob.getHeight()) / proportions.designSize;
    const auto angle = angleForProportion (proportion);
    const auto radius = proportions.orbitRadius * scale;
    // Clockwise from the top: x follows the sine, y, which points down, the negative cosine.
    const auto centre = knob.getCentre() + juce::Point<float> (std::sin (angle), -std::cos (angle)) * radius;
    const auto size = proportions.dotSize * scale;
    return juce::Rectangle<float> (size, size).withCentre (centre);
}

juce::String percentText (double value, double maximum)
{
    const auto percent = maximum > 0.0 ? value * 100.0 / maximum : 0.0;
    return juce::String (juce::jlimit (0, 100, juce::roundToInt (juce::jlimit (-1.0, 101.0, percent)))) + "%";
}

std::optional<int> percentFromText (const juce::String& text)
{
    const auto digits = text.retainCharacters ("0123456789");
    if (digits.isEmpty())
        return {};
    return juce::jlimit (0, 100, digits.substring (0, 4).getIntValue());
}

void KnobDrag::move (double dx, double dy, bool fine)
{
    const auto range = fine ? finePixelsForRange : pixelsForRange;
    proportion = juce::jlimit (0.0, 1.0, proportion + (dx - dy) / range);
}

double KnobDrag::afterWheel (double proportion, double steps, bool fine)
{
    return juce::jlimit (0.0, 1.0, proportion + steps * (fine ? fineWheelStep : wheelStep));
}

} // namespace tessivar
