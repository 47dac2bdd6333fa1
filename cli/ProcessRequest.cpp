#include "cli/ProcessRequest.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "model/TemporaryStore.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <thread>

namespace tessivar
{

namespace
{
constexpr int maximumThreads = 256;

constexpr auto groupFileExtension = "dls";

/** The whole text as a number in a range. */
template <typename Number>
std::optional<Number> parseWholeNumber (const juce::String& text, Number lowest, Number highest)
{
    Number value{};
    const auto digits = text.toStdString();
    const auto* end = digits.data() + digits.size();
    const auto [parsedTo, error] = std::from_chars (digits.data(), end, value);
    if (error != std::errc() || parsedTo != end || value < lowest || value > highest)
        return {};
    return value;
}

template <typename Number>
juce::Result parseWholeNumber (
    const Invocation& invocation, const char* option, Number lowest, Number highest, Number& number)
{
    return parseValue (
        invocation,
        option,
        [&] (const juce::String& text) { return parseWholeNumber (text, lowest, highest); },
        "a whole number from " + juce::String (lowest) + " to " + juce::String (highest),
        number);
}

std::optional<juce::String> parseFormat (const juce::String& text)
{
    return text == "wav" || text == "aiff" ? std::optional ("." + text) : std::nullopt;
}

std::optional<ExportDepth> parseDepth (const juce::String& text)
{
    return text == "source"  ? std::optional (ExportDepth::source)
           : text == "float" ? std::optional (ExportDepth::float32)
                             : std::nullopt;
}

/** What all Groups of the command line share. */
juce::Result parseCommon (const Invocation& invocation, ProcessRequest& request)
{
    const auto command = invocation.command->name;
    request.kind = command == "export"    ? RunKind::exports
                   : command == "analyze" ? RunKind::analyse
                                          : RunKind::process;
    request.overwrite = invocation.has ("--overwrite");
    request.components = invocation.has ("--components");
    request.reportAudio = invocation.has ("--report-audio");
    request.dryRun = invocation.has ("--dry-run");
    request.json = invocation.has ("--json");
    request.quiet = invocation.has ("--quiet");
    request.temporaryFolder = TemporaryStore::defaultFolder();
    request.excluded = textsOf (invocation, "--exclude");
    request.onlyTracks = textsOf (invocation, "--track");

    for (const auto& outcome :
         { parseFile (invocation, "--out", request.outFolder),
           parseFile (invocation, "--save", request.saveFile),
           parseFile (invocation, "--report", request.reportFile),
           parseFile (invocation, "--temp", request.temporaryFolder),
           parseValue (
               invocation,
               "--method",
               [] (const juce::String& text) { return parseAnalysisMethod (text.toStdString()); },
               "standard or refined",
               request.method),
           parseValue (invocation, "--spectra", parseSpectraPlace, "auto, memory or disk", request.spectra),
           parseValue (invocation, "--setting", parseKnobSetting, "A or B", request.setting),
           parseKnobChoices ("--focus", invocation.all ("--focus"), focusMaximum, true, request.focus),
           parseKnobChoices ("--fine", invocation.all ("--fine"), fineMaximum, false, request.fine),
           parseTypeChoices (invocation.all ("--type"), request.types),
           parseValue (invocation, "--format", parseFormat, "wav or aiff", request.extension),
           parseValue (invocation, "--depth", parseDepth, "source or float", request.depth),
           parseWholeNumber (invocation,
                             "--seed",
                             std::uint64_t{ 0 },
                             std::numeric_limits<std::uint64_t>::max(),
                             request.seed),
           parseThreads (invocation, request.numThreads) })
        if (outcome.failed())
            return outcome;

    if (request.depth == ExportDepth::float32
        && exportFileTypeFor (request.extension) == ExportFileType::aiff)
        return juce::Result::fail ("--depth float: an AIFF file can't hold it; use --format wav");

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
        return juce::Result::fail ("export \"" + printable (textOf (rest.inputs.front()))
                                   + "\": a group file (.dls) is expected");

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

juce::Result parseThreads (const Invocation& invocation, int& numThreads)
{
    numThreads = std::clamp (static_cast<int> (std::thread::hardware_concurrency()), 1, maximumThreads);
    return parseWholeNumber (invocation, "--threads", 1, maximumThreads, numThreads);
}

juce::Result parseProcessRequests (const Invocation& invocation, std::vector<ProcessRequest>& requests)
{
    ProcessRequest common;
    std::vector<GroupInputs> groups;
    auto outcome = parseCommon (invocation, common);

    if (outcome.wasOk())
        outcome = splitIntoGroups (invocation, groups);

    if (outcome.failed())
        return outcome;

    if (common.reportAudio && ! common.reports())
        return juce::Result::fail ("--report-audio: needs --report");

    if (common.focus.asksForSuggestion() && common.method == AnalysisMethod::standard)
        return juce::Result::fail ("--focus suggested: only the refined method suggests a value");

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
            if (common.reports())
                request.reportFile = common.reportFile.getChildFile (name + ".html");
        }

        result.push_back (std::move (request));
    }

    requests = std::move (result);
    return juce::Result::ok();
}

} // namespace tessivar
