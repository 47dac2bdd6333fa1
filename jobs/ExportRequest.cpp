#include "jobs/ExportRequest.h"

#include "jobs/GroupTracks.h"

#include <algorithm>

namespace tessivar
{

juce::String
exportRefusal (ExportScope scope, const TessivarWorkspace& workspace, const Group* group, const Track* track)
{
    const auto groups = workspace.allGroups();

    if (groups.empty() || (scope != ExportScope::allGroups && group == nullptr))
        return "There are no groups to export.";

    switch (scope)
    {
        case ExportScope::track:
            if (track == nullptr)
                return "There are no tracks to export.";
            if (! group->isAnalysed())
                return "The selected group is not analyzed.";
            // What passes through unchanged needs no analysis of its own.
            if (track->state().takesPart() && ! track->isProcessed())
                return "The selected track is not analyzed.";
            break;
        case ExportScope::group:
            if (! group->isAnalysed())
                return "The group is not analyzed.";
            break;
        case ExportScope::allGroups:
            if (std::any_of (groups.begin(),
                             groups.end(),
                             [] (const Group::Ptr& each) { return ! each->isAnalysed(); }))
                return "The group is not analyzed.";
            break;
    }

    return {};
}

std::vector<SessionTrack> tracksToExport (const std::vector<Group::Ptr>& groups)
{
    std::vector<SessionTrack> tracks;

    for (const auto& group : groups)
        for (auto& track : sessionTracksOf (group->state()))
            tracks.push_back (std::move (track));

    return tracks;
}

bool confirmOverwriting (const std::vector<juce::File>& files, UserPrompts& prompts)
{
    return std::none_of (
               files.begin(), files.end(), [] (const juce::File& file) { return file.existsAsFile(); })
           || prompts.ask (
               { .title = "Warning",
                 .text = "Do you want to overwrite previously exported files?",
                 .acceptButton = "Overwrite",
                 .refuseButton = "Cancel",
                 .risk = UserPrompts::Risk::overwrites });
}

} // namespace tessivar
