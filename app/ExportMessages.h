#pragma once

#include "model/Group.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

/** The three export commands on their way to the main component, which performs them when whatever asked for
    them has returned. Group and track are those that were selected then.
*/
struct TessivarExportTrackMessage : juce::Message
{
    TessivarExportTrackMessage (Group::Ptr groupOfTrack, Track::Ptr trackToExport)
        : group (std::move (groupOfTrack)), track (std::move (trackToExport))
    {
    }

    const Group::Ptr group;
    const Track::Ptr track;
};

struct TessivarExportGroupMessage : juce::Message
{
    explicit TessivarExportGroupMessage (Group::Ptr groupToExport) : group (std::move (groupToExport)) {}

    const Group::Ptr group;
};

struct TessivarExportAllGroupsMessage : juce::Message
{
};

} // namespace tessivar
