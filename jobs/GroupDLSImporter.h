#pragma once

#include "jobs/ImportTracks.h"
#include "model/groupfile/GroupFileLoading.h"
#include "terms/WorkControl.h"

#include <vector>

namespace tessivar
{

/** Takes single tracks out of a group file into another Group: first open(), then the user picks, then
    import().
*/
class GroupDLSImporter
{
public:
    /** Opens the file and lists its tracks. A file that is missing, or no group file, is filed in warnings
        too.
    */
    [[nodiscard]] juce::Result open (const juce::File& file, ImportWarnings& warnings);

    [[nodiscard]] const GroupState& group() const { return loaded.state; }
    [[nodiscard]] const juce::StringArray& notes() const { return loaded.notes; }

    /** Copies the audio of the tracks with these indices into store, with all channels that the file has of
        them: the tracks keep their knobs and what an analysis gave them, and count as not analysed in the
        Group they join. They are checked as audio files are when they join target, and told of by the name of
        the track. Progress runs from 0 to 1; a stop, or a store that is full, ends it with nothing. On any
        thread.
    */
    [[nodiscard]] ImportedTracks import (const std::vector<int>& indices,
                                         const GroupState& target,
                                         ImportWarnings& warnings,
                                         TemporaryStore& store,
                                         const WorkControl& control = {}) const;

    /** Samples of each channel that are copied at a time. */
    static constexpr int chunkLength = 2097152;

private:
    juce::File groupFile;
    LoadedGroup loaded;
};

} // namespace tessivar
