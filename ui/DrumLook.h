#pragma once

#include "ui/Icons.h"

namespace tessivar
{

/** How a drum type looks: hue, glyph and name, in the chooser's order. An overhead has no name of its own and is not
    offered for choice, so it comes last.
*/
enum class DrumLook
{
    kick,
    snare,
    hiHat,
    tomHigh,
    tomLow,
    tomFloor,
    other,
    overhead
};

/** How many of the looks a user can choose: all but the overhead. */
inline constexpr int numChoosableDrumLooks = 7;

juce::Colour drumColour (DrumLook look);
Icon drumIcon (DrumLook look);

/** "Kick" ... "Other"; an en dash for an overhead. */
juce::String drumName (DrumLook look);

} // namespace tessivar
