#pragma once

#include <juce_core/juce_core.h>

#include <functional>

namespace tessivar
{

/** Where the system wants a user's files, for all programs; each makes a folder of its own in them. */
struct KnownFolders
{
    juce::File configuration;
    juce::File state; // what is kept from run to run and is no setting
    juce::File cache;
    juce::File
        runtime; // for sockets; gone when the user logs out. Nothing where the system has no such folder
    juce::File documents;

    [[nodiscard]] static KnownFolders ofUser();

    /** The value of an environment variable; empty when it is not set. */
    using Environment = std::function<juce::String (const char* variable)>;

    /** Those of a user with that home folder. Variables of the desktop that hold no absolute path count as
        not set.
    */
    [[nodiscard]] static KnownFolders from (const Environment& environment, const juce::File& home);
};

} // namespace tessivar
