#include "cli/Program.h"

#include "cli/ClassifyCommand.h"
#include "cli/CommandLine.h"
#include "cli/CommandTexts.h"
#include "cli/DemoCommand.h"
#include "cli/EditCommand.h"
#include "cli/InfoCommand.h"
#include "cli/PlayCommand.h"
#include "cli/ProcessCommand.h"
#include "cli/SelfTestCommand.h"
#include "cli/TerminalText.h"
#include "cli/TypeLists.h"
#include "cli/VerifyCommand.h"
#include "model/Version.h"
#include "platform/DiskNames.h"

#include <exception>
#include <new>
#include <ostream>

namespace tessivar
{

namespace
{
int usageError (const juce::String& error, const CommandSpec* command, const CommandContext& context)
{
    context.tellError (error);
    context.diagnostics << "Try: " << programName << " " << (command != nullptr ? command->name : "")
                        << (command != nullptr ? " " : "") << "--help" << std::endl;
    return exitCode::usage;
}

int runCommand (const Invocation& invocation, const CommandContext& context)
{
    const auto name = invocation.command->name;
    const auto& operands = invocation.operands;

    // Commands with this option guess types from names.
    if (findOption (*invocation.command, "--types") != nullptr)
        if (const auto loaded = loadTypeLists (invocation.one ("--types"), context); loaded.failed())
            return usageError (loaded.getErrorMessage(), invocation.command, context);

    if (name == "process" || name == "analyze" || name == "export")
    {
        std::vector<ProcessRequest> requests;
        const auto outcome = parseProcessRequests (invocation, requests);
        if (outcome.failed())
            return usageError (outcome.getErrorMessage(), invocation.command, context);
        return runProcess (requests, context);
    }
    if (name == "edit")
    {
        EditRequest request;
        const auto outcome = parseEditRequest (invocation, request);
        if (outcome.failed())
            return usageError (outcome.getErrorMessage(), invocation.command, context);
        return runEdit (request, context);
    }
    if (name == "play" || name == "render")
    {
        PlayRequest request;
        const auto outcome = parsePlayRequest (invocation, request);
        if (outcome.failed())
            return usageError (outcome.getErrorMessage(), invocation.command, context);
        return name == "play" ? runPlay (request, context) : runRender (request, context);
    }
    if (name == "devices")
        return runDevices (context);
    if (name == "verify")
        return runVerify (operands, invocation.has ("--json"), context);
    if (name == "classify")
        return runClassify (operands, context);
    if (name == "info")
        return runInfo (operands, invocation.has ("--json"), context);
    if (name == "demo")
        return runDemo (operands.front(), invocation.has ("--overwrite"), context);

    jassert (name == "selftest");
    return runSelfTestCommand (context);
}

int runParsed (const CommandLineResult& parsed, const CommandContext& context)
{
    switch (parsed.kind)
    {
        case CommandLineResult::Kind::run:
            return runCommand (parsed.invocation, context);
        case CommandLineResult::Kind::help:
            context.out << helpText (parsed.invocation.command);
            return exitCode::done;
        case CommandLineResult::Kind::version:
            context.out << programName << " " << programVersion() << " (" << programRevision() << ")\n";
            return exitCode::done;
        case CommandLineResult::Kind::error:
            break;
    }
    return usageError (juce::String::fromUTF8 (parsed.error.c_str()), parsed.invocation.command, context);
}
} // namespace

void CommandContext::tellError (const juce::String& text) const
{
    diagnostics << programName << ": " << printable (text) << std::endl;
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
        context.tellError ("standard output can't be written");
        code = exitCode::outputFailed;
    }
    return code;
}

} // namespace tessivar
