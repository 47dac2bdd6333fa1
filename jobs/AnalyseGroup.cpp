#include "jobs/AnalyseGroup.h"

#include "jobs/GroupTracks.h"

#include <utility>

namespace tessivar
{

GroupAnalysis analyseGroup (const GroupState& state,
                            AnalyseOptions options,
                            TemporaryStore& store,
                            const WorkControl& control)
{
    options.method = state.method;
    auto session = sessionTracksOf (state);
    GroupAnalysis result;
    result.outcome = analyseSession (session, options, store, control);

    if (result.outcome.status != AnalyseStatus::completed)
        return result;

    result.analysis = { state.method, options.seed, static_cast<int> (state.tracks.size()) };

    for (std::size_t i = 0; i < session.size(); ++i)
    {
        const auto& before = state.tracks[i];
        auto& after = session[i];
        Group::AnalysedTrack track;
        track.trackId = before.id;
        track.input = before.analysisInput();
        track.rendered = std::move (after.rendered);
        track.components = std::move (after.components);
        track.findings = after.analysis.findings;
        result.tracks.push_back (std::move (track));
    }

    return result;
}

void applyAnalysis (GroupState& state, const GroupAnalysis& result)
{
    jassert (result.tracks.size() == state.tracks.size());
    state.analysis = result.analysis;

    for (std::size_t i = 0; i < state.tracks.size(); ++i)
        result.tracks[i].applyTo (state.tracks[i]);
}

} // namespace tessivar
