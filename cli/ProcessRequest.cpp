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
constexpr float maximumFocus = 5.0f;
constexpr float maximumFine = 1.0f;
constexpr int maximumThreads = 256;

/** The whole text as a number, without sign. */
std::optional<std::uint64_t> parseWholeNumber (const std::string& text)
{
    std::uint64_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [parsedTo, error] = std::from_chars (text.data(), end, value);
    if (error != std::errc() || parsedTo != end)
        return {};
    return value;
}

juce::Result badValue (const juce::String& option, const std::string& value, const juce::String& expected)
{
    return juce::Result::fail (option + " \"" + printable (juce::String::fromUTF8 (value.c_str()))
                               + "\": " + expected + " is expected");
}
} // namespace

juce::Result parseProcessRequest (const Invocation& invocation, ProcessRequest& request)
{
    ProcessRequest result;
    result.inputs = invocation.operands;
    result.overwrite = invocation.has ("--overwrite");
    result.components = invocation.has ("--components");
    result.dryRun = invocation.has ("--dry-run");
    result.json = invocation.has ("--json");
    result.quiet = invocation.has ("--quiet");
    result.temporaryFolder = TemporaryStore::defaultFolder();
    result.numThreads =
        std::clamp (static_cast<int> (std::thread::hardware_concurrency()), 1, maximumThreads);

    auto outcome = juce::Result::ok();

    if (const auto* folder = invocation.one ("--out"))
        outcome = fileFromArgument (*folder, result.outFolder);
    if (outcome.failed())
        return juce::Result::fail ("--out: " + outcome.getErrorMessage());

    if (const auto* folder = invocation.one ("--temp"))
        outcome = fileFromArgument (*folder, result.temporaryFolder);
    if (outcome.failed())
        return juce::Result::fail ("--temp: " + outcome.getErrorMessage());

    if (const auto* method = invocation.one ("--method"))
    {
        if (*method != "standard" && *method != "refined")
            return badValue ("--method", *method, "standard or refined");
        result.method = *method == "refined" ? AnalysisMethod::refined : AnalysisMethod::standard;
    }

    const bool canSuggest = result.method == AnalysisMethod::refined;
    if (canSuggest)
        result.focus.general = suggestedValue;

    outcome = parseKnobChoices ("--focus", invocation.all ("--focus"), maximumFocus, true, result.focus);
    if (outcome.failed())
        return outcome;

    if (! canSuggest && result.focus.asksForSuggestion())
        return juce::Result::fail (
            "--focus suggested: only the refined method suggests a value; add --method refined");

    outcome = parseKnobChoices ("--fine", invocation.all ("--fine"), maximumFine, false, result.fine);
    if (outcome.failed())
        return outcome;

    outcome = parseTypeChoices (invocation.all ("--type"), result.types);
    if (outcome.failed())
        return outcome;

    for (const auto& pattern : invocation.all ("--exclude"))
        result.excluded.add (juce::String::fromUTF8 (pattern.c_str()));

    if (const auto* format = invocation.one ("--format"))
    {
        if (*format != "wav" && *format != "aiff")
            return badValue ("--format", *format, "wav or aiff");
        result.extension = "." + juce::String (*format);
    }

    if (const auto* seed = invocation.one ("--seed"))
    {
        const auto value = parseWholeNumber (*seed);
        if (! value.has_value())
            return badValue ("--seed", *seed, "a whole number from 0 to 18446744073709551615");
        result.seed = *value;
    }

    if (const auto* threads = invocation.one ("--threads"))
    {
        const auto value = parseWholeNumber (*threads);
        if (! value.has_value() || *value < 1 || *value > maximumThreads)
            return badValue (
                "--threads", *threads, "a whole number from 1 to " + juce::String (maximumThreads));
        result.numThreads = static_cast<int> (*value);
    }

    request = std::move (result);
    return juce::Result::ok();
}

} // namespace tessivar
