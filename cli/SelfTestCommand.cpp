#include "cli/SelfTestCommand.h"

#include "cli/CommandTable.h"
#include "cli/TerminalText.h"
#include "jobs/SelfTest.h"
#include "model/Version.h"

#include <algorithm>
#include <ostream>

namespace tessivar
{

int runSelfTestCommand (const CommandContext& context)
{
    context.out << programName << " " << programVersion() << " (" << programRevision() << "), "
                << juce::SystemStats::getJUCEVersion() << "\n";

    const auto lines = runSelfTest (context.resourceFolder);
    std::vector<std::vector<juce::String>> rows{ { "Check", "Result", "Detail" } };
    for (const auto& line : lines)
        rows.push_back ({ printable (juce::String::fromUTF8 (line.name.c_str())),
                          line.ok ? "ok" : "FAILED",
                          printable (juce::String::fromUTF8 (line.detail.c_str())) });
    context.out << formatTable (rows);

    if (std::all_of (lines.begin(), lines.end(), [] (const SelfTestLine& line) { return line.ok; }))
        return exitCode::done;
    context.tellError ("this installation is not fit for work; see the checks that failed");
    return exitCode::analysisFailed;
}

} // namespace tessivar
