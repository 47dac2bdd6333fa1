#include "jobs/AnalysisRequest.h"

namespace tessivar
{

namespace
{
constexpr auto quickTips = "To ensure the best possible analysis results:\n"
                           " 1) Please make sure to choose the correct drum type for each track.\n"
                           " 2) Please avoid including tracks consisting exclusively of leakage or silence.\n"
                           " 3) Keep in mind that different track combinations produce different results.\n"
                           "\n"
                           " Would you like to proceed with analysis, or change track settings?";

/** Shows the tips once; false when the user wants to go back. */
bool passQuickTips (juce::PropertySet& settings, UserPrompts& prompts)
{
    if (settings.getValue (settingsKeys::analysisTips).isNotEmpty())
        return true;

    const auto proceeds = prompts.ask ({ "Quick Tips", quickTips, "PROCEED", "RETURN" });
    settings.setValue (settingsKeys::analysisTips, settingsFalse);
    return proceeds;
}
} // namespace

Outcome requestAnalysis (const Group::Ptr& group,
                         TessivarWorkspace& workspace,
                         ImportWarnings& pending,
                         UserPrompts& prompts,
                         const AnalysisRunner& run,
                         QuickTips tips)
{
    if (group == nullptr)
        return Outcome::refused ("There is no Group to analyze.");

    if (tips == QuickTips::once && ! passQuickTips (workspace.settings(), prompts))
        return Outcome::stopped();

    const auto contents = group->contents();

    if (contents.numActiveTracks > largeGroupTracks)
        pending.add ({}, ImportWarnings::largeGroup);

    if (! pending.isEmpty())
    {
        const auto silenced = workspace.suppressedWarnings();
        showWarnings (pending, workspace, prompts);
        workspace.suppressWarnings (silenced);
    }

    if (const auto check = checkAnalysable (contents, group->changedSinceLastAnalysis()); ! check.isOk())
    {
        prompts.warn (check.reason);
        return check;
    }

    const auto result = run (group);

    if (result.outcome.isOk())
        group->applyAnalysis (result.analysis, result.tracks);
    else if (! result.outcome.wasStopped())
        prompts.warn (analysisFailedText, result.outcome.reason);

    return result.outcome;
}

Outcome checkAnalysable (const GroupContents& contents, bool changedSinceLastAnalysis)
{
    return changedSinceLastAnalysis
               ? checkContents (contents)
               : Outcome::refused ("Group has not changed since the last time you analyzed it.");
}

} // namespace tessivar
