#pragma once

#include "jobs/AnalyseGroup.h"
#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

#include <functional>

namespace tessivar
{

/** Above this many active tracks the user is warned before an analysis. */
inline constexpr int largeGroupTracks = 16;

/** Analyses a Group, shows its progress, and returns when it is over; on the message thread. */
using AnalysisRunner = std::function<GroupAnalysis (const Group::Ptr& group)>;

/** Whether an analysis is preceded by the tips, which every user sees once. */
enum class QuickTips
{
    once,
    never // for tracks that are no user's: the tips then wait for those that are
};

/** What happens when the user asks for an analysis, in this order: the quick tips, once per user; a warning
    when the Group is large, together with those in pending; at most one refusal; the analysis; a message when
    it failed. Stopped when the user goes back at the tips or stops the analysis; refused without a Group.
    Unless it is ok, the Group is as it was. On the message thread.
*/
Outcome requestAnalysis (const Group::Ptr& group,
                         TessivarWorkspace& workspace,
                         ImportWarnings& pending,
                         UserPrompts& prompts,
                         const AnalysisRunner& run,
                         QuickTips tips = QuickTips::once);

/** Refused, with the text for the user, when a Group need not or can't be analyzed. */
[[nodiscard]] Outcome checkAnalysable (const GroupContents& contents, bool changedSinceLastAnalysis);

} // namespace tessivar
