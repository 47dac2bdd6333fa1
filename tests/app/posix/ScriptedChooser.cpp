#include "tests/app/ScriptedChooser.h"

#include "tests/support/Environment.h"

namespace tessivar::test
{

namespace
{
constexpr auto separator = juce::juce_wchar{ 0x1f };
}

ScriptedChooser::ScriptedChooser (const juce::File& folderForFiles)
    : folder (folderForFiles), oldPath (juce::SystemStats::getEnvironmentVariable ("PATH", {}))
{
    // The desktop's program, as the first one in the path.
    const auto script = folder.getChildFile ("zenity");
    script.replaceWithText ("#!/bin/sh\necho \"$@\" >> '" + folder.getFullPathName() + "/asked'\ncat '"
                                + folder.getFullPathName() + "/answer'\n",
                            false,
                            false,
                            "\n");
    script.setExecutePermission (true);
    setVariable ("PATH", (folder.getFullPathName() + ":" + oldPath).toRawUTF8());
}

ScriptedChooser::~ScriptedChooser()
{
    setVariable ("PATH", oldPath.toRawUTF8());
}

void ScriptedChooser::choose (const juce::StringArray& paths)
{
    folder.getChildFile ("answer").replaceWithText (
        paths.joinIntoString (juce::String::charToString (separator)) + "\n", false, false, "\n");
}

juce::StringArray ScriptedChooser::calls() const
{
    auto lines = juce::StringArray::fromLines (folder.getChildFile ("asked").loadFileAsString());
    lines.removeEmptyStrings();
    return lines;
}

} // namespace tessivar::test
