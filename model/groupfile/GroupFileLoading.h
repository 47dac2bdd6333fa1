#pragma once

#include "model/GroupState.h"
#include "model/groupfile/GroupFile.h"
#include "model/groupfile/GroupTail.h"

#include <juce_core/juce_core.h>

#include <memory>

namespace tessivar
{

/** A Group as its file holds it. */
struct LoadedGroup
{
    GroupState state;                // its samples lie in the file
    std::shared_ptr<GroupFile> file; // isReadOnly() when another copy of the program has it open
    juce::StringArray notes;         // what the user should know, each naming the file
    bool recovered = false; // the end of the file was no whole save; the last whole one before it was opened
    bool damaged = false;   // not everything could be read
};

/** Opens a group file. Reads no audio, and the rest of the file as far as it is needed. On failure the result
    names the file and the reason, and group stays as it was.

    May be called on any thread.
*/
[[nodiscard]] juce::Result openGroupFile (const juce::File& path, LoadedGroup& group);

/** The sums of a track's audio, by its properties; none when they can't be in a file of that size. */
[[nodiscard]] SumsPlace sumsPlaceOf (const TailTrack& track, const AudioRange& audio, std::uint64_t fileSize);

/** Sets both of a state's pointers to a track's samples in a file; null when its audio can't be there. */
void setSamplesFromFile (TrackState& track, const std::shared_ptr<GroupFile>& file, const SumsPlace& sums);

/** The last whole tail of a file, or why there is none; fails, too, when the disk keeps bytes back, since the
    last save would then pass for a damaged one and an older save for the last.
*/
[[nodiscard]] juce::Result findTailOf (GroupFile& file, FoundTail& found);

/** Why no group can be in a file that has no tail; by what the file says it is instead. */
[[nodiscard]] juce::String reasonAgainstGroupFile (RandomAccessBytes& bytes,
                                                   const juce::String& reasonOfTail);

} // namespace tessivar
