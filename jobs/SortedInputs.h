#pragma once

#include "jobs/ImportTracks.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** The audio files right inside a folder, hidden ones left out, ordered by name as a file browser does. Fails
    when the folder can't be read or holds none; files then stays as it was.
*/
[[nodiscard]] juce::Result listAudioFolder (const juce::File& folder, std::vector<juce::File>& files);

/** Files that become one new Group. */
struct NewGroupFiles
{
    juce::String name;
    std::vector<juce::File> files;
};

/** What files and folders that were dropped or chosen together become: each folder that holds audio a Group
    of its name, and all loose audio files one Group, which is named after the folder they lie in. Group files
    come apart, and what is none of these is rejected, also right inside a folder.
*/
struct SortedInputs
{
    std::vector<NewGroupFiles> newGroups; // loose files first
    std::vector<juce::File> groupFiles;
    std::vector<ImportRefusal> rejected;
};

[[nodiscard]] SortedInputs sortInputs (const std::vector<juce::File>& filesAndFolders);

} // namespace tessivar
