#include "cli/ProcessRequest.h"

#include "cli/InputFiles.h"
#include "cli/TerminalText.h"
#include "model/TemporaryStore.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <thread>

namespace tessivar
{

namespace
{
constexpr int maximumThreads = 256;

/** The whole text as an unsigned number. */
std::optional<std::uint64_t> parseWholeNumber (const std::string& text)
{
    std::uint64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [parsedTo, error] = std::from_chars (text.data(), end, value);
    if (error != std::errc() || parsedTo != end)
        return {};
    return value;
}

constexpr auto groupFileExtension = "dls";

juce::Result badValue (const juce::String& option, const std::string& value, const juce::String& expected)
{
    return juce::Result::fail (option + " \"" + printable (juce::String::fromUTF8 (value.c_str()))
                               + "\": " + expected + " is expected");
}
RunKind kindOf (const Invocation& invocation)
{
    const auto name = invocation.command->name;
    return name == "export" ? RunKind::exports : name == "analyze" ? RunKind::analyse : RunKind::process;
}

/** The folder or file that an option names; none when it is absent. */
juce::Result parseFile (const Invocation& invocation, const char* option, juce::File& file)
{
    const auto* value = invocation.one (option);

    if (value == nullptr)
        return juce::Result::ok();

    const auto outcome = fileFromArgument (*value, file);
    return outcome.wasOk() ? outcome : juce::Result::fail (option + (": " + outcome.getErrorMessage()));
}

juce::Result parseMethod (const Invocation& invocation, ProcessRequest& request)
{
    if (const auto* method = invocation.one ("--method"))
    {
        request.method = parseAnalysisMethod (*method);

        if (! request.method)
            return badValue ("--method", *method, "standard or refined");
    }

    if (const auto* setting = invocation.one ("--setting"))
    {
        if (*setting != "A" && *setting != "B")
            return badValue ("--setting", *setting, "A or B");

        request.setting = *setting == "A" ? KnobSetting::a : KnobSetting::b;
    }

    return juce::Result::ok();
}

juce::Result parseKnobs (const Invocation& invocation, ProcessRequest& request)
{
    auto outcome =
        parseKnobChoices ("--focus", invocation.all ("--focus"), focusMaximum, true, request.focus);

    if (outcome.wasOk())
        outcome = parseKnobChoices ("--fine", invocation.all ("--fine"), fineMaximum, false, request.fine);

    return outcome;
}

juce::Result parseNumbers (const Invocation& invocation, ProcessRequest& request)
{
    if (const auto* format = invocation.one ("--format"))
    {
        if (*format != "wav" && *format != "aiff")
            return badValue ("--format", *format, "wav or aiff");

        request.extension = "." + juce::String (*format);
    }

    if (const auto* seed = invocation.one ("--seed"))
    {
        const auto value = parseWholeNumber (*seed);

        if (! value.has_value())
            return badValue ("--seed", *seed, "a whole number from 0 to 18446744073709551615");

        request.seed = *value;
    }

    if (const auto* threads = invocation.one ("--threads"))
    {
        const auto value = parseWholeNumber (*threads);

        if (! value.has_value() || *value < 1 || *value > maximumThreads)
            return badValue (
                "--threads", *threads, "a whole number from 1 to " + juce::String (maximumThreads));

        request.numThreads = static_cast<int> (*value);
    }

    return juce::Result::ok();
}

void parsePatterns (const Invocation& invocation, const char* option, juce::StringArray& patterns)
{
    for (const auto& pattern : invocation.all (option))
        patterns.add (juce::String::fromUTF8 (pattern.c_str()));
}

/** What all Groups of the command line share. */
juce::Result parseCommon (const Invocation& invocation, ProcessRequest& request)
{
    request.kind = kindOf (invocation);
    request.overwrite = invocation.has ("--overwrite");
    request.components = invocation.has ("--components");
    request.dryRun = invocation.has ("--dry-run");
    request.json = invocation.has ("--json");
    request.quiet = invocation.has ("--quiet");
    request.temporaryFolder = TemporaryStore::defaultFolder();
    request.numThreads =
        std::clamp (static_cast<int> (std::thread::hardware_concurrency()), 1, maximumThreads);
    parsePatterns (invocation, "--exclude", request.excluded);
    parsePatterns (invocation, "--track", request.onlyTracks);

    for (const auto& outcome : { parseFile (invocation, "--out", request.outFolder),
                                 parseFile (invocation, "--save", request.saveFile),
                                 parseFile (invocation, "--temp", request.temporaryFolder),
                                 parseMethod (invocation, request),
                                 parseKnobs (invocation, request),
                                 parseTypeChoices (invocation.all ("--type"), request.types),
                                 parseNumbers (invocation, request) })
        if (outcome.failed())
            return outcome;

    return juce::Result::ok();
}

/** A Group of the command line: its inputs, and the name for its files. */
struct GroupInputs
{
    std::vector<std::string> inputs;
    juce::File groupFile;
    juce::String name;
};

juce::Result splitIntoGroups (const Invocation& invocation, std::vector<GroupInputs>& groups)
{
    std::vector<GroupInputs> ownGroups;
    GroupInputs rest;

    for (const auto& operand : invocation.operands)
    {
        juce::File file;
        const auto isFile = fileFromArgument (operand, file).wasOk();

        if (isFile && file.hasFileExtension (groupFileExtension))
            ownGroups.push_back ({ {}, file, file.getFileNameWithoutExtension() });
        else if (isFile && invocation.has ("--each") && file.isDirectory())
            ownGroups.push_back ({ { operand }, {}, file.getFileName() });
        else
            rest.inputs.push_back (operand);
    }

    if (! rest.inputs.empty() && invocation.command->name == "export")
        return badValue ("export", rest.inputs.front(), "a group file (.dls)");

    if (! rest.inputs.empty())
    {
        juce::File first;
        const auto isFile = fileFromArgument (rest.inputs.front(), first).wasOk();
        rest.name = ! isFile              ? juce::String ("Group")
                    : first.isDirectory() ? first.getFileName()
                                          : first.getParentDirectory().getFileName();
        groups.push_back (rest);
    }

    groups.insert (groups.end(), ownGroups.begin(), ownGroups.end());
    return juce::Result::ok();
}

/** A name no earlier Group has; to many file systems "take" and "Take" are the same. */
juce::String claimName (const juce::String& wanted, juce::StringArray& taken)
{
    auto name = wanted;

    for (int number = 2; taken.contains (name, true); ++number)
        name = wanted + "_" + juce::String (number);

    taken.add (name);
    return name;
}
} // namespace

juce::Result parseProcessRequests (const Invocation& invocation, std::vector<ProcessRequest>& requests)
{
    ProcessRequest common;
    std::vector<GroupInputs> groups;
    auto outcome = parseCommon (invocation, common);

    if (outcome.wasOk())
        outcome = splitIntoGroups (invocation, groups);

    if (outcome.failed())
        return outcome;

    const auto mayBeRefined =
        std::any_of (groups.begin(),
                     groups.end(),
                     [&] (const GroupInputs& group) { return group.groupFile != juce::File(); })
        && ! common.method;

    if (common.focus.asksForSuggestion() && common.method != AnalysisMethod::refined && ! mayBeRefined)
        return juce::Result::fail (
            "--focus suggested: only the refined method suggests a value; add --method refined");

    std::vector<ProcessRequest> result;
    juce::StringArray names;

    for (const auto& group : groups)
    {
        auto request = common;
        request.inputs = group.inputs;
        request.groupFile = group.groupFile;

        if (groups.size() > 1)
        {
            const auto name = claimName (group.name, names);

            if (common.outFolder != juce::File())
                request.outFolder = common.outFolder.getChildFile (name);
            if (common.saves())
                request.saveFile = common.saveFile.getChildFile (name + "." + groupFileExtension);
        }

        result.push_back (std::move (request));
    }

    requests = std::move (result);
    return juce::Result::ok();
}

} // namespace tessivar
