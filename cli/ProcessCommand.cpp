#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/GroupRun.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFileLoading.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace tessivar
{

namespace
{
/** The name of a Group, for printing. */
juce::String titleOf (const ProcessRequest& request)
{
    if (request.isFromGroupFile())
        return printable (request.groupFile.getFullPathName());

    return printable (textOf (request.inputs.front()));
}

/** Protects every input of the command line from the outputs of all its Groups. */
OutputRules rulesFor (const std::vector<ProcessRequest>& requests)
{
    OutputRules rules;

    for (const auto& request : requests)
    {
        for (const auto& file : collectInputFiles (request.inputs).files)
            rules.protectSource (file);

        if (! request.isFromGroupFile())
            continue;

        rules.protectGroupFile (request.groupFile);
        LoadedGroup loaded;

        // Problems with it are told when its turn comes.
        if (requests.size() > 1 && openGroupFile (request.groupFile, loaded).wasOk())
            rules.protect (loaded.state);
    }

    return rules;
}

int combinedExitCode (const std::vector<ProcessReport>& reports)
{
    const auto first = reports.front().exitCode;

    if (reports.back().exitCode == exitCode::interrupted)
        return exitCode::interrupted;

    const auto alike = std::all_of (reports.begin(),
                                    reports.end(),
                                    [&] (const ProcessReport& report) { return report.exitCode == first; });
    return alike ? first : exitCode::someFailed;
}

std::string formatSummary (const std::vector<ProcessRequest>& requests,
                           const std::vector<ProcessReport>& reports)
{
    std::vector<std::vector<juce::String>> rows{ { "Group", "Result", "Time" } };

    for (std::size_t i = 0; i < reports.size(); ++i)
    {
        const auto& report = reports[i];
        const auto reason = report.errors.isEmpty() ? juce::String() : ": " + printable (report.errors[0]);
        rows.push_back ({ titleOf (requests[i]),
                          report.exitCode == exitCode::done ? "done" : statusWord (report.exitCode) + reason,
                          formatSeconds (report.totalSeconds) });
    }

    for (auto i = reports.size(); i < requests.size(); ++i)
        rows.push_back ({ titleOf (requests[i]), "not begun", "" });

    return formatTable (rows);
}

void print (const std::vector<ProcessRequest>& requests,
            const std::vector<ProcessReport>& reports,
            int code,
            const CommandContext& context)
{
    if (requests.front().json)
    {
        auto groups = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < reports.size(); ++i)
            groups.push_back (reportToJson (reports[i], requests[i]));

        if (requests.size() == 1)
            return printJson (context.out, groups.front());

        auto document = jsonHeading (groups.front()["command"].get<std::string>(), code);
        document["groups"] = std::move (groups);
        printJson (context.out, document);
    }
    else if (requests.size() > 1 && ! requests.front().quiet)
    {
        context.out << "\n" << formatSummary (requests, reports);
    }
}
} // namespace

int runProcess (const Invocation& invocation, const CommandContext& context)
{
    std::vector<ProcessRequest> requests;
    if (const auto parsed = parseProcessRequests (invocation, requests); parsed.failed())
        return context.failUsage (parsed.getErrorMessage(), invocation.command);

    std::vector<ProcessReport> reports;
    auto rules = rulesFor (requests);

    for (const auto& request : requests)
    {
        if (requests.size() > 1 && ! request.json && ! request.quiet)
            context.out << (reports.empty() ? "" : "\n") << titleOf (request) << "\n";

        reports.push_back (runGroup (request, context, rules));

        if (! request.json && (! request.quiet || request.dryRun))
            context.out << formatReport (reports.back(), request);

        context.out.flush();

        if (reports.back().exitCode == exitCode::interrupted)
            break;
    }

    auto code = combinedExitCode (reports);
    print (requests, reports, code, context);
    context.out.flush();

    if (! context.out.good())
    {
        context.tellError ("standard output can't be written");
        code = code == exitCode::done ? exitCode::outputFailed : code;
    }

    return code;
}

} // namespace tessivar
