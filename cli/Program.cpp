#include "cli/Program.h"

#include "cli/Arguments.h"
#include "cli/CommandLine.h"
#include "cli/CommandTexts.h"
#include "cli/Commands.h"
#include "cli/TerminalText.h"
#include "cli/TypeLists.h"
#include "model/Version.h"
#include "platform/DiskNames.h"
#include "platform/Process.h"

#include <algorithm>
#include <exception>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
using Command = int (*) (const Invocation&, const CommandContext&);

constexpr std::pair<std::string_view, Command> commands[]{
    { "process", runProcess }, { "analyze", runProcess },
    { "export", runProcess },  { "edit", runEdit },
    { "verify", runVerify },   { "play", runPlay },
    { "render", runRender },   { "report", runReport },
    { "devices", runDevices }, { "classify", runClassify },
    { "info", runInfo },       { "index", runIndex },
    { "demo", runDemo },       { "selftest", runSelfTestCommand },
};

int runCommand (const Invocation& invocation, const CommandContext& context)
{
    // Commands with this option guess types from names.
    if (findOption (*invocation.command, "--types") != nullptr)
        if (const auto loaded = loadTypeLists (invocation.one ("--types"), context); loaded.failed())
            return context.failUsage (loaded.getErrorMessage(), invocation.command);

    const auto command =
        std::find_if (std::begin (commands),
                      std::end (commands),
                      [&] (const auto& each) { return each.first == invocation.command->name; });
    jassert (command != std::end (commands));
    return command->second (invocation, context);
}

/** With the names that patterns among the operands stand for. */
Invocation withNamesOfPatterns (Invocation invocation)
{
    if (! invocation.command->takesSeveralOperands())
        return invocation;

    std::vector<std::string> operands;

    for (const auto& operand : invocation.operands)
        for (const auto& name : namesOfPattern (textOf (operand)))
            operands.push_back (name.toStdString());

    invocation.operands = std::move (operands);
    return invocation;
}

int runParsed (const CommandLineResult& parsed, const CommandContext& context)
{
    switch (parsed.kind)
    {
        case CommandLineResult::Kind::run:
            return runCommand (withNamesOfPatterns (parsed.invocation), context);
        case CommandLineResult::Kind::help:
            context.out << helpText (parsed.invocation.command);
            return exitCode::done;
        case CommandLineResult::Kind::version:
            context.out << programName << " " << programVersion() << " (" << programRevision() << ")\n";
            return exitCode::done;
        case CommandLineResult::Kind::error:
            break;
    }
    return context.failUsage (textOf (parsed.error), parsed.invocation.command);
}
} // namespace

void CommandContext::tellError (const juce::String& text) const
{
    diagnostics << programName << ": " << printable (text) << std::endl;
}

int CommandContext::fail (int code, const juce::String& error) const
{
    tellError (error);
    return code;
}

int CommandContext::failUsage (const juce::String& error, const CommandSpec* command) const
{
    tellError (error);
    diagnostics << "Try: " << programName << " " << (command != nullptr ? command->name : "")
                << (command != nullptr ? " " : "") << "--help" << std::endl;
    return exitCode::usage;
}

int runProgram (const std::vector<std::string>& arguments, const CommandContext& context)
{
    int code = exitCode::analysisFailed;
    try
    {
        // Arguments can be any bytes; as text, the name of a file finds back to it.
        std::vector<std::string> texts;
        for (const auto& argument : arguments)
            texts.push_back (pathOfBytes (argument).toStdString());

        code = runParsed (parseCommandLine (texts), context);
    }
    catch (const std::bad_alloc&)
    {
        context.tellError ("memory has run out");
    }
    catch (const std::exception& error)
    {
        code = exitCode::internalError;
        context.tellError ("error of the program itself: "
                           + juce::String (juce::CharPointer_UTF8 (error.what())));
    }

    context.out.flush();
    if (! context.out.good() && code == exitCode::done)
    {
        code = context.fail (exitCode::outputFailed, "standard output can't be written");
    }
    return code;
}

} // namespace tessivar
