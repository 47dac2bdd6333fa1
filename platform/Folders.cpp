#include "platform/Folders.h"

#include "platform/FileLock.h"
#include "platform/FileStatus.h"

#include <utility>

namespace tessivar
{

juce::Result makeFolder (const juce::File& folder)
{
    // Each folder above may be made by another process at this moment: then the next try goes on from there.
    for (int attempt = 0; attempt < 10 && ! folder.isDirectory(); ++attempt)
        juce::ignoreUnused (folder.createDirectory());

    return folder.isDirectory() ? juce::Result::ok() : folder.createDirectory();
}

juce::File existingAncestor (juce::File folder)
{
    while (! folder.exists() && folder != folder.getParentDirectory())
        folder = folder.getParentDirectory();

    return folder;
}

bool areOnOneVolume (const juce::File& a, const juce::File& b)
{
    const auto first = statusOf (existingAncestor (a)), second = statusOf (existingAncestor (b));
    return first && second && first->id.volume == second->id.volume;
}

bool isOwnFolder (const juce::File& folder)
{
    const auto status = statusOf (folder, Links::keep);
    return status && status->isFolder() && status->isOwn;
}

void removeFolderOfFiles (const juce::File& folder, const char* lockedFile, FileLock lock)
{
    removeFiles (folder, lockedFile);

    {
        // Some file systems keep the name of a removed file until nobody has that open.
        const auto closed = std::move (lock);
    }

    removeFolder (folder);
}

juce::String describeBytes (std::uint64_t bytes)
{
    const auto text = juce::String (bytes) + " bytes";
    const auto value = static_cast<double> (bytes);

    if (value >= 1.0e9)
        return text + " (" + juce::String (value / 1.0e9, 2) + " GB)";

    return value >= 1.0e7 ? text + " (" + juce::String (value / 1.0e6, 0) + " MB)" : text;
}

} // namespace tessivar
