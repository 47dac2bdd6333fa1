#pragma once

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** Opens a document, or a page by its address, with the program that the desktop has for it. The path never
    passes through a shell. False when no program could be started.
*/
bool openExternally (const juce::String& pathOrAddress);

/** Shows a folder in the desktop's file manager. */
bool showFolder (const juce::File& folder);

/** Whether the user wants the desktop to do without animations; nothing when it doesn't say. May take half a
    second.
*/
[[nodiscard]] std::optional<bool> desktopReducesMotion();

} // namespace tessivar
