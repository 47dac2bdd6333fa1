#include "cli/Arguments.h"

#include "jobs/SortedInputs.h"
#include "platform/Process.h"

#include <algorithm>

namespace tessivar
{

juce::StringArray textsOf (const Invocation& invocation, const char* option)
{
    juce::StringArray texts;
    for (const auto& argument : invocation.all (option))
        texts.add (textOf (argument));
    return texts;
}

juce::Result fileFromArgument (const std::string& argument, juce::File& file)
{
    if (argument.empty())
        return juce::Result::fail ("an empty name is given");

    file = fileOfArgument (textOf (argument));
    return juce::Result::ok();
}

InputFiles collectInputFiles (const std::vector<std::string>& arguments)
{
    std::vector<juce::File> candidates;
    InputFiles result;

    for (const auto& argument : arguments)
    {
        juce::File file;
        auto outcome = fileFromArgument (argument, file);
        if (outcome.wasOk())
        {
            if (file.isDirectory())
            {
                std::vector<juce::File> listed;
                outcome = listAudioFolder (file, listed);
                candidates.insert (candidates.end(), listed.begin(), listed.end());

                if (outcome.failed())
                    outcome = juce::Result::fail (printable (outcome.getErrorMessage()));
            }
            else
                candidates.push_back (file);
        }
        if (outcome.failed())
            result.bad.push_back ({ textOf (argument), outcome.getErrorMessage() });
    }

    for (const auto& file : candidates)
        if (std::find (result.files.begin(), result.files.end(), file) == result.files.end())
            result.files.push_back (file);
    return result;
}

juce::Result parseFile (const Invocation& invocation, const char* option, juce::File& file)
{
    const auto* argument = invocation.one (option);

    if (argument == nullptr)
        return juce::Result::ok();

    const auto outcome = fileFromArgument (*argument, file);
    return outcome.wasOk() ? outcome : juce::Result::fail (option + (": " + outcome.getErrorMessage()));
}

std::optional<KnobSetting> parseKnobSetting (const juce::String& text)
{
    return text == "A"   ? std::optional (KnobSetting::a)
           : text == "B" ? std::optional (KnobSetting::b)
                         : std::nullopt;
}

} // namespace tessivar
