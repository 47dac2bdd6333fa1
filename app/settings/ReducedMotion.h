#pragma once

#include "model/settings/SettingsStore.h"

namespace tessivar
{

/** Sets how the interface moves, by the user's choice or by the desktop's. The desktop is asked on a thread
    of its own: until it has answered nothing moves. Message thread.
*/
void applyMotion (const juce::PropertySet& settings);

} // namespace tessivar
