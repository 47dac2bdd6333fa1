#include "model/groupfile/GroupFileVerification.h"

#include "model/LittleEndian.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/GroupFileLoading.h"
#include "model/groupfile/GroupFileSaving.h"

#include <algorithm>
#include <vector>

namespace tessivar
{

namespace
{
/** Seconds from the start of a track at which a byte of its audio sounds. */
juce::String timeAt (std::uint64_t byte, const AudioRange& audio, double sampleRate)
{
    const auto frame = byte / (sizeof (float) * static_cast<std::uint64_t> (audio.channels));
    return juce::String (static_cast<double> (frame) / sampleRate, 2);
}

/** What has to be known to check one track. */
struct AudioToCheck
{
    juce::String name; // as the user is told
    AudioRange audio;
    SumsPlace sums;
    double sampleRate = 0.0; // Hz
};

/** Checks the blocks of a track; the first and last damaged ones are told. False when it was stopped. */
bool checkBlocks (RandomAccessBytes& bytes,
                  const AudioToCheck& track,
                  std::span<const std::uint8_t> sums,
                  GroupVerification& verification,
                  const std::function<bool (std::uint64_t)>& goesOn)
{
    std::vector<std::uint8_t> block (AudioSums::blockSize);
    std::uint64_t numDamaged = 0, firstDamaged = 0, endOfDamage = 0;

    for (std::uint64_t place = 0; place < track.audio.size; place += AudioSums::blockSize)
    {
        const auto count = std::min (AudioSums::blockSize, track.audio.size - place);
        const std::span<std::uint8_t> part (block.data(), count);
        const auto expected =
            littleEndian::readU32 (&sums[place / AudioSums::blockSize * sizeof (std::uint32_t)]);

        if (! goesOn (count))
            return false;

        if (bytes.read (track.audio.offset + place, part) && crc32Of (part) == expected)
            continue;

        firstDamaged = numDamaged++ == 0 ? place : firstDamaged;
        endOfDamage = place + count;
    }

    verification.bytesChecked += track.audio.size;

    if (numDamaged > 0)
        verification.damage.add (track.name + ": " + juce::String (numDamaged) + " of "
                                 + juce::String (sums.size() / sizeof (std::uint32_t))
                                 + " blocks of its audio are damaged, between "
                                 + timeAt (firstDamaged, track.audio, track.sampleRate) + " s and "
                                 + timeAt (endOfDamage, track.audio, track.sampleRate) + " s");

    return true;
}

/** Without sums, all that can be checked is that the bytes are there. */
bool readBlocks (RandomAccessBytes& bytes,
                 const AudioToCheck& track,
                 const std::function<bool (std::uint64_t)>& goesOn)
{
    std::vector<std::uint8_t> block (AudioSums::blockSize);

    for (std::uint64_t place = 0; place < track.audio.size; place += AudioSums::blockSize)
    {
        const auto count = std::min (AudioSums::blockSize, track.audio.size - place);

        if (! goesOn (count) || ! bytes.read (track.audio.offset + place, { block.data(), count }))
            return false;
    }

    return true;
}
} // namespace

juce::Result verifyAudio (RandomAccessBytes& bytes,
                          const FoundTail& found,
                          GroupVerification& verification,
                          const WorkControl& control)
{
    juce::StringArray ignoredNotes;
    const auto state = groupStateFrom (found, {}, ignoredNotes);
    std::uint64_t total = 1, done = 0;

    for (const auto& track : state.tracks)
        if (problemOfAudio (track.record, bytes.sizeInBytes()).isEmpty())
            total += audioRangeOf (track.record)->size;

    const auto goesOn = [&] (std::uint64_t count)
    {
        done += count;
        control.progress (static_cast<double> (done) / static_cast<double> (total));
        return ! control.stopRequested();
    };

    for (std::size_t i = 0; i < state.tracks.size(); ++i)
    {
        const auto& track = state.tracks[i];
        const auto name = "track " + juce::String (i + 1) + " \"" + track.name + "\"";

        if (problemOfAudio (track.record, bytes.sizeInBytes()).isNotEmpty())
            continue;

        const auto audio = *audioRangeOf (track.record);
        const AudioToCheck toCheck{
            name, audio, sumsPlaceOf (found.tail.tracks[i], audio, bytes.sizeInBytes()), track.sampleRate()
        };
        std::vector<std::uint8_t> sums (toCheck.sums.length);
        const auto hasSums = toCheck.sums.length > 0 && bytes.read (toCheck.sums.offset, sums)
                             && crc32Of (sums) == toCheck.sums.crc;
        const auto damageBefore = verification.damage.size();

        if (hasSums && ! checkBlocks (bytes, toCheck, sums, verification, goesOn))
            return juce::Result::fail (stoppedByUser);

        if (! hasSums && audio.size > 0)
        {
            if (found.isOurs && toCheck.sums.length > 0)
                verification.damage.add (name + ": the sums of its audio are damaged");
            else
                verification.notes.add (name + ": its audio has no sums");

            if (! readBlocks (bytes, toCheck, goesOn))
            {
                if (control.stopRequested())
                    return juce::Result::fail (stoppedByUser);

                verification.damage.add (name + ": its audio can't be read");
            }
        }

        if (verification.damage.size() == damageBefore)
            verification.readable.add (track.name);
    }

    return juce::Result::ok();
}

juce::Result
verifyGroupFile (const juce::File& path, GroupVerification& verification, const WorkControl& control)
{
    std::shared_ptr<GroupFile> file;

    if (const auto result = GroupFile::open (path, file); result.failed())
        return result;

    FoundTail found;

    if (const auto result = findTailOf (*file, found); result.failed())
        return result;

    GroupVerification checked;
    checked.numTracks = static_cast<int> (found.tail.tracks.size());

    if (found.replacesDamaged)
        checked.damage.add ("the last save is damaged; this is about the one before it");

    checked.wasInterrupted = ! found.isLast && ! found.replacesDamaged;

    if (found.isOurs && ! found.sumIsRight)
        checked.damage.add ("the settings and texts of the Group are damaged");
    else if (! found.isOurs)
        checked.notes.add ("written by another program: nothing in it has a sum");

    checked.damage.addArray (found.problems);

    if (const auto result = verifyAudio (*file, found, checked, control); result.failed())
        return result;

    verification = std::move (checked);
    return juce::Result::ok();
}

} // namespace tessivar
