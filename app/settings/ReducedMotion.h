#pragma once

#include "model/settings/SettingsStore.h"

#include <optional>

namespace tessivar
{

/** The user's own choice about motion; nothing when none was made, then the desktop's holds. */
[[nodiscard]] std::optional<bool> chosenReducedMotion (const juce::PropertySet& settings);

/** Whether one of the files in which desktops keep their settings asks for no animations: GTK's settings.ini
    (gtk-enable-animations) or kdeglobals (AnimationDurationFactor). @param configFolder  as a rule ~/.config
*/
[[nodiscard]] std::optional<bool> desktopReducesMotion (const juce::File& configFolder);

/** Sets how the interface moves, by the user's choice or by the desktop's. The desktop is asked on a thread
    of its own: until it has answered nothing moves. Message thread.
*/
void applyMotion (const juce::PropertySet& settings);

} // namespace tessivar
