#pragma once

#include "jobs/AnalyseTracks.h"
#include "model/Group.h"
#include "terms/WorkControl.h"

#include <vector>

namespace tessivar
{

/** The result of an analysis, ready for Group::applyAnalysis(). Empty unless outcome says completed. */
struct GroupAnalysis
{
    AnalyseOutcome outcome;
    GroupState::Analysis analysis;
    std::vector<Group::AnalysedTrack> tracks;
};

/** Analyses a Group as it stood when state was taken, by the method that it asks for: that of options is ignored.
    The new samples lie in store; the Group itself is not touched. On any thread.

    Settings and selector survive it, as Group::AnalysedTrack::applyTo says.
*/
[[nodiscard]] GroupAnalysis analyseGroup (const GroupState& state,
                                          AnalyseOptions options,
                                          TemporaryStore& store,
                                          const WorkControl& control);

/** Puts the result into a Group that is a value, as Group::applyAnalysis() does with a shared one. */
void applyAnalysis (GroupState& state, const GroupAnalysis& result);

} // namespace tessivar
