#pragma once

#include "terms/TrackFindings.h"

namespace tessivar
{

/** How likely it is that the layers of a track come closer to its own drum than the track itself, 0..1, from
    all other findings: a logistic model of thirteen doubts, whose coefficients were fitted on recordings with
    known truth so that the mean gain is greatest, and a loss counts nine times, when the layers take place as
    far as they are believed.
*/
[[nodiscard]] double confidenceOf (const TrackFindings& findings);

} // namespace tessivar
