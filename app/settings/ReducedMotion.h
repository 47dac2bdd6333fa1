#pragma once

#include "model/settings/SettingsStore.h"

#include <optional>

namespace tessivar
{

/** The user's own choice about motion; nothing if there is none, and the desktop decides. */
[[nodiscard]] std::optional<bool> chosenReducedMotion (const juce::PropertySet& settings);

/** Sets how the interface moves, by the user's choice or by the desktop's. The desktop is asked on a thread
    of its own: until it has answered nothing moves. Message thread.
*/
void applyMotion (const juce::PropertySet& settings);

} // namespace tessivar
