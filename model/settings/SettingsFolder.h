#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** Makes the settings folder if need be and deletes every file directly in it that is no ".config" file;
    folders in it are left alone, and so is what a running copy of the program is about to rename to a
    ".config" file. A file in the folder's place is deleted. Returns how many files went, or -1 when there is
    no such folder in the end.
*/
int tidySettingsFolder (const juce::File& folder);

} // namespace tessivar
