#pragma once

#include "model/GroupState.h"
#include "model/groupfile/GroupTables.h"
#include "model/groupfile/RandomAccessBytes.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <vector>

namespace tessivar
{

/** One track in the tail of a group file. */
struct TailTrack
{
    /** Knobs, type and whatever else the record holds. Where the audio lies is the caller's to set:
        sampleDataOffset, lengthInSamples and processed. Everything else that points into the file is filled
        in by encodeGroupTail().
    */
    TrackRecord record;
    std::uint32_t word = 0;
    juce::String name;
    juce::StringPairArray metadata{ false };
    juce::StringPairArray properties{ false }; // what the record has no room for

    /** Whether another program wrote the record: bytes of it whose meaning isn't known stay as they came. */
    [[nodiscard]] bool isForeign() const;
};

/** Everything about a Group but its audio: the end of a group file, from which all else is found.

    Also the whole of a recovery entry, which notes a Group whose audio lies in other files. Its own keys
    begin with "recovery."; groupStateFrom() leaves them out of unknownProperties, so they never get into a
    group file.
*/
struct GroupTail
{
    std::vector<std::uint8_t> text; // the group text
    juce::StringPairArray properties{ false };
    std::vector<TailTrack> tracks;
};

/** Keys of the properties; docs/group-file.md tells what their values mean. */
namespace tailKey
{
inline constexpr auto sumsOffset = "sums.offset", sumsLength = "sums.length", sumsCrc = "sums.crc",
                      recordCrc = "recordCrc", foreignRecord = "foreignRecord", sampleRate = "sampleRate",
                      recoveryPrefix = "recovery.";
} // namespace tailKey

/** A longer tail is not read; nothing may be written that makes one. */
inline constexpr std::uint64_t largestTailBytes = 1u << 29;

/** The bytes of a tail that begins at offset tailStart of its file, up to and with the trailer, which takes
    the last GroupFileTrailer::encodedSize of them. Equal tails give equal bytes. Texts longer than the format
    allows are cut.
*/
[[nodiscard]] std::vector<std::uint8_t> encodeGroupTail (const GroupTail& tail, std::uint64_t tailStart);

/** A tail in a file. */
struct FoundTail
{
    GroupTail tail;
    std::uint64_t start = 0;         // of all that it consists of; of another program's, of the group text
    std::uint64_t end = 0;           // behind the trailer
    bool isMarked = false;           // the file says that it is a group file
    bool isOurs = false;             // with properties, and sums that tell of damage
    bool sumIsRight = false;         // of our own sum over the whole tail
    std::vector<bool> recordIsRight; // per track, by a sum of its own; true when there is none
    juce::StringArray problems;      // what can't be read, each naming its track

    // Where it was found.
    bool isLast = true;           // nothing but this tail stands at the end of the file
    bool replacesDamaged = false; // what stands at the end has the structure of a tail, but is damaged

    /** Whether all of it is as it was written, as far as can be told. */
    [[nodiscard]] bool isIntact() const { return problems.isEmpty() && (sumIsRight || ! isOurs); }
};

/** Reads the tail that ends at a given place. Fails when there is none; damage inside is told in problems. */
[[nodiscard]] juce::Result decodeGroupTail (RandomAccessBytes& bytes, std::uint64_t end, FoundTail& found);

/** Finds the last tail of a file that is as it was written; if there is none, one that is damaged. Looks at
    the end first, then backwards over at most the last 64 MB. Fails, with the reason that the end of the file
    gives, when nothing in it can be a group file's tail.
*/
[[nodiscard]] juce::Result findGroupTail (RandomAccessBytes& bytes, FoundTail& found);

/** What a file notes of a Group, without where the audio lies. */
[[nodiscard]] GroupTail groupTailFor (const GroupState& state);

/** The Group that a tail describes, its tracks without samples and without ids. Values that can't be are
    replaced by defaults, with a note where it matters. fallbackName is for files without a name.
*/
[[nodiscard]] GroupState
groupStateFrom (const FoundTail& found, const juce::String& fallbackName, juce::StringArray& notes);

} // namespace tessivar
