#pragma once

#include "terms/DrumType.h"
#include "ui/Icons.h"

namespace tessivar
{

/** Hue, glyph and name of a drum type. */
juce::Colour drumColour (DrumType type);
Icon drumIcon (DrumType type);

/** "Kick" ... "Other"; an en dash for an overhead. */
juce::String drumName (DrumType type);

} // namespace tessivar
