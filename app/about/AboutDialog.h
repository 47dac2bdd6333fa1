#pragma once

#include "app/DialogPrompts.h"

namespace tessivar
{

/** Shows version, revision and notices, and lets the user copy diagnostics; returns when it is closed.
    @param diagnostics  makes the text; names of files and folders only when asked for
*/
void showAboutDialog (DialogPrompts& prompts,
                      const ResourceImages& images,
                      const juce::File& resourceFolder,
                      const std::function<juce::String (bool withPaths)>& diagnostics);

} // namespace tessivar
