#pragma once

#include "jobs/ExportTracks.h"
#include "model/GroupState.h"
#include "report/Html.h"
#include "report/ReportFacts.h"
#include "report/TrackMeasurement.h"
#include "terms/Outcome.h"

#include <vector>

namespace tessivar
{

/** The part of a report that one track has to itself. */
struct TrackSection
{
    juce::String anchor; // that links to it name
    const TrackState& track;
    const TrackFacts& facts;
    const TrackMeasurement& measured;
    const TrackExport* written; // null: no file was
    std::vector<Doubt> doubts;  // that aren't told of all tracks together
};

/** Writes what is doubtful, pictures, passages to listen to, and figures. */
[[nodiscard]] Outcome
writeTrackSection (Html& page, const TrackSection& section, const PictureAxis& axis, bool withAudio);

} // namespace tessivar
