#pragma once

#include "ui/dialogs/DialogContent.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace tessivar
{

/** A part of the window that F6 goes to, and the component in it that takes the focus. */
struct FocusArea
{
    juce::Component* area = nullptr;
    juce::Component* target = nullptr;
};

/** Moves the keyboard's focus to the next area that takes it, or the previous one for a negative step. */
void moveFocusBetween (const std::vector<FocusArea>& areas, int step);

/** Gives a key to the dialog in front that missed it: one that opened before the window had the focus, or
    while another window had it.
*/
void giveKeyToDialog (DialogScrim& scrim, const juce::KeyPress& key);

} // namespace tessivar
