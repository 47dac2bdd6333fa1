#pragma once

#include "model/groupfile/GroupTail.h"
#include "model/groupfile/RandomAccessBytes.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>

namespace tessivar
{

/** What checking a whole group file found. */
struct GroupVerification
{
    juce::StringArray damage;   // what is not as it was written, in words
    juce::StringArray readable; // names of the tracks whose audio is all there
    juce::StringArray notes;    // what is no damage: audio without sums
    bool wasInterrupted =
        false; // a save was begun at the end and not finished; this is about the one before it
    int numTracks = 0;
    std::uint64_t bytesChecked = 0; // of audio, by sums

    [[nodiscard]] bool isIntact() const { return damage.isEmpty(); }
};

/** Checks everything in a group file that has a sum: tail, records and all audio, which is read from end to end. Fails, naming
    the file and the reason, when no group can be read from it at all, or with "stopped".
*/
[[nodiscard]] juce::Result
verifyGroupFile (const juce::File& path, GroupVerification& verification, const WorkControl& control = {});

/** The part of it that concerns the audio of a tail. */
[[nodiscard]] juce::Result verifyAudio (RandomAccessBytes& bytes,
                                        const FoundTail& found,
                                        GroupVerification& verification,
                                        const WorkControl& control);

} // namespace tessivar
