#include "cli/TrackChoices.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "platform/DiskNames.h"

#include <charconv>
#include <cmath>

namespace tessivar
{

namespace
{
/** NAME and VALUE; nothing without an equals sign or a NAME. */
std::optional<std::pair<juce::String, juce::String>> splitAtEquals (const juce::String& text)
{
    const auto position = text.lastIndexOfChar ('=');
    if (position <= 0)
        return {};
    return std::pair{ text.substring (0, position), text.substring (position + 1) };
}

juce::String quoted (const juce::String& text)
{
    return "\"" + printable (text) + "\"";
}
} // namespace

bool matchesPattern (const juce::String& name, const juce::String& pattern)
{
    const auto lowerName = readablePath (name).toLowerCase();
    const auto lowerPattern = readablePath (pattern).toLowerCase();
    auto text = lowerName.getCharPointer();
    auto glob = lowerPattern.getCharPointer();

    // Where to resume after a mismatch: behind the last star, one letter further in the name.
    std::optional<juce::String::CharPointerType> afterStar;
    auto retry = text;

    while (! text.isEmpty())
    {
        if (*glob == '*')
        {
            ++glob;
            afterStar = glob;
            retry = text;
        }
        else if (! glob.isEmpty() && (*glob == '?' || *glob == *text))
        {
            ++glob;
            ++text;
        }
        else if (afterStar.has_value())
        {
            ++retry;
            text = retry;
            glob = *afterStar;
        }
        else
        {
            return false;
        }
    }

    while (*glob == '*')
        ++glob;
    return glob.isEmpty();
}

bool matchesAny (const juce::String& name, const juce::StringArray& patterns)
{
    return std::any_of (patterns.begin(),
                        patterns.end(),
                        [&] (const juce::String& pattern) { return matchesPattern (name, pattern); });
}

juce::StringArray namesOf (const GroupState& group)
{
    juce::StringArray names;
    for (const auto& track : group.tracks)
        names.add (track.name);
    return names;
}

std::optional<float> parseKnobValue (const juce::String& text, float maximum)
{
    auto number = text.toStdString();
    const bool isPercentage = number.ends_with ('%');
    if (isPercentage)
        number.pop_back();

    // Unlike strtof, independent of the locale: "2,5" is not 2.
    float value = 0.0f;
    const auto* end = number.data() + number.size();
    const auto [parsedTo, error] = std::from_chars (number.data(), end, value);
    if (error != std::errc() || parsedTo != end || ! std::isfinite (value))
        return {};

    if (isPercentage)
        value *= maximum / 100.0f;
    if (value < 0.0f || value > maximum)
        return {};
    return value;
}

juce::Result parseKnobChoices (const juce::String& option,
                               const std::vector<std::string>& values,
                               float maximum,
                               bool words,
                               KnobChoices& choices)
{
    auto result = choices;
    for (const auto& each : values)
    {
        const auto text = textOf (each);
        const auto split = splitAtEquals (text);
        const auto word = split ? split->second : text;
        const auto value =
            words && word == "suggested" ? std::optional (suggestedValue) : parseKnobValue (word, maximum);

        if (! value.has_value())
            return juce::Result::fail (option + " " + quoted (text) + ": the value is not a number from 0 to "
                                       + juce::String (maximum) + " or a percentage from 0% to 100%"
                                       + (words ? ", nor the word suggested" : ""));
        if (split)
            result.perTrack.choices.push_back ({ split->first, *value });
        else
            result.general = *value;
    }
    choices = std::move (result);
    return juce::Result::ok();
}

juce::Result parseTypeChoices (const std::vector<std::string>& values, TrackChoices<DrumType>& choices)
{
    auto result = choices;
    for (const auto& each : values)
    {
        const auto text = textOf (each);
        const auto split = splitAtEquals (text);
        if (! split)
            return juce::Result::fail ("--type " + quoted (text) + ": NAME=TYPE is expected");

        const auto type = parseDrumType (split->second.toRawUTF8());
        if (! type.has_value())
            return juce::Result::fail (
                "--type " + quoted (text) + ": " + quoted (split->second)
                + " is no type; it is one of kick, snare, hiHat, tomHigh, tomLow, tomFloor, oh and other");
        result.choices.push_back ({ split->first, *type });
    }
    choices = std::move (result);
    return juce::Result::ok();
}

juce::Result
checkPatterns (const juce::String& option, const juce::StringArray& patterns, const juce::StringArray& names)
{
    for (const auto& pattern : patterns)
    {
        if (std::any_of (names.begin(),
                         names.end(),
                         [&] (const juce::String& name) { return matchesPattern (name, pattern); }))
            continue;

        juce::StringArray list;
        for (const auto& name : names)
            list.addIfNotAlreadyThere (quoted (name));
        return juce::Result::fail (option + " " + quoted (pattern)
                                   + ": no track has this name; the tracks are "
                                   + list.joinIntoString (", "));
    }
    return juce::Result::ok();
}

} // namespace tessivar
