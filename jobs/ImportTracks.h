#pragma once

#include "model/TemporaryStore.h"
#include "model/audiofile/AudioIntake.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

/** Checks an audio file and decodes it into store: one track for each of its channels. With a null store the
    file is checked only and the tracks come without audio, which is enough for a forecast and a plan.

    groupSampleRate, warnings and the outcome are those of intakeFile(); a store that is full or fails gives
    noRoom.
*/
[[nodiscard]] Intake importFile (const juce::File& file,
                                 double groupSampleRate,
                                 ImportWarnings& warnings,
                                 TemporaryStore* store,
                                 const WorkControl& control = {});

/** Told how far each file of a batch has been read, 0 to 1, and in the end whether it was refused: on one
    thread at a time, which may be any.
*/
using FileWatch = std::function<void (std::size_t index, double fraction, bool isRefused)>;

/** Reads several files as importFile() does, up to numThreads of them at the same time. What comes back, the
    warnings and their order are as if the files had been read one by one: the list ends with the first file
    that was stopped or found no room. With a groupSampleRate of 0 the first accepted file decides on it.
    Progress runs over the bytes of all files.
*/
[[nodiscard]] std::vector<Intake> importFiles (const std::vector<juce::File>& files,
                                               double groupSampleRate,
                                               ImportWarnings& warnings,
                                               TemporaryStore& store,
                                               int numThreads,
                                               const WorkControl& control = {},
                                               const FileWatch& onFile = {});

/** A file that did not become a track. */
struct ImportRefusal
{
    juce::File file;
    std::optional<int> code; // of the warning it was filed as
    juce::String reason;     // names the file
};

/** Tracks for a Group, with their audio in the temporary store and their knobs where they start. */
struct ImportedTracks
{
    Outcome outcome;                // ok, stopped or noRoom; there are no tracks unless it is ok
    std::vector<TrackState> tracks; // in the order of the files, channel by channel
    std::vector<ImportRefusal> refused;
    juce::StringArray notes; // on accepted files; each names its file
};

/** Reads audio files into store by importFiles(), to join a Group, or to make one if it is empty. Files that
    can't join are refused while the others go on; a stop or a full store leaves nothing. Every problem is
    filed in warnings.
*/
[[nodiscard]] ImportedTracks importTracks (const std::vector<juce::File>& files,
                                           const GroupState& group,
                                           ImportWarnings& warnings,
                                           TemporaryStore& store,
                                           int numThreads,
                                           const WorkControl& control = {},
                                           const FileWatch& onFile = {});

} // namespace tessivar
