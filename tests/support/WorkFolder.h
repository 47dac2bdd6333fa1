#pragma once

#include "tests/support/TemporaryFolder.h"

#include <juce_core/juce_core.h>

namespace tessivar::test
{

/** An empty folder that disappears with the object. */
struct WorkFolder
{
    TemporaryFolder owner;
    juce::File folder{ juce::String (owner.name()) };

    [[nodiscard]] juce::File file (const char* name) const
    {
        return folder.getChildFile (juce::String::fromUTF8 (name));
    }

    [[nodiscard]] int numEntries() const
    {
        return folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories);
    }
};

} // namespace tessivar::test
