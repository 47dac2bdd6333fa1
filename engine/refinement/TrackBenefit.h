#pragma once

#include "terms/TrackFindings.h"

namespace tessivar
{

/** How likely it is that the layers of a track come closer to its own drum than the track itself, 0..1, from
    all other findings: a logistic model of three doubts. Their weights are a third to a half more than a fit
    gives on recordings with known truth, in which the layers take place as far as they are believed, the mean
    gain is greatest, and a loss counts forty times.
*/
[[nodiscard]] double confidenceOf (const TrackFindings& findings);

} // namespace tessivar
