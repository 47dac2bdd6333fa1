#pragma once

#include "model/GroupState.h"
#include "report/Html.h"

namespace tessivar
{

/** Two tables of the Group's bleed map, before and after: how loud every drum is in every microphone against
    the microphone's own drum. Where there is no map, a sentence says why. */
void writeBleedTables (Html& page, const GroupState& group, AnalysisMethod method);

} // namespace tessivar
