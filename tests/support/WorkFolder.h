#pragma once

#include "tests/support/TemporaryFolder.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <vector>

namespace tessivar::test
{

/** An empty folder that disappears with the object. */
struct WorkFolder
{
    TemporaryFolder owner;
    juce::File folder{ juce::String (owner.name()) };

    [[nodiscard]] juce::File file (const juce::String& name) const { return folder.getChildFile (name); }
    [[nodiscard]] juce::File file (const char* name) const { return file (juce::String::fromUTF8 (name)); }

    /** A file there with these bytes. */
    juce::File write (const juce::String& name, const std::vector<std::uint8_t>& bytes) const
    {
        const auto target = file (name);
        target.create();

        if (! bytes.empty())
            target.replaceWithData (bytes.data(), bytes.size());

        return target;
    }

    [[nodiscard]] int numEntries() const
    {
        return folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories);
    }
};

} // namespace tessivar::test
