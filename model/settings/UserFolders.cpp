#include "model/settings/UserFolders.h"

#include "platform/Folders.h"

namespace tessivar
{

UserFolders UserFolders::in (const KnownFolders& known)
{
    UserFolders folders;
    folders.settings = known.configuration.getChildFile ("Tessivar");
    folders.state = known.state.getChildFile ("tessivar");
    folders.cache = known.cache.getChildFile ("tessivar");
    folders.runtime = (known.runtime == juce::File() ? folders.cache.getChildFile ("runtime") : known.runtime)
                          .getChildFile ("tessivar");
    folders.documents = known.documents;
    return folders;
}

UserFolders UserFolders::below (const juce::File& folder)
{
    return in (KnownFolders::from ([] (const char*) { return juce::String(); }, folder));
}

TemporaryFolderChoice chooseTemporaryFolder (const std::optional<juce::File>& chosenByUser,
                                             const UserFolders& folders,
                                             const juce::File& sharedFolder)
{
    using Reason = TemporaryFolderChoice::Reason;

    if (chosenByUser)
        return { *chosenByUser, Reason::chosenByUser };

    if (canMakeFilesIn (sharedFolder))
        return { sharedFolder, Reason::sharedByAllUsers };

    return { folders.cache.getChildFile ("tmp"), Reason::sharedNotWritable };
}

juce::File sharedTemporaryFolder()
{
    return juce::File::getSpecialLocation (juce::File::commonApplicationDataDirectory)
        .getChildFile ("Tessivar");
}

} // namespace tessivar
