#include "model/GroupState.h"

#include <algorithm>

namespace tessivar
{

juce::StringArray GroupState::namesSharingDrumWith (std::size_t track) const
{
    juce::StringArray names;

    for (std::size_t other = 0; other < tracks.size(); ++other)
        if (other != track && tracks[track].sharesDrumWith (tracks[other]))
            names.add (tracks[other].name);

    return names;
}

AnalysisMethod GroupState::workableMethod() const
{
    return GroupContents::of (*this).hasSeveralMicrophones() ? method : AnalysisMethod::standard;
}

bool GroupState::changedSinceAnalysis() const
{
    return ! analysis || analysis->method != workableMethod()
           || static_cast<std::size_t> (analysis->numTracks) != tracks.size()
           || std::ranges::any_of (
               tracks, [] (const TrackState& track) { return track.analysedAs != track.analysisInput(); });
}

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
