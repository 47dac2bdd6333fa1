#include "cli/PlayRequest.h"

#include "cli/InputFiles.h"
#include "cli/TerminalText.h"

#include <utility>

namespace tessivar
{

namespace
{
juce::String textOf (const std::string& argument)
{
    return juce::String::fromUTF8 (argument.c_str());
}

juce::Result parseTime (const Invocation& invocation, const char* option, std::optional<double>& seconds)
{
    const auto* text = invocation.one (option);

    if (text == nullptr)
        return juce::Result::ok();

    seconds = parseTimeText (textOf (*text));
    return seconds ? juce::Result::ok()
                   : juce::Result::fail (option + (" \"" + printable (textOf (*text)))
                                         + "\": a time in seconds, or minutes:seconds, is expected");
}
} // namespace

std::optional<double> parseTimeText (const juce::String& text)
{
    const auto parts = juce::StringArray::fromTokens (text, ":", {});

    if (text.isEmpty() || parts.size() > 3 || ! text.containsOnly ("0123456789.:"))
        return {};

    double seconds = 0.0;

    for (int i = 0; i < parts.size(); ++i)
    {
        const auto& part = parts[i];
        const auto isLast = i == parts.size() - 1;
        const auto digits = part.removeCharacters (".");

        // Only seconds may have a fraction.
        if (digits.isEmpty() || part.length() - digits.length() > (isLast ? 1 : 0))
            return {};

        seconds = seconds * 60.0 + part.getDoubleValue();
    }

    return seconds;
}

juce::Result parsePlayRequest (const Invocation& invocation, PlayRequest& request)
{
    PlayRequest result;
    std::optional<double> from;

    for (const auto& outcome : { fileFromArgument (invocation.operands.front(), result.groupFile),
                                 parseTime (invocation, "--from", from),
                                 parseTime (invocation, "--to", result.to) })
        if (outcome.failed())
            return outcome;

    result.from = from.value_or (0.0);

    if (result.to && *result.to <= result.from)
        return juce::Result::fail ("--to: the end lies before the start");

    for (const auto& pattern : invocation.all ("--track"))
        result.tracks.add (textOf (pattern));

    if (invocation.has ("--all") && ! result.tracks.isEmpty())
        return juce::Result::fail ("--all and --track exclude each other");

    if (const auto* setting = invocation.one ("--setting"))
    {
        if (*setting != "A" && *setting != "B")
            return juce::Result::fail ("--setting \"" + printable (textOf (*setting))
                                       + "\": A or B is expected");

        result.setting = *setting == "A" ? KnobSetting::a : KnobSetting::b;
    }

    if (invocation.has ("--bypass") && invocation.has ("--removed"))
        return juce::Result::fail ("--bypass and --removed exclude each other");

    if (invocation.has ("--bypass"))
        result.listening = Listening::bypassed;
    else if (invocation.has ("--removed"))
        result.listening = Listening::removed;

    if (const auto* device = invocation.one ("--device"))
        result.device = textOf (*device);

    if (const auto* out = invocation.one ("--out"))
        if (const auto outcome = fileFromArgument (*out, result.outFile); outcome.failed())
            return juce::Result::fail ("--out: " + outcome.getErrorMessage());

    result.overwrite = invocation.has ("--overwrite");
    result.quiet = invocation.has ("--quiet");
    result.json = invocation.has ("--json");
    request = std::move (result);
    return juce::Result::ok();
}

} // namespace tessivar
