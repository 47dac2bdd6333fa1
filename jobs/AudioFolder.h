#pragma once

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** The audio files right inside a folder, hidden ones left out, ordered by name as a file browser does. Fails when the
    folder can't be read or holds none; files then stays as it was.
*/
[[nodiscard]] juce::Result listAudioFolder (const juce::File& folder, std::vector<juce::File>& files);

} // namespace tessivar
