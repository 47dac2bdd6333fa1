#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "model/Outcomes.h"
#include "model/groupfile/GroupFileVerification.h"
#include "terms/Outcome.h"

#include <ostream>
#include <utility>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

struct Verified
{
    juce::String path;
    Outcome opened;
    GroupVerification result;

    [[nodiscard]] bool isIntact() const { return opened.isOk() && result.isIntact(); }
    [[nodiscard]] bool isInterrupted() const { return isIntact() && result.wasInterrupted; }
};

Verified verify (const std::string& argument, const CommandContext& context)
{
    Verified verified;
    juce::File file;
    verified.path = textOf (argument);
    verified.opened = outcomeOf (fileFromArgument (argument, file));

    if (! verified.opened.isOk())
        return verified;

    verified.path = file.getFullPathName();
    verified.opened =
        verifyGroupFile (file, verified.result, { .shouldStop = context.stopRequested, .setProgress = {} });
    return verified;
}

std::string format (const Verified& verified)
{
    auto text = printable (verified.path) + "\n";

    if (! verified.opened.isOk())
        text << "  Refused   " << printable (verified.opened.reason) << "\n";
    else if (verified.isIntact() && ! verified.isInterrupted())
        text << "  Intact\n";

    if (verified.result.wasInterrupted)
        text << "  Note      interrupted save" << (verified.isIntact() ? ", nothing lost" : "")
             << ": this is about the save before it\n";

    for (const auto& line : verified.result.damage)
        text << "  Damaged   " << printable (line) << "\n";
    for (const auto& name : verified.result.readable)
        text << "  Readable  " << printable (name) << "\n";
    for (const auto& line : verified.result.notes)
        text << "  Note      " << printable (line) << "\n";

    return text.toStdString();
}

Json toJson (const Verified& verified)
{
    return Json{
        { "file", jsonText (verified.path) },
        { "intact", verified.isIntact() },
        { "interruptedSave", verified.result.wasInterrupted },
        { "reason", verified.opened.isOk() ? Json() : Json (jsonText (verified.opened.reason)) },
        { "damage", jsonTexts (verified.result.damage) },
        { "readable", jsonTexts (verified.result.readable) },
        { "notes", jsonTexts (verified.result.notes) },
    };
}
} // namespace

int runVerify (const Invocation& invocation, const CommandContext& context)
{
    const auto& arguments = invocation.operands;
    const auto asJson = invocation.has ("--json");
    std::size_t numBad = 0, numInterrupted = 0;
    auto documents = Json::array();

    for (const auto& argument : arguments)
    {
        const auto verified = verify (argument, context);

        if (context.isStopRequested())
            return context.failInterrupted();

        numInterrupted += verified.isInterrupted() ? 1 : 0;

        if (! verified.isIntact())
        {
            ++numBad;
            context.tellError (! verified.opened.isOk() ? juce::String (verified.opened.reason)
                                                        : verified.path + ": the file is damaged");
        }

        if (asJson)
            documents.push_back (toJson (verified));
        else
            context.out << format (verified);
    }

    const auto code = numBad == 0 ? (numInterrupted == 0 ? exitCode::done : exitCode::interruptedSave)
                      : numBad == arguments.size() ? exitCode::inputRefused
                                                   : exitCode::someFailed;
    if (asJson)
    {
        auto json = jsonHeading ("verify", code);
        json["files"] = std::move (documents);
        printJson (context.out, json);
    }

    return code;
}

} // namespace tessivar
