#include "cli/Arguments.h"

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

    auto path = textOf (argument);
    if (! path.startsWithChar ('/'))
        path = juce::File::getCurrentWorkingDirectory().getFullPathName() + "/" + path;
    file = juce::File (path);
    return juce::Result::ok();
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
