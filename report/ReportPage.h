#pragma once

#include "report/ReportFacts.h"
#include "report/TrackMeasurement.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** Writes the report as one page that needs nothing beside itself: pictures and audio stand in it as data, it
    runs no script and asks no network, and says so to the browser.

    What programs want to know of it stands as JSON in the element script#tessivar-report; see factsToJson().
    Stops between two tracks.
*/
[[nodiscard]] Outcome writePage (juce::OutputStream& output,
                                 const ReportContent& content,
                                 const ReportFacts& facts,
                                 const std::vector<TrackMeasurement>& measurements,
                                 const PictureAxis& axis,
                                 bool withAudio,
                                 const WorkControl& control);

} // namespace tessivar
