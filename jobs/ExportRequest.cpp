#include "jobs/ExportRequest.h"

#include <algorithm>
#include <iterator>

namespace tessivar
{

Outcome checkExportable (ExportScope scope,
                         const TessivarWorkspace& workspace,
                         const Group* group,
                         const Track* track)
{
    const auto groups = workspace.allGroups();

    if (groups.empty() || (scope != ExportScope::allGroups && group == nullptr))
        return Outcome::refused ("There are no groups to export.");

    switch (scope)
    {
        case ExportScope::track:
            if (track == nullptr)
                return Outcome::refused ("There are no tracks to export.");
            if (! group->isAnalysed())
                return Outcome::refused ("The selected group is not analyzed.");
            // A track that passes through unchanged needs no analysis.
            if (track->state().takesPart() && ! track->isProcessed())
                return Outcome::refused ("The selected track is not analyzed.");
            break;
        case ExportScope::group:
            if (! group->isAnalysed())
                return Outcome::refused ("The group is not analyzed.");
            break;
        case ExportScope::allGroups:
            if (std::any_of (groups.begin(),
                             groups.end(),
                             [] (const Group::Ptr& each) { return ! each->isAnalysed(); }))
                return Outcome::refused ("The group is not analyzed.");
            break;
    }

    return Outcome::ok();
}

std::vector<TrackState> tracksToExport (const std::vector<Group::Ptr>& groups)
{
    std::vector<TrackState> tracks;

    for (const auto& group : groups)
    {
        auto state = group->state();
        std::move (state.tracks.begin(), state.tracks.end(), std::back_inserter (tracks));
    }

    return tracks;
}

bool confirmOverwriting (std::span<const PlannedFile> files, UserPrompts& prompts)
{
    return std::none_of (files.begin(),
                         files.end(),
                         [] (const PlannedFile& planned) { return planned.file.existsAsFile(); })
           || prompts.ask ({ .title = "Warning",
                             .text = "Do you want to overwrite previously exported files?",
                             .acceptButton = "Overwrite",
                             .refuseButton = "Cancel",
                             .risk = UserPrompts::Risk::overwrites });
}

} // namespace tessivar
