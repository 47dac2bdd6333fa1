#pragma once

#include "model/groupfile/GroupTail.h"
#include "model/groupfile/RandomAccessBytes.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>

namespace tessivar
{

/** What checking a whole group file found. */
struct GroupVerification
{
    juce::StringArray damage;    // what has changed since it was written, in words
    juce::StringArray readable;  // names of the tracks whose audio is all there
    juce::StringArray notes;     // what is no damage: audio without sums
    bool wasInterrupted = false; // the last save is incomplete; this is about the one before it
    int numTracks = 0;
    std::uint64_t bytesChecked = 0; // of audio, by sums

    [[nodiscard]] bool isIntact() const { return damage.isEmpty(); }
};

/** Checks everything in a group file that has a sum: tail, records and all audio, which it reads from end to
    end. Fails, naming the file and the reason, when it holds no readable Group.
*/
Outcome
verifyGroupFile (const juce::File& path, GroupVerification& verification, const WorkControl& control = {});

/** The part of it that concerns the audio of a tail. */
Outcome verifyAudio (RandomAccessBytes& bytes,
                     const FoundTail& found,
                     GroupVerification& verification,
                     const WorkControl& control);

} // namespace tessivar
