#include "app/settings/FoldersState.h"

#include "platform/Folders.h"
#include "platform/Process.h"

#include <algorithm>
#include <array>

namespace tessivar
{

namespace
{
/** Size of what this process has put into a folder for temporary files. */
std::uint64_t bytesOfThisProcess (const juce::File& folder)
{
    const auto pattern = "tessivar-" + juce::String (processId()) + "-*";
    std::uint64_t bytes = 0;

    for (const auto& store : folder.findChildFiles (juce::File::findDirectories, false, pattern))
        for (const auto& file : store.findChildFiles (juce::File::findFiles, false))
            bytes += static_cast<std::uint64_t> (std::max (juce::int64{ 0 }, file.getSize()));

    return bytes;
}
} // namespace

TemporaryDisk TemporaryDisk::of (const juce::File& folder)
{
    TemporaryDisk disk;
    disk.free = freeBytesOf (folder);
    disk.total = static_cast<std::uint64_t> (std::max (juce::int64{ 0 }, folder.getVolumeTotalSize()));
    disk.ofOpenGroups = bytesOfThisProcess (folder);
    return disk;
}

double TemporaryDisk::usedFraction() const
{
    if (! free || total == 0)
        return 0.0;

    return std::clamp (1.0 - static_cast<double> (*free) / static_cast<double> (total), 0.0, 1.0);
}

juce::String TemporaryDisk::freeText() const
{
    return free ? byteText (*free) + " free" : juce::String ("Free space is not known");
}

juce::String TemporaryDisk::groupsText() const
{
    const juce::String removal ("Temporary files are removed when a group is closed.");
    return ofOpenGroups == 0 ? removal : "Open groups use " + byteText (ofOpenGroups) + ". " + removal;
}

juce::String byteText (std::uint64_t bytes)
{
    constexpr std::array units{ "bytes", "kB", "MB", "GB", "TB" };
    auto value = static_cast<double> (bytes);
    std::size_t unit = 0;

    // What would round to 1000 belongs to the next unit.
    while (value >= 999.5 && unit + 1 < units.size())
    {
        value /= 1000.0;
        ++unit;
    }

    const auto hasPoint = unit > 0 && value < 9.95;
    const auto number = hasPoint ? juce::String (value, 1) : juce::String (juce::roundToInt (value));
    return number + " " + units[unit];
}

juce::String temporaryFolderNote (const TemporaryFolderChoice& choice, const juce::File& sharedFolder)
{
    using Reason = TemporaryFolderChoice::Reason;

    if (choice.reason == Reason::sharedNotWritable)
        return "The default folder " + sharedFolder.getFullPathName()
               + " can't be written to, so your cache folder is used.";

    if (choice.folder.isDirectory() && ! choice.folder.hasWriteAccess())
        return choice.folder.getFullPathName() + " can't be written to. Choose another folder.";

    if (choice.folder.existsAsFile())
        return choice.folder.getFullPathName() + " is a file, not a folder. Choose another folder.";

    return {};
}

juce::Result checkFolder (const juce::File& folder)
{
    if (const auto made = makeFolder (folder); made.failed())
        return juce::Result::fail (folder.getFullPathName() + " can't be made: " + made.getErrorMessage());

    if (! folder.hasWriteAccess())
        return juce::Result::fail (folder.getFullPathName() + " can't be written to. Choose another folder.");

    return juce::Result::ok();
}

FolderSettings withDefaultTemporaryFolder (FolderSettings settings,
                                           const UserFolders& folders,
                                           const juce::File& sharedFolder)
{
    settings.temporaryFiles = chooseTemporaryFolder (std::nullopt, folders, sharedFolder).folder;
    return settings;
}

} // namespace tessivar
