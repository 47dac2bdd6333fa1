#include "model/groupfile/GroupTables.h"

#include "model/LittleEndian.h"
#include "model/groupfile/PropertyList.h"

#include <algorithm>

namespace tessivar
{

namespace
{
using namespace groupFileFormat;

/** Reads what lies between the group text and the trailer: the records and their words. */
juce::Result readTable (RandomAccessBytes& bytes, GroupTables& tables, std::uint64_t& textLengthEnd)
{
    const std::uint64_t count = tables.trailer.trackCount;
    const auto bytesPerTrack = TrackRecord::encodedSize + wordSize;

    if (count > maxTracks)
        return juce::Result::fail (juce::String (count) + " tracks; a group file holds at most "
                                   + juce::String (maxTracks));

    if (tables.end < trailerSize + textLengthSize + count * bytesPerTrack)
        return juce::Result::fail ("the file is too short for " + juce::String (count) + " tracks");

    const auto recordsStart = tables.end - trailerSize - count * TrackRecord::encodedSize;
    textLengthEnd = recordsStart - count * wordSize;
    std::vector<std::uint8_t> table (count * bytesPerTrack);

    if (! bytes.read (textLengthEnd, table))
        return juce::Result::fail ("the table of tracks can't be read");

    const auto records = std::span<const std::uint8_t> (table).subspan (count * wordSize);

    if (recordChecksum (records) != tables.trailer.recordChecksum)
        return juce::Result::fail ("the checksum of the track records is wrong");

    tables.tracks.resize (count);

    for (std::size_t i = 0; i < count; ++i)
    {
        auto& track = tables.tracks[i];
        const auto raw = records.subspan (i * TrackRecord::encodedSize).first<TrackRecord::encodedSize>();
        std::copy (raw.begin(), raw.end(), track.recordBytes.begin());
        track.record = TrackRecord::fromFile (raw);
        track.word = littleEndian::readU32 (&table[i * wordSize]);
    }

    return juce::Result::ok();
}

juce::Result readText (RandomAccessBytes& bytes, GroupTables& tables, std::uint64_t textLengthEnd)
{
    std::array<std::uint8_t, textLengthSize> raw{};
    const auto textEnd = textLengthEnd - textLengthSize;

    if (! bytes.read (textEnd, raw))
        return juce::Result::fail ("the group text can't be read");

    const auto length = littleEndian::readI64 (raw.data());

    if (length < 0 || length > maxTextBytes || static_cast<std::uint64_t> (length) > textEnd)
        return juce::Result::fail ("the group text claims " + juce::String (length) + " bytes");

    tables.textStart = textEnd - static_cast<std::uint64_t> (length);
    tables.text.resize (static_cast<std::size_t> (length));
    return bytes.read (tables.textStart, tables.text) ? juce::Result::ok()
                                                      : juce::Result::fail ("the group text can't be read");
}

void readName (RandomAccessBytes& bytes, GroupTables::TrackEntry& track)
{
    const auto offset = track.record.nameOffset(), length = track.record.nameLength();

    if (length < 0 || length > maxTextBytes)
    {
        track.nameProblem = "its name claims " + juce::String (length) + " bytes";
        return;
    }

    std::vector<std::uint8_t> name (static_cast<std::size_t> (length));

    if (! bytes.contains (offset, length) || ! bytes.read (static_cast<std::uint64_t> (offset), name))
        track.nameProblem = "its name lies at " + juce::String (offset) + ", outside the file";
    else
        track.name = textFromBytes (name);
}

void readMetadata (PairReader& reader, GroupTables::TrackEntry& track)
{
    const auto end = track.record.metadataEnd();
    std::uint64_t start = 0;

    if (end < 0)
        track.metadataProblem = "its metadata end at " + juce::String (end);
    else if (const auto result = reader.read (static_cast<std::uint64_t> (end), 0, track.metadata, start);
             result.failed())
        track.metadataProblem = "its metadata: " + result.getErrorMessage();
}
} // namespace

GroupFileTrailer GroupFileTrailer::decode (const Bytes& bytes)
{
    GroupFileTrailer trailer;
    trailer.trackCount = littleEndian::readU32 (&bytes[0]);
    trailer.recordChecksum = littleEndian::readU64 (&bytes[4]);
    std::copy_n (&bytes[12], trailer.magic.size(), trailer.magic.begin());
    trailer.fileVersion = littleEndian::readF32 (&bytes[20]);
    return trailer;
}

GroupFileTrailer::Bytes GroupFileTrailer::encode() const
{
    Bytes bytes{};
    littleEndian::writeU32 (&bytes[0], trackCount);
    littleEndian::writeU64 (&bytes[4], recordChecksum);
    std::copy (magic.begin(), magic.end(), &bytes[12]);
    littleEndian::writeF32 (&bytes[20], fileVersion);
    return bytes;
}

juce::Result GroupTables::readRecords (RandomAccessBytes& bytes, std::uint64_t end, GroupTables& tables)
{
    GroupTables found;
    found.end = end;
    GroupFileTrailer::Bytes raw{};

    if (end < trailerSize || ! bytes.read (end - trailerSize, raw))
        return juce::Result::fail ("the file is too short for a group file");

    found.trailer = GroupFileTrailer::decode (raw);
    std::uint64_t textLengthEnd = 0;

    if (const auto result = readTable (bytes, found, textLengthEnd); result.failed())
        return result;

    if (const auto result = readText (bytes, found, textLengthEnd); result.failed())
        return result;

    tables = std::move (found);
    return juce::Result::ok();
}

void GroupTables::readTexts (RandomAccessBytes& bytes)
{
    PairReader pairs (bytes);

    for (auto& track : tracks)
    {
        track.audioProblem = problemOfAudio (track.record, bytes.sizeInBytes());
        readName (bytes, track);

        if (trailer.hasMetadata())
            readMetadata (pairs, track);
    }
}

juce::String problemOfAudio (const TrackRecord& record, std::uint64_t fileSize)
{
    const auto range = audioRangeOf (record);

    if (! range)
        return "its audio claims " + juce::String (record.lengthInSamples()) + " samples at "
               + juce::String (record.sampleDataOffset());

    if (range->offset > fileSize || range->size > fileSize - range->offset)
        return "its audio, " + juce::String (range->size) + " bytes at " + juce::String (range->offset)
               + ", lies outside the file";

    return {};
}

std::optional<AudioRange> audioRangeOf (const TrackRecord& record)
{
    const auto offset = record.sampleDataOffset(), frames = record.lengthInSamples();
    const auto channels = record.isProcessed() ? 7 : 1;
    const auto bytesPerFrame = static_cast<std::int64_t> (sizeof (float)) * channels;

    if (offset < 0 || frames < 0
        || frames > (std::numeric_limits<std::int64_t>::max() - offset) / bytesPerFrame)
        return std::nullopt;

    return AudioRange{ static_cast<std::uint64_t> (offset),
                       static_cast<std::uint64_t> (frames * bytesPerFrame),
                       channels };
}

std::int64_t framesOf (const AudioRange& range)
{
    return static_cast<std::int64_t> (range.size
                                      / (sizeof (float) * static_cast<std::uint64_t> (range.channels)));
}

} // namespace tessivar
