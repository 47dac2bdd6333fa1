#pragma once

#include "model/GroupState.h"
#include "report/Html.h"
#include "report/ReportFacts.h"
#include "report/TrackMeasurement.h"
#include "terms/Outcome.h"

#include <cstdint>
#include <vector>

namespace tessivar
{

/** A stretch of a track that is worth listening to. */
struct Passage
{
    const char* title = "";
    std::int64_t start = 0, length = 0; // samples
};

inline constexpr double passageSeconds = 10.0;

/** Where most is heard of the track and where most is removed of it, in the order of time; one where these
    are about the same. */
[[nodiscard]] std::vector<Passage> passagesOf (const TrackMeasurement& measured, const PictureAxis& axis);

/** Players of the passages, each with the source and, of a processed track, what is kept and what is removed:
    16-bit FLAC within the page. */
[[nodiscard]] Outcome writePassages (Html& page,
                                     const TrackState& track,
                                     const TrackFacts& facts,
                                     const TrackExport* written,
                                     const TrackMeasurement& measured,
                                     const PictureAxis& axis);

} // namespace tessivar
