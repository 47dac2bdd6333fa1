#pragma once

#include "jobs/AnalyseGroup.h"
#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

#include <functional>

namespace tessivar
{

/** More active tracks than this are worth a warning before an analysis. */
inline constexpr int largeGroupTracks = 16;

/** How a request for an analysis ended. Unless it is done, the Group is as it was. */
enum class AnalysisRequestEnd
{
    noGroup,
    returned, // the user went back at the quick tips
    refused,
    failed,
    stopped,
    done
};

/** Analyses a Group behind whatever shows its progress, and returns when that is over; on the message thread. */
using AnalysisRunner = std::function<GroupAnalysis (const Group::Ptr& group)>;

/** What follows on the user's wish to have a Group analysed, in this order: the quick tips, once per user; a warning when
    the Group is large, together with the warnings that wait in pending; one refusal at most; the analysis; a message when
    that failed. On the message thread.
*/
AnalysisRequestEnd requestAnalysis (const Group::Ptr& group,
                                    TessivarWorkspace& workspace,
                                    ImportWarnings& pending,
                                    UserPrompts& prompts,
                                    const AnalysisRunner& run);

/** Why a Group is not analysed, in the words for the user; empty when it can be. */
[[nodiscard]] juce::String analysisRefusal (const GroupContents& contents, bool changedSinceLastAnalysis);

} // namespace tessivar
