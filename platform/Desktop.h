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

/** What a file is called in a drag to another program: a path, or
    "file:///home/me/My%20Snare.wav", where every byte of the name that is no plain character stands as its
    number.
*/
[[nodiscard]] juce::String nameInDrag (const juce::File& file);

/** Why no window can be shown here; nothing where one can. */
[[nodiscard]] juce::String whyNoWindow();

/** Gives a window, by its native handle, the dark frame that goes with a dark program, where frames have a
    color of their own.
*/
void darkenFrame (void* window);

/** Whether the user wants the desktop to do without animations; nothing when it doesn't say. May take half a
    second.
*/
[[nodiscard]] std::optional<bool> desktopReducesMotion();

} // namespace tessivar
