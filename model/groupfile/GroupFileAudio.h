#pragma once

#include "model/GroupState.h"
#include "model/groupfile/GroupFile.h"
#include "model/groupfile/GroupTail.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tessivar
{

/** Which audio a save has to put into a file, and where. */
class SavePlan
{
public:
    /** Where the audio of a new file begins. Before it stands, for people and programs, what the file is. */
    static constexpr std::uint64_t headSize = 64;

    /** Audio of a new file, or, with a current file, behind it what it lacks. Tracks that share their samples
        share the audio.
    */
    SavePlan (const GroupState& state, const GroupFile* current);

    /** Why the state can't be saved at all; empty when it can. */
    [[nodiscard]] juce::String problem() const { return problemFound; }

    /** Whether any audio has to be written. */
    [[nodiscard]] bool needsAudio() const { return endOfSums > start; }

    [[nodiscard]] std::uint64_t tailStart() const { return endOfSums; }

    /** Bytes in use once the file is saved: audio, sums and the tail. */
    [[nodiscard]] std::uint64_t bytesInUse() const;

    /** The ranges of it, but for the tail. */
    [[nodiscard]] std::vector<AudioRange> rangesInUse() const;

    /** The size of the file that results. */
    [[nodiscard]] std::uint64_t fileSize() const { return endOfSums + encodedTail().size(); }

    /** Writes audio and sums to a stream that stands at the place where they begin, and calls progress with
        the bytes written. When it fails because the stream does, the stream knows the reason.
    */
    Outcome write (juce::OutputStream& stream,
                   const WorkControl& control,
                   const std::function<void (std::uint64_t)>& progress);

    /** What was noticed by write(): audio that was not as its old file's sums say. */
    [[nodiscard]] const juce::StringArray& notes() const { return notesOfWriting; }

    /** The tail; its sums are right only after write(). */
    [[nodiscard]] std::vector<std::uint8_t> encodedTail() const { return encodedTailAt (tailStart()); }

    /** The same tail as it would be at another place. */
    [[nodiscard]] std::vector<std::uint8_t> encodedTailAt (std::uint64_t place) const
    {
        return encodeGroupTail (tail(), place);
    }

    /** The state with its samples in the file. */
    [[nodiscard]] GroupState stateIn (const std::shared_ptr<GroupFile>& file) const;

private:
    struct Audio
    {
        std::shared_ptr<TrackSamples> samples;
        AudioRange range;
        SumsPlace sums;
        bool isInFile = false;
        std::vector<std::uint8_t> encodedSums;
    };

    [[nodiscard]] std::size_t audioFor (const TrackState& track, const GroupFile* current);
    void placeAudio (std::uint64_t firstFree);
    Outcome writeAudio (Audio& audio,
                        juce::OutputStream& stream,
                        const WorkControl& control,
                        const std::function<void (std::uint64_t)>& progress);
    void compareWithOldSums (const Audio& audio);
    [[nodiscard]] GroupTail tail() const;

    const GroupState state;
    std::vector<Audio> audios;
    std::vector<std::size_t> audioOfTrack;
    std::uint64_t start = 0; // of what is to be written
    std::uint64_t endOfSums = 0;
    juce::String problemFound;
    juce::StringArray notesOfWriting;
};

} // namespace tessivar
