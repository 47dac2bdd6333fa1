#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/TerminalText.h"
#include "platform/AtomicFile.h"
#include "report/IndexPage.h"

#include <ostream>

namespace tessivar
{

int runIndex (const Invocation& invocation, const CommandContext& context)
{
    juce::File folder;
    if (const auto named = fileFromArgument (invocation.operands.front(), folder); named.failed())
        return context.failUsage (named.getErrorMessage(), invocation.command);

    const auto name = folder.getFullPathName();
    if (! folder.isDirectory())
        return context.fail (exitCode::inputRefused, name + ": there is no such folder");

    juce::MemoryOutputStream page;
    const auto sessions = batchSessionsIn (folder);
    writeIndexPage (page, folder.getFileName(), sessions);

    const juce::File target (name + "/index.html");
    const std::string_view content (static_cast<const char*> (page.getData()), page.getDataSize());
    if (const auto written = replaceFile (target, content); written.failed())
        return context.fail (exitCode::outputFailed, written.getErrorMessage());

    if (! invocation.has ("--quiet"))
        context.out << printable (target.getFullPathName()) << ": " << sessions.size()
                    << (sessions.size() == 1 ? " session\n" : " sessions\n");
    return exitCode::done;
}

} // namespace tessivar
