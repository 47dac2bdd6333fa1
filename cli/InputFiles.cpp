#include "cli/InputFiles.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "jobs/SortedInputs.h"

#include <algorithm>

namespace tessivar
{

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

} // namespace tessivar
