#pragma once

#include <juce_core/juce_core.h>

namespace tessivar::test
{

/** A user at the desktop's file chooser, who answers as told. */
class ScriptedChooser
{
public:
    /** @param folderForFiles  of its own; exists */
    explicit ScriptedChooser (const juce::File& folderForFiles);
    ~ScriptedChooser();

    /** The answer to the next requests; none of a name: cancelled. */
    void choose (const juce::StringArray& paths);

    /** A line for each request, with "--title=..." and at its end "--filename=...", where it began. */
    [[nodiscard]] juce::StringArray calls() const;

    JUCE_DECLARE_NON_COPYABLE (ScriptedChooser)

private:
    const juce::File folder;
    const juce::String oldPath;
};

} // namespace tessivar::test
