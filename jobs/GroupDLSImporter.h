#pragma once

#include "jobs/ImportTracks.h"
#include "model/groupfile/GroupFileLoading.h"
#include "terms/WorkControl.h"

#include <vector>

namespace tessivar
{

/** Imports single tracks of a group file: open(), let the user pick, import(). */
class GroupDLSImporter
{
public:
    /** Opens the file and lists its tracks. A missing file, or one that is no group file, is also filed in
        warnings.
    */
    [[nodiscard]] juce::Result open (const juce::File& file, ImportWarnings& warnings);

    [[nodiscard]] const GroupState& group() const { return loaded.state; }
    [[nodiscard]] const juce::StringArray& notes() const { return loaded.notes; }

    /** Copies the audio of the tracks with these indices into store, rendered channels included: tracks keep
        their knobs and rendering, but count as not analyzed in the Group they join. They pass the same checks
        as audio files; warnings name the track. Progress runs from 0 to 1; a stop or a full store leaves
        nothing. On any thread.
    */
    [[nodiscard]] ImportedTracks import (const std::vector<int>& indices,
                                         const GroupState& target,
                                         ImportWarnings& warnings,
                                         TemporaryStore& store,
                                         const WorkControl& control = {}) const;

    /** Samples per channel that are copied at a time. */
    static constexpr int chunkLength = 2097152;

private:
    juce::File groupFile;
    LoadedGroup loaded;
};

} // namespace tessivar
