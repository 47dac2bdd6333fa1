#pragma once

#include "cli/CommandLine.h"
#include "cli/TerminalText.h"
#include "model/TrackRecord.h"

#include <juce_core/juce_core.h>

#include <optional>
#include <string>
#include <vector>

namespace tessivar
{

[[nodiscard]] inline juce::String textOf (const std::string& argument)
{
    return juce::String::fromUTF8 (argument.c_str());
}

/** All values of an option. */
[[nodiscard]] juce::StringArray textsOf (const Invocation& invocation, const char* option);

/** An argument as a file: relative to the working directory, "~" taken literally; fails when it is empty. */
[[nodiscard]] juce::Result fileFromArgument (const std::string& argument, juce::File& file);

/** An argument that names no file. */
struct BadInput
{
    juce::String argument;
    juce::String reason; // one printable line that names it
};

struct InputFiles
{
    std::vector<juce::File> files;
    std::vector<BadInput> bad;
};

/** The audio files that arguments stand for: files as given, folders as the audio files in them, ordered as a
    file browser does, without hidden ones. A file named twice counts once.
*/
[[nodiscard]] InputFiles collectInputFiles (const std::vector<std::string>& arguments);

/** The folder or file that an option names; untouched when it is absent. */
[[nodiscard]] juce::Result parseFile (const Invocation& invocation, const char* option, juce::File& file);

[[nodiscard]] inline juce::Result failIf (bool isWrong, const char* reason)
{
    return isWrong ? juce::Result::fail (reason) : juce::Result::ok();
}

/** "A" or "B". */
[[nodiscard]] std::optional<KnobSetting> parseKnobSetting (const juce::String& text);

/** Reads the value of an option, which stays untouched when the option is absent.

    @param parse     takes a juce::String and returns an optional
    @param expected  completes the error: "... is expected"
*/
template <typename Parse, typename Value>
[[nodiscard]] juce::Result parseValue (const Invocation& invocation,
                                       const char* option,
                                       Parse&& parse,
                                       const juce::String& expected,
                                       Value& value)
{
    const auto* argument = invocation.one (option);

    if (argument == nullptr)
        return juce::Result::ok();

    const auto parsed = parse (textOf (*argument));

    if (! parsed)
        return juce::Result::fail (option + (" \"" + printable (textOf (*argument))) + "\": " + expected
                                   + " is expected");

    value = *parsed;
    return juce::Result::ok();
}

} // namespace tessivar
