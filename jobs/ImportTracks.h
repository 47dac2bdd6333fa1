#pragma once

#include "jobs/SessionTrack.h"
#include "model/audiofile/AudioIntake.h"
#include "terms/WorkControl.h"

#include <vector>

namespace tessivar
{

/** What became of one file: as many session tracks as intake tracks, in the same order, or none. */
struct ImportOutcome
{
    IntakeOutcome intake;
    std::vector<SessionTrack> tracks;
};

/** Checks an audio file, decodes it into store, and makes a session track of each of its channels.

    With a null store the file is checked only and the tracks come without audio, which is enough for a forecast and
    a plan. Everything about groupSampleRate, warnings and the outcome is as intakeFile says; a store that is full or
    fails shows as storageFailed with its reason.
*/
[[nodiscard]] ImportOutcome importFile (const juce::File& file,
                                        double groupSampleRate,
                                        ImportWarnings& warnings,
                                        TemporaryStore* store,
                                        const WorkControl& control = {});

} // namespace tessivar
