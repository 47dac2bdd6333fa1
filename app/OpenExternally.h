#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** Opens a document, or a page by its address, with the program that the desktop has for it. The path is handed over as an
    argument and never passes through a shell. False when no program could be started.
*/
bool openExternally (const juce::String& pathOrAddress);

/** Shows a folder in the desktop's file manager. */
bool showFolder (const juce::File& folder);

} // namespace tessivar
