#include "cli/ReportCommand.h"

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/JsonText.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "model/groupfile/GroupFileLoading.h"
#include "report/ReportJob.h"

#include <chrono>
#include <ostream>

namespace tessivar
{

namespace
{
double secondsNow()
{
    return std::chrono::duration<double> (std::chrono::steady_clock::now().time_since_epoch()).count();
}

int write (const juce::File& groupFile,
           ReportOptions& options,
           const CommandContext& context,
           bool showsProgress)
{
    LoadedGroup loaded;

    if (const auto opened = openGroupFile (groupFile, loaded); opened.failed())
        return context.fail (exitCode::inputRefused, opened.getErrorMessage());

    OutputRules rules;
    rules.protectGroupFile (groupFile);
    options.rules = &rules;

    auto content = contentOf (loaded.state, groupFile.getFullPathName());
    content.notes = loaded.notes;
    ProgressDisplay progress (context.diagnostics,
                              ! showsProgress                  ? ProgressDisplay::Style::none
                              : context.diagnosticsAreTerminal ? ProgressDisplay::Style::bar
                                                               : ProgressDisplay::Style::lines,
                              secondsNow);
    progress.beginStage ("Reporting");
    const auto outcome = writeReport (
        content, options, { .shouldStop = context.stopRequested, .setProgress = [&] (double fraction) {
                               progress.setProgress (fraction);
                           } });
    progress.finish();

    return outcome.isOk()         ? exitCode::done
           : outcome.wasStopped() ? context.failInterrupted()
                                  : context.fail (exitCode::outputFailed, outcome.reason);
}
} // namespace

ReportContent contentOf (const ProcessReport& report, const ProcessRequest& request)
{
    juce::StringArray inputs;

    for (const auto& input : request.inputs)
        inputs.add (textOf (input));

    auto content = contentOf (report.group,
                              request.isFromGroupFile() ? request.groupFile.getFullPathName()
                                                        : inputs.joinIntoString (", "));
    content.method = report.method;
    content.state = statusWord (report.exitCode);
    content.warnings = report.warnings;
    content.notes = report.notes;
    content.hints = report.hints;
    content.errors = report.errors;

    for (const auto& track : report.tracks)
        content.exports.push_back (track.isSourceItself ? std::nullopt : track.output);

    for (const auto& refused : report.refused)
        content.refused.push_back ({ refused.file, refused.reason });

    return content;
}

int runReport (const Invocation& invocation, const CommandContext& context)
{
    juce::File groupFile;
    ReportOptions options;
    options.overwrite = invocation.has ("--overwrite");
    options.withAudio = invocation.has ("--report-audio");

    for (const auto& parsed : { fileFromArgument (invocation.operands.front(), groupFile),
                                parseFile (invocation, "--out", options.file),
                                parseThreads (invocation, options.numThreads) })
        if (parsed.failed())
            return context.failUsage (parsed.getErrorMessage(), invocation.command);

    const auto start = secondsNow();
    const auto code = write (groupFile, options, context, ! invocation.has ("--quiet"));
    const auto isWritten = code == exitCode::done;

    if (invocation.has ("--json"))
    {
        auto json = jsonHeading ("report", code);
        json["group"] = jsonText (groupFile.getFullPathName());
        json["report"] = isWritten ? pathOrNull (options.file) : nlohmann::ordered_json();
        json["bytes"] =
            isWritten ? nlohmann::ordered_json (options.file.getSize()) : nlohmann::ordered_json();
        json["seconds"] = secondsNow() - start;
        printJson (context.out, json);
    }
    else if (isWritten && ! invocation.has ("--quiet"))
        context.out << printable (options.file.getFullPathName()) << ", "
                    << formatBytes (static_cast<std::uint64_t> (options.file.getSize())) << "\n";

    return code;
}

} // namespace tessivar
