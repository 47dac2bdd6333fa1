#include "cli/InputFiles.h"

#include "cli/TerminalText.h"
#include "jobs/SortedInputs.h"

#include <algorithm>

namespace tessivar
{

juce::Result fileFromArgument (const std::string& argument, juce::File& file)
{
    if (argument.empty())
        return juce::Result::fail ("an empty name is given");

    auto path = juce::String::fromUTF8 (argument.c_str());
    if (! path.startsWithChar ('/'))
        path = juce::File::getCurrentWorkingDirectory().getFullPathName() + "/" + path;
    file = juce::File (path);
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
            result.bad.push_back ({ juce::String::fromUTF8 (argument.c_str()), outcome.getErrorMessage() });
    }

    for (const auto& file : candidates)
        if (std::find (result.files.begin(), result.files.end(), file) == result.files.end())
            result.files.push_back (file);
    return result;
}

} // namespace tessivar
