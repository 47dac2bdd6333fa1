#include "jobs/SortedInputs.h"

#include "platform/DiskNames.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto audioExtensions = "wav;aiff;aif;caf;flac;ogg";
constexpr auto groupFileExtension = "dls";

bool precedes (const juce::File& a, const juce::File& b)
{
    // Without the extension, whose dot comes behind a space: "Tom.wav" stands before "Tom 2.wav".
    const auto natural = a.getFileNameWithoutExtension().compareNatural (b.getFileNameWithoutExtension());
    return natural != 0 ? natural < 0 : a.getFileName().compare (b.getFileName()) < 0;
}

ImportRefusal rejectionOf (const juce::File& file, const juce::String& reason)
{
    return { file, {}, file.getFullPathName() + ": " + reason };
}

/** Rejects what else is in a folder of audio files, hidden files aside. */
void rejectOthers (const juce::File& folder, std::vector<ImportRefusal>& rejected)
{
    for (const auto& file :
         folder.findChildFiles (juce::File::findFiles | juce::File::ignoreHiddenFiles, false))
        if (! file.hasFileExtension (audioExtensions))
            rejected.push_back (rejectionOf (
                file, "of a folder only audio files are taken (wav, aiff, aif, caf, flac, ogg)"));
}
} // namespace

juce::Result listAudioFolder (const juce::File& folder, std::vector<juce::File>& files)
{
    // An unreadable folder lists as an empty one.
    if (! folder.hasReadAccess())
        return juce::Result::fail (folder.getFullPathName() + ": the folder can't be read");

    std::vector<juce::File> found;

    for (const auto& child :
         folder.findChildFiles (juce::File::findFiles | juce::File::ignoreHiddenFiles, false))
        if (child.hasFileExtension (audioExtensions))
            found.push_back (child);

    if (found.empty())
        return juce::Result::fail (folder.getFullPathName()
                                   + ": the folder holds no audio file (wav, aiff, aif, caf, flac, ogg)");

    std::sort (found.begin(), found.end(), precedes);
    files = std::move (found);
    return juce::Result::ok();
}

SortedInputs sortInputs (const std::vector<juce::File>& filesAndFolders)
{
    SortedInputs sorted;
    std::vector<NewGroupFiles> folders;
    NewGroupFiles loose;

    for (const auto& file : filesAndFolders)
    {
        if (file.isDirectory())
        {
            NewGroupFiles group{ readablePath (file.getFileName()), {} };

            if (const auto listed = listAudioFolder (file, group.files); listed.failed())
            {
                sorted.rejected.push_back ({ file, {}, listed.getErrorMessage() });
                continue;
            }

            rejectOthers (file, sorted.rejected);
            folders.push_back (std::move (group));
        }
        else if (file.hasFileExtension (groupFileExtension))
        {
            sorted.groupFiles.push_back (file);
        }
        else if (file.hasFileExtension (audioExtensions))
        {
            loose.files.push_back (file);
        }
        else
        {
            sorted.rejected.push_back (rejectionOf (
                file, "neither an audio file (wav, aiff, aif, caf, flac, ogg) nor a group file (dls)"));
        }
    }

    if (! loose.files.empty())
    {
        loose.name = readablePath (loose.files.front().getParentDirectory().getFileName());
        sorted.newGroups.push_back (std::move (loose));
    }

    for (auto& group : folders)
        sorted.newGroups.push_back (std::move (group));

    return sorted;
}

juce::String describeInputs (const std::vector<juce::File>& filesAndFolders)
{
    const auto sorted = sortInputs (filesAndFolders);
    std::size_t numFiles = 0, numFolders = sorted.newGroups.size(), numLoose = 0;

    for (const auto& group : sorted.newGroups)
        numFiles += group.files.size();

    // Loose files come first.
    if (numFolders > 0
        && std::find (filesAndFolders.begin(), filesAndFolders.end(), sorted.newGroups.front().files.front())
               != filesAndFolders.end())
    {
        numLoose = sorted.newGroups.front().files.size();
        --numFolders;
    }

    const auto counted = [] (std::size_t count, const juce::String& what)
    { return juce::String (count) + " " + what + (count == 1 ? "" : "s"); };
    juce::StringArray parts;

    if (numFiles > 0)
        parts.add (counted (numFiles, "audio file")
                   + (numFolders == 0 ? juce::String()
                      : numLoose > 0  ? ", " + juce::String (numFiles - numLoose) + " of them in "
                                           + counted (numFolders, "folder")
                                     : " in " + counted (numFolders, "folder")));

    if (! sorted.groupFiles.empty())
        parts.add (counted (sorted.groupFiles.size(), "group file"));

    return parts.isEmpty() ? juce::String ("No audio") : parts.joinIntoString (", ");
}

} // namespace tessivar
