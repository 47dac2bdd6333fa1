#pragma once

#include "model/GroupState.h"
#include "terms/DrumType.h"

#include <juce_core/juce_core.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace tessivar
{

/** True when a name fits a pattern in which * stands for any characters and ? for one; upper and lower case
    alike.
*/
[[nodiscard]] bool matchesPattern (const juce::String& name, const juce::String& pattern);

/** True when a name fits at least one of the patterns. */
[[nodiscard]] bool matchesAny (const juce::String& name, const juce::StringArray& patterns);

/** The names of a Group's tracks. */
[[nodiscard]] juce::StringArray namesOf (const GroupState& group);

/** A number from 0 to maximum, or a percentage of it with a % behind. Decimal point; nothing but the number.
*/
[[nodiscard]] std::optional<float> parseKnobValue (const juce::String& text, float maximum);

/** What the command line says about tracks whose name fits a pattern. */
template <typename Value>
struct TrackChoice
{
    juce::String pattern;
    Value value{};
};

/** The choices for one quantity, in the order given. */
template <typename Value>
struct TrackChoices
{
    std::vector<TrackChoice<Value>> choices;

    /** The value of the last choice that fits; nothing when none does. */
    [[nodiscard]] std::optional<Value> valueFor (const juce::String& name) const
    {
        for (auto choice = choices.rbegin(); choice != choices.rend(); ++choice)
            if (matchesPattern (name, choice->pattern))
                return choice->value;
        return {};
    }

    [[nodiscard]] juce::StringArray patterns() const
    {
        juce::StringArray result;
        for (const auto& choice : choices)
            result.add (choice.pattern);
        return result;
    }
};

/** The knob value that leaves the choice to the analysis; outside every knob's range. */
inline constexpr float suggestedValue = -1.0f;

/** One knob: a value for all tracks, and values for some. */
struct KnobChoices
{
    std::optional<float> general; // nothing: not given
    TrackChoices<float> perTrack;

    [[nodiscard]] std::optional<float> valueFor (const juce::String& name) const
    {
        const auto own = perTrack.valueFor (name);
        return own.has_value() ? own : general;
    }

    [[nodiscard]] bool asksForSuggestion() const
    {
        return general == suggestedValue
               || std::any_of (perTrack.choices.begin(),
                               perTrack.choices.end(),
                               [] (const TrackChoice<float>& choice)
                               { return choice.value == suggestedValue; });
    }
};

/** Reads the values of --focus or --fine. Names may hold an equals sign: the last one parts NAME from VALUE.

    @param option   as the error names it
    @param words    whether the word "suggested" may stand for suggestedValue
    @param choices  stays untouched on failure
*/
[[nodiscard]] juce::Result parseKnobChoices (const juce::String& option,
                                             const std::vector<std::string>& values,
                                             float maximum,
                                             bool words,
                                             KnobChoices& choices);

/** Reads the values of --type. */
[[nodiscard]] juce::Result parseTypeChoices (const std::vector<std::string>& values,
                                             TrackChoices<DrumType>& choices);

/** Fails when a pattern fits none of the names; the reason lists them. */
[[nodiscard]] juce::Result
checkPatterns (const juce::String& option, const juce::StringArray& patterns, const juce::StringArray& names);

} // namespace tessivar
