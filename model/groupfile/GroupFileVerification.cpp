#include "model/groupfile/GroupFileVerification.h"

#include "model/LittleEndian.h"
#include "model/Outcomes.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/GroupFileLoading.h"

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

/** Checks the blocks of a track's audio; without sums, only that they can be read. Tells of the first and the
    last bad one. False when stopped.
*/
bool checkBlocks (RandomAccessBytes& bytes,
                  const AudioToCheck& track,
                  std::span<const std::uint8_t> sums,
                  GroupVerification& verification,
                  const std::function<bool (std::uint64_t)>& goesOn)
{
    std::vector<std::uint8_t> block (AudioSums::blockSize);
    std::uint64_t numBad = 0, numUnread = 0, firstBad = 0, endOfBad = 0;

    for (std::uint64_t place = 0; place < track.audio.size; place += AudioSums::blockSize)
    {
        const auto count = std::min (AudioSums::blockSize, track.audio.size - place);
        const std::span<std::uint8_t> part (block.data(), count);
        const auto sumAt = place / AudioSums::blockSize * sizeof (std::uint32_t);

        if (! goesOn (count))
            return false;

        const auto isRead = bytes.read (track.audio.offset + place, part);

        if (isRead && (sums.empty() || crc32Of (part) == littleEndian::readU32 (&sums[sumAt])))
            continue;

        numUnread += isRead ? 0 : 1;
        firstBad = numBad++ == 0 ? place : firstBad;
        endOfBad = place + count;
    }

    if (! sums.empty())
        verification.bytesChecked += track.audio.size;

    // What a disk keeps back may be whole.
    if (numBad > 0)
        verification.damage.add (
            track.name + ": " + juce::String (numBad) + " of "
            + juce::String ((track.audio.size + AudioSums::blockSize - 1) / AudioSums::blockSize)
            + " blocks of its audio " + (numUnread > 0 ? "can't be read" : "are damaged") + ", between "
            + timeAt (firstBad, track.audio, track.sampleRate) + " s and "
            + timeAt (endOfBad, track.audio, track.sampleRate) + " s");

    return true;
}
} // namespace

Outcome verifyAudio (RandomAccessBytes& bytes,
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
        const auto damageBefore = verification.damage.size();

        const auto areRead = ! sums.empty() && bytes.read (toCheck.sums.offset, sums);

        if (! areRead || crc32Of (sums) != toCheck.sums.crc)
        {
            if (found.isOurs && ! sums.empty())
                verification.damage.add (name + ": the sums of its audio "
                                         + (areRead ? "are damaged" : "can't be read"));
            else if (audio.size > 0)
                verification.notes.add (name + ": its audio has no sums");

            sums.clear();
        }

        if (! checkBlocks (bytes, toCheck, sums, verification, goesOn))
            return Outcome::stopped();

        if (verification.damage.size() == damageBefore)
            verification.readable.add (track.name);
    }

    return Outcome::ok();
}

Outcome verifyGroupFile (const juce::File& path, GroupVerification& verification, const WorkControl& control)
{
    std::shared_ptr<GroupFile> file;

    if (const auto opened = GroupFile::open (path, file); opened.failed())
        return outcomeOf (opened);

    FoundTail found;

    if (const auto tail = findTailOf (*file, found); tail.failed())
        return outcomeOf (tail);

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

    if (auto verified = verifyAudio (*file, found, checked, control); ! verified.isOk())
        return verified;

    verification = std::move (checked);
    return Outcome::ok();
}

} // namespace tessivar
