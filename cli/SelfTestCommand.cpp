#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "jobs/SelfTest.h"
#include "model/Version.h"

#include <algorithm>
#include <ostream>

namespace tessivar
{

int runSelfTestCommand (const Invocation&, const CommandContext& context)
{
    context.out << programName << " " << programVersion() << " (" << programRevision() << "), "
                << juce::SystemStats::getJUCEVersion() << "\n";

    const auto lines = runSelfTest (context.resourceFolder);
    std::vector<std::vector<juce::String>> rows{ { "Check", "Result", "Detail" } };
    for (const auto& line : lines)
        rows.push_back (
            { printable (textOf (line.name)), line.ok ? "ok" : "FAILED", printable (textOf (line.detail)) });
    context.out << formatTable (rows);

    if (std::all_of (lines.begin(), lines.end(), [] (const SelfTestLine& line) { return line.ok; }))
        return exitCode::done;
    return context.fail (exitCode::analysisFailed,
                         "this installation is not fit for work; see the checks that failed");
}

} // namespace tessivar
