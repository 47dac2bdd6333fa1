#pragma once

#include "ui/Icons.h"

namespace tessivar
{

/** Hue, glyph and name of a drum type, in the chooser's order. An overhead has no name and can't be chosen,
    so it comes last.
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

/** Looks a user can choose: all but the overhead. */
inline constexpr int numChoosableDrumLooks = 7;

juce::Colour drumColour (DrumLook look);
Icon drumIcon (DrumLook look);

/** "Kick" ... "Other"; an en dash for an overhead. */
juce::String drumName (DrumLook look);

} // namespace tessivar
