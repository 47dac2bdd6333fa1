#pragma once

#include "model/GroupState.h"

namespace tessivar
{

/** The property that keeps the path of a track's source while it lies on a system that writes paths in
    another way: it leads nowhere here, and is saved as it came.
*/
inline constexpr auto sourcePathProperty = "sourcePath";

/** Where a track's source lies, here or on the system that its Group was saved on; empty when unknown. */
[[nodiscard]] juce::String sourcePathOf (const TrackState& track);

/** The last part of that path. */
[[nodiscard]] juce::String sourceNameOf (const TrackState& track);

} // namespace tessivar
