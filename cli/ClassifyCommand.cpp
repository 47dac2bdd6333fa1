#include "cli/ClassifyCommand.h"

#include "cli/CommandTable.h"
#include "cli/TerminalText.h"
#include "cli/TypeOrigin.h"

#include <ostream>

namespace tessivar
{

int runClassify (const std::vector<std::string>& names, const CommandContext& context)
{
    std::vector<std::vector<juce::String>> rows{ { "Name", "Type", "TYPE", "Why" } };
    for (const auto& name : names)
    {
        const auto path = juce::String::fromUTF8 (name.data(), static_cast<int> (name.size()));
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
