#pragma once

#include "model/groupfile/GroupTables.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <vector>

namespace tessivar
{

/** Shows one track of a group file as ordinary sample data; the first one, until another is selected.

    Goes strictly by what the format lays down: the file ends with its trailer, and every number in it can be
    right, or the reader is invalid. Openers who want to get the most out of a damaged file use
    openGroupFile().

    Samples of a track with one channel that are asked for in several channels go to the seventh, and the
    others are cleared: they stand where the source stands among the channels of a rendered track. Not for use
    on two threads at once.
*/
class TessivarFormatReader final : public juce::AudioFormatReader
{
public:
    /** Takes ownership of the stream, which must know its length. */
    explicit TessivarFormatReader (juce::InputStream* sourceStream);

    /** Whether a stream of known length ends as a group file written by this program does. */
    [[nodiscard]] static bool isMarked (juce::InputStream& stream);

    [[nodiscard]] bool isValid() const { return problem.isEmpty(); }

    /** Why the reader is invalid; empty when it is not. */
    [[nodiscard]] const juce::String& reason() const { return problem; }

    [[nodiscard]] int numTracks() const { return static_cast<int> (tables.tracks.size()); }
    [[nodiscard]] const GroupTables::TrackEntry& track (int index) const
    {
        return tables.tracks[static_cast<std::size_t> (index)];
    }

    /** Whether the file says of itself that this program's format is its own. */
    [[nodiscard]] bool isMarked() const { return tables.trailer.isMarked(); }

    /** Gives the reader the length, channels and metadata of a track. False when there is no such track. */
    bool selectTrack (int index);

    [[nodiscard]] int selectedTrack() const { return selected; }

    bool readSamples (int* const* destChannels,
                      int numDestChannels,
                      int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile,
                      int numSamples) override;

private:
    [[nodiscard]] juce::String readTables();
    [[nodiscard]] bool
    readPiece (int* const* dest, int numDest, int destStart, std::int64_t frame, int count);

    GroupTables tables;
    juce::String problem;
    int selected = -1;
    AudioRange audio;
    std::vector<std::uint8_t> piece;
};

} // namespace tessivar
