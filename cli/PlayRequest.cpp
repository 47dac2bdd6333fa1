#include "cli/PlayRequest.h"

#include "cli/Arguments.h"

#include <utility>

namespace tessivar
{

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
    constexpr auto aTime = "a time in seconds, or minutes:seconds,";
    PlayRequest result;
    result.tracks = textsOf (invocation, "--track");
    const auto isBypassed = invocation.has ("--bypass"), isRemoved = invocation.has ("--removed");

    for (const auto& outcome :
         { fileFromArgument (invocation.operands.front(), result.groupFile),
           parseValue (invocation, "--from", parseTimeText, aTime, result.from),
           parseValue (invocation, "--to", parseTimeText, aTime, result.to),
           failIf (result.to && *result.to <= result.from, "--to: the end lies before the start"),
           failIf (invocation.has ("--all") && ! result.tracks.isEmpty(),
                   "--all and --track exclude each other"),
           parseValue (invocation, "--setting", parseKnobSetting, "A or B", result.setting),
           failIf (isBypassed && isRemoved, "--bypass and --removed exclude each other"),
           parseFile (invocation, "--out", result.outFile) })
        if (outcome.failed())
            return outcome;

    result.listening = isBypassed  ? Listening::bypassed
                       : isRemoved ? Listening::removed
                                   : Listening::processed;
    if (const auto* device = invocation.one ("--device"))
        result.device = textOf (*device);
    result.overwrite = invocation.has ("--overwrite");
    result.quiet = invocation.has ("--quiet");
    result.json = invocation.has ("--json");
    request = std::move (result);
    return juce::Result::ok();
}

} // namespace tessivar
