#include "tests/app/ScriptedChooser.h"

#include "app/FileChooser.h"

namespace tessivar
{

namespace
{
juce::StringArray answer, asked;
}

/** Linked in place of the one that opens the system's dialog, which nobody here can answer. */
std::optional<std::vector<juce::File>> chooseWithDesktop (const FileChooserRequest& request)
{
    const auto folder =
        juce::File::addTrailingSeparator (nearestFolder (request.startFolder).getFullPathName());
    const auto saves = request.kind == FileChooserRequest::Kind::saveFile;
    asked.add ("--title=" + request.title + " --filename=" + folder + (saves ? request.suggestedName : ""));
    std::vector<juce::File> chosen;

    for (const auto& path : answer)
        chosen.emplace_back (path);

    return chosen;
}

namespace test
{

ScriptedChooser::ScriptedChooser (const juce::File& folderForFiles) : folder (folderForFiles)
{
    answer.clear();
    asked.clear();
}

ScriptedChooser::~ScriptedChooser() = default;

void ScriptedChooser::choose (const juce::StringArray& paths)
{
    answer = paths;
}

juce::StringArray ScriptedChooser::calls() const
{
    return asked;
}

} // namespace test
} // namespace tessivar
