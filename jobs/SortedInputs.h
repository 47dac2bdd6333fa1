#pragma once

#include "jobs/ImportTracks.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** The audio files directly inside a folder, without hidden ones, ordered by name as a file browser does.
    Fails when the folder can't be read or has none; files then stays as it was.
*/
[[nodiscard]] juce::Result listAudioFolder (const juce::File& folder, std::vector<juce::File>& files);

/** Files that become one new Group. */
struct NewGroupFiles
{
    juce::String name;
    std::vector<juce::File> files;
};

/** What becomes of files and folders that were dropped or chosen together: each folder with audio is a Group
    of its name, all loose audio files are one Group, named after their folder. Group files are listed apart;
    anything else is rejected, also directly inside a folder.
*/
struct SortedInputs
{
    std::vector<NewGroupFiles> newGroups; // loose files first
    std::vector<juce::File> groupFiles;
    std::vector<ImportRefusal> rejected;
};

[[nodiscard]] SortedInputs sortInputs (const std::vector<juce::File>& filesAndFolders);

/** What files and folders hold, before they are let go: "12 audio files in 2 folders, 1 group file". */
[[nodiscard]] juce::String describeInputs (const std::vector<juce::File>& filesAndFolders);

} // namespace tessivar
