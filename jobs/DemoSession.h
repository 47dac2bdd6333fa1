#pragma once

#include "terms/DrumType.h"

#include <juce_core/juce_core.h>

#include <map>
#include <vector>

namespace tessivar::demoSession
{

/** Its audio files, in their order; none where it isn't installed. */
[[nodiscard]] std::vector<juce::File> files (const juce::File& resourceFolder);

/** The drum type of each track, which their names do not all tell. */
[[nodiscard]] const std::map<juce::String, DrumType>& types();

/** What is shown first: a tom that is hit a moment after this position, in a fill. */
inline constexpr const char* firstTrack = "Rack Tom 1";
inline constexpr double firstPosition = 7.75; // s

} // namespace tessivar::demoSession
