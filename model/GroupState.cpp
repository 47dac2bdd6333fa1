#include "model/GroupState.h"

#include <algorithm>

namespace tessivar
{

bool TrackState::takesPart() const
{
    return ! excluded && isRenderedType (drumType());
}

bool GroupState::changedSinceAnalysis() const
{
    return ! analysis || analysis->method != method
           || static_cast<std::size_t> (analysis->numTracks) != tracks.size()
           || std::any_of (tracks.begin(),
                           tracks.end(),
                           [] (const TrackState& track)
                           { return track.analysedAs != track.analysisInput(); });
}

} // namespace tessivar
