#include "model/GroupContents.h"

#include "model/GroupState.h"

namespace tessivar
{

void GroupContents::add (DrumType type, bool excluded)
{
    if (excluded)
        return;

    ++numActiveTracks;
    hasAnalysableCloseMicrophone = hasAnalysableCloseMicrophone || isRenderedType (type);
    hasHiHat = hasHiHat || type == DrumType::hiHat;
    hasKick = hasKick || type == DrumType::kick;
    hasSnare = hasSnare || type == DrumType::snare;
}

GroupContents GroupContents::of (const GroupState& state)
{
    GroupContents contents;

    for (const auto& track : state.tracks)
        contents.add (track.drumType(), track.excluded);

    return contents;
}

} // namespace tessivar
