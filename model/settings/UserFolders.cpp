#include "model/settings/UserFolders.h"

#include "model/DiskNames.h"

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
/** Whether files can be made in the folder, or the folder itself where it is missing. */
bool isUsable (const juce::File& folder)
{
    auto existing = folder;

    while (! existing.exists() && existing != existing.getParentDirectory())
        existing = existing.getParentDirectory();

    return existing.isDirectory()
           && ::faccessat (AT_FDCWD, bytesOfPath (existing).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}
} // namespace

UserFolders UserFolders::ofUser()
{
    const auto environment = [] (const char* variable)
    {
        const auto* value = std::getenv (variable);
        return value != nullptr ? pathOfBytes (value) : juce::String();
    };

    auto folders = from (environment, juce::File::getSpecialLocation (juce::File::userHomeDirectory));
    folders.documents = juce::File::getSpecialLocation (juce::File::userDocumentsDirectory);
    return folders;
}

UserFolders UserFolders::from (const Environment& environment, const juce::File& home)
{
    const auto base = [&] (const char* variable, const juce::File& fallback)
    {
        const auto value = environment (variable);
        return value.startsWithChar ('/') ? juce::File (value) : fallback;
    };

    UserFolders folders;
    folders.settings = base ("XDG_CONFIG_HOME", home.getChildFile (".config")).getChildFile ("Tessivar");
    folders.state = base ("XDG_STATE_HOME", home.getChildFile (".local/state")).getChildFile ("tessivar");
    folders.cache = base ("XDG_CACHE_HOME", home.getChildFile (".cache")).getChildFile ("tessivar");
    folders.runtime =
        base ("XDG_RUNTIME_DIR", folders.cache.getChildFile ("runtime")).getChildFile ("tessivar");
    folders.documents = home.getChildFile ("Documents");
    return folders;
}

UserFolders UserFolders::below (const juce::File& folder)
{
    return from ([] (const char*) { return juce::String(); }, folder);
}

TemporaryFolderChoice chooseTemporaryFolder (const std::optional<juce::File>& chosenByUser,
                                             const UserFolders& folders,
                                             const juce::File& sharedFolder)
{
    using Reason = TemporaryFolderChoice::Reason;

    if (chosenByUser)
        return { *chosenByUser, Reason::chosenByUser };

    if (isUsable (sharedFolder))
        return { sharedFolder, Reason::sharedByAllUsers };

    return { folders.cache.getChildFile ("tmp"), Reason::sharedNotWritable };
}

juce::File sharedTemporaryFolder()
{
    return juce::File::getSpecialLocation (juce::File::commonApplicationDataDirectory)
        .getChildFile ("Tessivar");
}

} // namespace tessivar
