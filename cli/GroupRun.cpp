#include "cli/GroupRun.h"

#include "cli/GroupRunSteps.h"
#include "platform/DiskNames.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"

#include <algorithm>

namespace tessivar
{

GroupRun::GroupRun (const ProcessRequest& requestToUse,
                    const CommandContext& contextToUse,
                    OutputRules& rulesToUse)
    : request (requestToUse), context (contextToUse), rules (rulesToUse), rulesOfWriting (rulesToUse),
      progress (contextToUse.diagnostics, progressStyle(), secondsNow)
{
}

ProcessReport GroupRun::run()
{
    const auto start = secondsNow();
    const bool ready = (request.isFromGroupFile() ? loadGroup() : checkFiles()) && applyChoices()
                       && planOutput() && planSave() && planReport() && checkRoom();

    if (ready && request.dryRun)
        end (report.refused.empty() ? exitCode::done : exitCode::someFailed);
    else if (ready && readTracks() && analyse() && write())
    {
        save();
        writeReportPage();
    }

    progress.finish();
    report.totalSeconds = secondsNow() - start;
    collectWarnings();

    report.method = method();
    report.hints = hintsFor (report);
    return std::move (report);
}

ProgressDisplay::Style GroupRun::progressStyle() const
{
    if (request.quiet)
        return ProgressDisplay::Style::none;
    return context.diagnosticsAreTerminal ? ProgressDisplay::Style::bar : ProgressDisplay::Style::lines;
}

bool GroupRun::end (int exitCode)
{
    report.exitCode = exitCode;
    return false;
}

bool GroupRun::fail (int exitCode, const juce::String& reason)
{
    tell (reason);
    return end (exitCode);
}

void GroupRun::tell (const juce::String& error)
{
    progress.finish();
    report.errors.add (error);
    context.tellError (error);
}

void GroupRun::refuse (const juce::String& file, std::optional<int> code, const juce::String& reason)
{
    report.refused.push_back ({ file, code, reason });
    tell (reason);
}

WorkControl GroupRun::control()
{
    return { .shouldStop = context.stopRequested,
             .setProgress = [this] (double fraction) { progress.setProgress (fraction); } };
}

ExportOptions GroupRun::exportOptions() const
{
    return { .folder = request.outFolder,
             .extension = request.extension,
             .depth = request.depth,
             .overwrite = request.overwrite,
             .numThreads = request.numThreads };
}

AnalysisOptions GroupRun::analysisOptions() const
{
    return { .method = method(),
             .resourceFolder = bytesOfPath (context.resourceFolder),
             .numThreads = request.numThreads,
             .seed = request.seed,
             .keepAllComponents = request.components };
}

AnalysisMethod GroupRun::method() const
{
    if (! request.analyses() && group.analysis)
        return group.analysis->method;

    return request.method.value_or (group.workableMethod());
}

void GroupRun::addNotes (const juce::StringArray& notes)
{
    for (const auto& note : notes)
        report.notes.addIfNotAlreadyThere (note);
}

void GroupRun::collectWarnings()
{
    warnings.show (
        [this] (const ImportWarnings::Warning& warning)
        {
            auto collected = warning;
            collected.entries.removeEmptyStrings();
            report.warnings.push_back (collected);
            return false;
        });
    std::ranges::stable_sort (report.warnings, {}, &ImportWarnings::Warning::code);
}

ProcessReport runGroup (const ProcessRequest& request, const CommandContext& context, OutputRules& rules)
{
    return GroupRun (request, context, rules).run();
}

} // namespace tessivar
