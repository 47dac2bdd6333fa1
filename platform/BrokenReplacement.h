#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** Where a file system can't replace an open file in one step, it is moved aside first, and a program that is
    killed then leaves nothing under its name. Gives the name back to what was moved aside, the latest of
    several. False when the target is there, or nothing is.
*/
[[nodiscard]] bool undoBrokenReplacement (const juce::File& target);

} // namespace tessivar
