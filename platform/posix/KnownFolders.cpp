#include "platform/KnownFolders.h"

#include "platform/Process.h"

namespace tessivar
{

KnownFolders KnownFolders::ofUser()
{
    auto folders = from (environmentVariable, juce::File::getSpecialLocation (juce::File::userHomeDirectory));
    folders.documents = juce::File::getSpecialLocation (juce::File::userDocumentsDirectory);
    return folders;
}

KnownFolders KnownFolders::from (const Environment& environment, const juce::File& home)
{
    // freedesktop.org's base directories
    const auto base = [&] (const char* variable, const juce::File& fallback)
    {
        const auto value = environment (variable);
        return value.startsWithChar ('/') ? juce::File (value) : fallback;
    };

    return { base ("XDG_CONFIG_HOME", home.getChildFile (".config")),
             base ("XDG_STATE_HOME", home.getChildFile (".local/state")),
             base ("XDG_CACHE_HOME", home.getChildFile (".cache")),
             base ("XDG_RUNTIME_DIR", {}),
             home.getChildFile ("Documents") };
}

} // namespace tessivar
