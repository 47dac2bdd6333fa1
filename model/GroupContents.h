#pragma once

#include "terms/DrumType.h"

namespace tessivar
{

struct GroupState;

/** What the tracks of a Group are asked before an analysis. */
struct GroupContents
{
    int numActiveTracks = 0; // not excluded
    bool hasAnalysableCloseMicrophone = false;
    bool hasHiHat = false; // of active tracks, as the next two
    bool hasKick = false;
    bool hasSnare = false;

    void add (DrumType type, bool excluded);

    /** A HiHat is told by a Kick or Snare; without either it can't be analysed. */
    [[nodiscard]] bool breaksHiHatRule() const { return hasHiHat && ! hasKick && ! hasSnare; }

    [[nodiscard]] static GroupContents of (const GroupState& state);
};

} // namespace tessivar
