#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "cli/TypeOrigin.h"
#include "report/ReportTexts.h"

#include <ostream>

namespace tessivar
{

int runClassify (const Invocation& invocation, const CommandContext& context)
{
    std::vector<std::vector<juce::String>> rows{ { "Name", "Type", "TYPE", "Why" } };
    for (const auto& name : invocation.operands)
    {
        const auto path = textOf (name);
        const auto classification = classifyTrackFile (path);
        rows.push_back ({ printable (path),
                          typeText (classification.drumType),
                          drumTypeKey (classification.drumType),
                          originText (originOf (classification), classification) });
    }
    context.out << formatTable (rows);
    return exitCode::done;
}

} // namespace tessivar
