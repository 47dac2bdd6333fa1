#pragma once

#include "engine/AnalysisSettings.h"
#include "terms/AnalysisMethod.h"

namespace tessivar
{

/** About how long analyseTracks takes, in seconds: what its steps cost on the machine of docs/performance.md,
    on so many threads (no more than there are cores), times how much slower this machine factorises. That is
    measured at the first call, which takes some milliseconds.
*/
[[nodiscard]] double forecastSeconds (const AnalysisShape& shape, AnalysisMethod method, int numThreads);

} // namespace tessivar
