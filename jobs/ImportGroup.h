#pragma once

#include "model/GroupState.h"
#include "model/ImportWarnings.h"
#include "model/TemporaryStore.h"
#include "terms/WorkControl.h"

#include <optional>
#include <vector>

namespace tessivar
{

/** A file that did not become a track. */
struct ImportRefusal
{
    juce::File file;
    std::optional<int> code; // of the warning it was filed under
    juce::String reason;     // names the file
};

/** Tracks for a Group, with their audio in the temporary store and their knobs where they start. */
struct ImportedTracks
{
    std::vector<TrackState> tracks; // in the order of the files, the channels of a file one after the other
    std::vector<ImportRefusal> refused;
    juce::StringArray notes;   // what the user should know about accepted files; each names its file
    juce::String storageError; // not empty: the store gave up, and there are no tracks
    bool stopped = false;      // there are no tracks
};

/** Reads audio files into store, to join a Group; with an empty Group, to make one. Files that can't join are refused, and
    the others go on; a stop, or a store that is full, ends it with nothing. Warnings are filed for all that is wrong.
    Progress runs from 0 to 1 over the bytes of all files.
*/
[[nodiscard]] ImportedTracks importTracks (const std::vector<juce::File>& files,
                                           const GroupState& group,
                                           ImportWarnings& warnings,
                                           TemporaryStore& store,
                                           const WorkControl& control = {});

/** Files that become one new Group. */
struct NewGroupFiles
{
    juce::String name;
    std::vector<juce::File> files;
};

/** What files and folders that were dropped or chosen together become: each folder that holds audio a Group of its name,
    and all loose audio files one Group, which is named after the folder they lie in. Group files come apart, and what
    is none of these is rejected, also right inside a folder.
*/
struct SortedInputs
{
    std::vector<NewGroupFiles> newGroups; // loose files first
    std::vector<juce::File> groupFiles;
    std::vector<ImportRefusal> rejected;
};

[[nodiscard]] SortedInputs sortInputs (const std::vector<juce::File>& filesAndFolders);

} // namespace tessivar
