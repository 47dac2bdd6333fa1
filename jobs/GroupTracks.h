#pragma once

#include "jobs/SessionTrack.h"
#include "model/GroupState.h"
#include "model/audiofile/AudioIntake.h"

#include <vector>

namespace tessivar
{

/** A track as the jobs work on it; its setting is the one that sounds. */
[[nodiscard]] SessionTrack sessionTrackOf (const TrackState& track);
[[nodiscard]] std::vector<SessionTrack> sessionTracksOf (const GroupState& group);

/** A track that was just imported as a Group keeps it, with its knobs where they start. */
[[nodiscard]] TrackState trackStateOf (const SessionTrack& track);

/** What the checks of a batch need to know of tracks that were in a Group already. */
[[nodiscard]] std::vector<IntakeTrack> intakeTracksOf (const std::vector<TrackState>& tracks);

} // namespace tessivar
