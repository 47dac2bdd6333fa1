#include "ui/bleed/BleedState.h"

#include <algorithm>
#include <cstdlib>

namespace tessivar
{

namespace
{
constexpr double faintestDb = -45.0, inaudibleDb = -99.5;

/** "−22.4" in tenths, or "−22". */
juce::String withSign (double value, bool inTenths)
{
    const auto number = juce::roundToInt (inTenths ? 10.0 * value : value), size = std::abs (number);
    return (number < 0   ? juce::String::fromUTF8 ("\xe2\x88\x92")
            : number > 0 ? juce::String ("+")
                         : juce::String())
           + (inTenths ? juce::String (size / 10) + "." + juce::String (size % 10) : juce::String (size));
}

juce::String inWords (std::optional<double> level)
{
    return level ? withSign (*level, true) + " dB" : juce::String ("nothing");
}
} // namespace

juce::String bleedLevelText (std::optional<double> level)
{
    return level && *level > inaudibleDb ? withSign (*level, false) : juce::String::fromUTF8 ("\xc2\xb7");
}

juce::String bleedCellText (const BleedState& state, std::size_t microphone, std::size_t drum)
{
    const auto& cell = state.cell (microphone, drum);
    const auto &own = state.drums[microphone].name, &other = state.drums[drum].name;

    if (microphone == drum)
        return own + ", its own drum: " + inWords (cell.after) + " with the knobs as they stand";

    if (cell.isSameDrum)
        return own + " hears the same drum as " + other + ": neither is leakage of the other";

    if (! cell.before)
        return "Nothing of " + other + " was found in " + own;

    return other + " in " + own + ": " + inWords (cell.before) + ", " + inWords (cell.after)
           + " with the knobs as they stand";
}

float bleedStrength (std::optional<double> level)
{
    return level ? static_cast<float> (std::clamp (1.0 - *level / faintestDb, 0.0, 1.0)) : 0.0f;
}

} // namespace tessivar
