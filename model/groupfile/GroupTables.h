#pragma once

#include "model/TrackRecord.h"
#include "model/groupfile/RandomAccessBytes.h"

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessivar
{

/** What the format of a group file fixes; docs/group-file.md has it whole. Numbers are little-endian. */
namespace groupFileFormat
{
// An array: a pointer to a literal may differ from one source file to another.
inline constexpr std::array<std::uint8_t, 8> magic{ 'R', 'A', 'V', 'I', 'S', 'S', 'E', 'T' };
inline constexpr std::uint32_t maxTracks = 254;
inline constexpr std::int64_t maxTextBytes = 8192; // of the group text and of a name
inline constexpr float version = 1.5f;             // that this program writes
inline constexpr float lastVersionWithoutMetadata = 1.2f;
inline constexpr std::uint64_t trailerSize = 24, wordSize = 4, textLengthSize = 8;
} // namespace groupFileFormat

/** The last 24 bytes of a group file; everything else is found from here, backwards. */
struct GroupFileTrailer
{
    static constexpr std::size_t encodedSize = groupFileFormat::trailerSize;
    using Bytes = std::array<std::uint8_t, encodedSize>;

    std::uint32_t trackCount = 0;        // at end - 24
    std::uint64_t recordChecksum = 0;    // at end - 20
    std::array<std::uint8_t, 8> magic{}; // at end - 12
    float fileVersion = 0.0f;            // at end - 4

    [[nodiscard]] static GroupFileTrailer decode (const Bytes& bytes);
    [[nodiscard]] Bytes encode() const;

    /** Whether the file says of itself that it is a group file. */
    [[nodiscard]] bool isMarked() const { return magic == groupFileFormat::magic; }
    [[nodiscard]] bool hasMetadata() const
    {
        return fileVersion > groupFileFormat::lastVersionWithoutMetadata;
    }
};

/** Where the audio of a track lies. */
struct AudioRange
{
    std::uint64_t offset = 0; // bytes
    std::uint64_t size = 0;   // bytes
    int channels = 1;

    bool operator== (const AudioRange&) const = default;
};

/** What any reader of the format finds in a group file that ends at a given place, as it stands there. */
struct GroupTables
{
    struct TrackEntry
    {
        TrackRecord::Bytes recordBytes{}; // as in the file
        TrackRecord record;               // as a Track takes it
        std::uint32_t word = 0;
        juce::String name;
        juce::StringPairArray metadata{ false };

        // What of it can't be right; empty texts when all is.
        juce::String audioProblem, nameProblem, metadataProblem;
    };

    std::uint64_t end = 0;       // behind the trailer
    std::uint64_t textStart = 0; // of the group text; what is ours stands before it
    GroupFileTrailer trailer;
    std::vector<std::uint8_t> text;
    std::vector<TrackEntry> tracks;

    /** Reads the trailer, the records, the words and the group text. Fails, and leaves tables as they were,
        when the trailer, the table of records, its checksum or the length of the text can't be right.
    */
    [[nodiscard]] static juce::Result
    readRecords (RandomAccessBytes& bytes, std::uint64_t end, GroupTables& tables);

    /** Reads the names and the metadata and checks where the audio lies. What is wrong concerns one track
        alone, and is told in its entry.
    */
    void readTexts (RandomAccessBytes& bytes);
};

/** Why a range of audio can't be in a file of that size; empty when it can. */
[[nodiscard]] juce::String problemOfAudio (const TrackRecord& record, std::uint64_t fileSize);

/** Where a record says its audio lies; nothing when a number is negative or beyond 64 bits. */
[[nodiscard]] std::optional<AudioRange> audioRangeOf (const TrackRecord& record);

/** Frames of audio in a range. */
[[nodiscard]] std::int64_t framesOf (const AudioRange& range);

} // namespace tessivar
