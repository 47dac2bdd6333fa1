#include "model/groupfile/GroupTail.h"

#include "model/LittleEndian.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/PropertyList.h"
#include "platform/DiskNames.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <string_view>

namespace tessivar
{

namespace
{
using namespace groupFileFormat;
using Bytes = std::vector<std::uint8_t>;

/** Directly before the group text. 48 bytes:

      0  8 bytes "TESSIVAR"          24  u64 length of the property lists
      8  u32 version, 1              32  u64 start of the tail
     12  u32 CRC-32 of the tail      40  u64 end of the tail, behind the trailer
     16  u64 start of the property lists

    The CRC goes over the whole tail, its own four bytes taken as zero.
*/
struct Locator
{
    static constexpr std::size_t encodedSize = 48, crcAt = 12;
    static constexpr std::string_view tag = "TESSIVAR";
    static constexpr std::uint32_t currentVersion = 1;

    std::uint64_t listsStart = 0, listsLength = 0, tailStart = 0, tailEnd = 0;
    std::uint32_t crc = 0;

    void appendTo (Bytes& bytes) const
    {
        const auto start = bytes.size();
        bytes.resize (start + encodedSize);
        std::copy (tag.begin(), tag.end(), &bytes[start]);
        littleEndian::writeU32 (&bytes[start + 8], currentVersion);
        littleEndian::writeU32 (&bytes[start + crcAt], crc);
        littleEndian::writeU64 (&bytes[start + 16], listsStart);
        littleEndian::writeU64 (&bytes[start + 24], listsLength);
        littleEndian::writeU64 (&bytes[start + 32], tailStart);
        littleEndian::writeU64 (&bytes[start + 40], tailEnd);
    }

    /** Nothing in files by other programs. Damage to the tag, or to the length of the text that it stands
        before, does not make a file another program's: the locator is looked for.
    */
    [[nodiscard]] static std::optional<Locator> read (RandomAccessBytes& bytes, const GroupTables& tables)
    {
        const auto textEnd = tables.textStart + tables.text.size();
        Bytes before (
            std::min<std::uint64_t> (textEnd, encodedSize + static_cast<std::uint64_t> (maxTextBytes)));

        if (before.size() < encodedSize || ! bytes.read (textEnd - before.size(), before))
            return std::nullopt;

        const auto start = textEnd - before.size();

        if (tables.textStart >= start + encodedSize)
        {
            const auto place = tables.textStart - start - encodedSize;
            const auto locator = decode (&before[place]);

            if (isTagAt (before, place) || locator.tailEnd == tables.end)
                return locator;
        }

        for (std::size_t place = 0; place + encodedSize <= before.size(); ++place)
            if (isTagAt (before, place) && decode (&before[place]).tailEnd == tables.end)
                return Locator{};

        return std::nullopt;
    }

    /** Whether the numbers fit each other and the place. */
    [[nodiscard]] bool isPossible (const GroupTables& tables) const
    {
        const auto own = tables.textStart - encodedSize;
        return tailEnd == tables.end && tailStart <= listsStart && listsStart <= own
               && listsLength == own - listsStart && tailEnd - tailStart <= largestTailBytes;
    }

private:
    static bool isTagAt (const Bytes& bytes, std::size_t place)
    {
        return std::equal (tag.begin(), tag.end(), bytes.begin() + static_cast<std::ptrdiff_t> (place));
    }

    static Locator decode (const std::uint8_t* bytes)
    {
        Locator locator;
        locator.crc = littleEndian::readU32 (bytes + crcAt);
        locator.listsStart = littleEndian::readU64 (bytes + 16);
        locator.listsLength = littleEndian::readU64 (bytes + 24);
        locator.tailStart = littleEndian::readU64 (bytes + 32);
        locator.tailEnd = littleEndian::readU64 (bytes + 40);
        return locator;
    }
};

/** The CRC of the tail in the file, with the locator's own field as zero; nothing when it can't be read. */
std::optional<std::uint32_t>
crcInFile (RandomAccessBytes& bytes, const Locator& locator, std::uint64_t crcField)
{
    Bytes piece (1 << 16);
    std::uint32_t crc = 0;

    for (auto place = locator.tailStart; place < locator.tailEnd;)
    {
        const auto count = std::min<std::uint64_t> (piece.size(), locator.tailEnd - place);
        const std::span<std::uint8_t> part (piece.data(), count);

        if (! bytes.read (place, part))
            return std::nullopt;

        for (std::uint64_t i = 0; i < 4; ++i)
            if (crcField + i >= place && crcField + i < place + count)
                part[crcField + i - place] = 0;

        crc = crc32Of (part, crc);
        place += count;
    }

    return crc;
}

Bytes cutText (const juce::String& text)
{
    const auto cut = shortenedToBytes (text, static_cast<std::size_t> (maxTextBytes));
    const auto characters = bytesOfText (cut);
    return { characters.begin(), characters.end() };
}

namespace at
{
// Bytes of a record that the format leaves to the writer.
constexpr std::size_t audioSize = 8, pathOffset = 32, pathLength = 40, sampleRate = 56, bits = 64, peak = 100,
                      channel = 108, numChannels = 112;
} // namespace at

/** Fills what the format leaves to the writer, for other programs; this one goes by the properties. */
void fillOpenFields (TailTrack& track, std::uint64_t pathOffset, std::uint64_t pathLength, double rate)
{
    auto raw = track.record.bytes();
    const auto range = audioRangeOf (track.record);
    littleEndian::writeU64 (&raw[at::audioSize], range ? range->size : 0);
    littleEndian::writeU64 (&raw[at::pathOffset], pathOffset);
    littleEndian::writeU64 (&raw[at::pathLength], pathLength);
    littleEndian::writeU64 (&raw[at::sampleRate], std::bit_cast<std::uint64_t> (rate));
    littleEndian::writeU32 (&raw[at::bits],
                            static_cast<std::uint32_t> (track.properties["bitsPerSample"].getIntValue()));
    littleEndian::writeU32 (&raw[at::peak], 0);
    littleEndian::writeU32 (&raw[at::channel],
                            static_cast<std::uint32_t> (track.properties["channel"].getIntValue()));
    littleEndian::writeU32 (&raw[at::numChannels],
                            static_cast<std::uint32_t> (track.properties["numSourceChannels"].getIntValue()));
    track.record = TrackRecord::fromFile (raw);
}

/** Appends the texts that a record points to, and gives the record where they are. */
void appendTextsOf (TailTrack& track, double sampleRate, std::uint64_t tailStart, Bytes& bytes)
{
    const auto place = [&] { return tailStart + bytes.size(); };
    const auto name = cutText (track.name);
    track.record.setName (static_cast<std::int64_t> (place()), static_cast<std::int64_t> (name.size()));
    bytes.insert (bytes.end(), name.begin(), name.end());

    if (! track.isForeign())
    {
        const auto& path = track.properties["sourcePath"];
        const auto characters = bytesOfText (path);
        fillOpenFields (track, place(), characters.size(), sampleRate);
        bytes.insert (bytes.end(), characters.begin(), characters.end());
    }

    appendPairs (bytes, track.metadata);
    track.record.setMetadataEnd (static_cast<std::int64_t> (place()));
}

void appendTables (const GroupTail& tail, const std::vector<TailTrack>& tracks, Bytes& bytes)
{
    bytes.insert (bytes.end(), tail.text.begin(), tail.text.end());
    const auto count = tracks.size();
    auto place = bytes.size();
    bytes.resize (place + textLengthSize + count * wordSize);
    littleEndian::writeU64 (&bytes[place], tail.text.size());
    place += textLengthSize;

    for (const auto& track : tracks)
    {
        littleEndian::writeU32 (&bytes[place], track.word);
        place += wordSize;
    }

    for (const auto& track : tracks)
        bytes.insert (bytes.end(), track.record.bytes().begin(), track.record.bytes().end());

    GroupFileTrailer trailer;
    trailer.trackCount = static_cast<std::uint32_t> (count);
    trailer.recordChecksum = recordChecksum (std::span<const std::uint8_t> (bytes).subspan (place));
    trailer.magic = magic;
    trailer.fileVersion = version;
    const auto encoded = trailer.encode();
    bytes.insert (bytes.end(), encoded.begin(), encoded.end());
}
} // namespace

bool TailTrack::isForeign() const
{
    return properties.containsKey (tailKey::foreignRecord);
}

std::vector<std::uint8_t> encodeGroupTail (const GroupTail& tail, std::uint64_t tailStart)
{
    jassert (tail.tracks.size() <= maxTracks && tail.text.size() <= static_cast<std::size_t> (maxTextBytes));
    Bytes bytes;
    auto tracks = tail.tracks;
    const auto sampleRate = doubleOf (tail.properties[tailKey::sampleRate]).value_or (0.0);

    for (auto& track : tracks)
    {
        appendTextsOf (track, sampleRate, tailStart, bytes);
        track.properties.set (tailKey::recordCrc, textOfCrc (crc32Of (track.record.bytes())));
    }

    Locator locator;
    locator.tailStart = tailStart;
    locator.listsStart = tailStart + bytes.size();

    for (const auto& track : tracks)
        appendPairs (bytes, track.properties);

    appendPairs (bytes, tail.properties);
    const auto locatorPlace = bytes.size();
    locator.listsLength = tailStart + locatorPlace - locator.listsStart;
    locator.tailEnd = tailStart + locatorPlace + Locator::encodedSize + tail.text.size() + textLengthSize
                      + tracks.size() * (wordSize + TrackRecord::encodedSize) + trailerSize;
    locator.appendTo (bytes);
    appendTables (tail, tracks, bytes);
    littleEndian::writeU32 (&bytes[locatorPlace + Locator::crcAt], crc32Of (bytes));
    return bytes;
}

namespace
{
juce::String nameOfTrack (std::size_t index)
{
    return "track " + juce::String (index + 1);
}

/** Reads the property lists, from the last one back to the first track's. */
bool readLists (RandomAccessBytes& bytes, const Locator& locator, GroupTail& tail)
{
    PairReader reader (bytes);
    auto end = locator.listsStart + locator.listsLength;

    if (reader.read (end, locator.listsStart, tail.properties, end).failed())
        return false;

    for (auto track = tail.tracks.rbegin(); track != tail.tracks.rend(); ++track)
        if (reader.read (end, locator.listsStart, track->properties, end).failed())
            return false;

    return end == locator.listsStart;
}

void readOurs (RandomAccessBytes& bytes, const GroupTables& tables, const Locator& locator, FoundTail& found)
{
    found.isOurs = true;

    if (! locator.isPossible (tables))
    {
        found.problems.add ("the tail of the file is damaged");
        return;
    }

    found.start = locator.tailStart;
    const auto crcField = tables.textStart - Locator::encodedSize + Locator::crcAt;
    found.sumIsRight = crcInFile (bytes, locator, crcField) == locator.crc;

    if (! readLists (bytes, locator, found.tail))
        found.problems.add ("the properties of the Group can't be read");

    for (std::size_t i = 0; i < found.tail.tracks.size(); ++i)
        if (const auto crc = crcOf (found.tail.tracks[i].properties[tailKey::recordCrc]))
            found.recordIsRight[i] = *crc == crc32Of (tables.tracks[i].recordBytes);
}

/** The rest of a tail, whose records were read. */
FoundTail tailOf (RandomAccessBytes& bytes, GroupTables& tables)
{
    FoundTail found;
    found.start = tables.textStart;
    found.end = tables.end;
    found.isMarked = tables.trailer.isMarked();
    tables.readTexts (bytes);
    found.tail.text = tables.text;

    for (std::size_t i = 0; i < tables.tracks.size(); ++i)
    {
        const auto& entry = tables.tracks[i];
        found.tail.tracks.push_back ({ entry.record, entry.word, entry.name, entry.metadata });
        found.recordIsRight.push_back (true);

        for (const auto& problem : { entry.audioProblem, entry.nameProblem, entry.metadataProblem })
            if (problem.isNotEmpty())
                found.problems.add (nameOfTrack (i) + ": " + problem);
    }

    if (const auto locator = Locator::read (bytes, tables))
        readOurs (bytes, tables, *locator, found);

    for (std::size_t i = 0; i < found.recordIsRight.size(); ++i)
        if (! found.recordIsRight[i])
            found.problems.add (nameOfTrack (i) + ": its settings are damaged");

    return found;
}

/** Zeros, and records of a save cut off before its trailer, look like a file without tracks. */
bool isNothing (const GroupTables& tables)
{
    return tables.tracks.empty() && ! tables.trailer.isMarked();
}

/** Whether a tail that was found is one, and not bytes that look like one. */
bool isCredible (const FoundTail& found)
{
    return found.isOurs || found.isMarked || found.problems.isEmpty();
}

constexpr std::uint64_t searchedBytes = 64u << 20;

/** The places behind a trailer's mark, from the last one in a file to the first that is looked at. */
class TrailerSearch
{
public:
    explicit TrailerSearch (RandomAccessBytes& bytesToSearch)
        : bytes (bytesToSearch), windowStart (bytesToSearch.sizeInBytes()),
          lowest (windowStart - std::min (windowStart, searchedBytes))
    {
    }

    [[nodiscard]] std::optional<std::uint64_t> next()
    {
        while (places.empty())
            if (! searchWindow())
                return std::nullopt;

        const auto place = places.back();
        places.pop_back();
        return place;
    }

private:
    bool searchWindow()
    {
        if (windowStart <= lowest)
            return false;

        const auto windowEnd = std::min (bytes.sizeInBytes(), windowStart + magic.size() - 1);
        windowStart -= std::min<std::uint64_t> (windowSize, windowStart - lowest);
        window.resize (windowEnd - windowStart);

        if (! bytes.read (windowStart, window))
            return false;

        for (auto from = window.begin();;)
        {
            from = std::search (from, window.end(), magic.begin(), magic.end());

            if (from == window.end())
                return true;

            constexpr auto markToEnd = 12;
            places.push_back (windowStart + static_cast<std::uint64_t> (from - window.begin()) + markToEnd);
            ++from;
        }
    }

    static constexpr std::uint64_t windowSize = 1 << 20;

    RandomAccessBytes& bytes;
    std::uint64_t windowStart;
    const std::uint64_t lowest;
    Bytes window;
    std::vector<std::uint64_t> places; // of the window, ascending
};

/** The last tail before the end of a file that is as it was written. If there is none, best gets the last
    damaged one, unless it holds something.
*/
std::optional<FoundTail> findEarlierTail (RandomAccessBytes& bytes, std::optional<FoundTail>& best)
{
    // A file made for it could hold millions of places to try.
    auto recordsToTry = 2048, tailsToTry = 8;
    TrailerSearch search (bytes);

    while (recordsToTry > 0 && tailsToTry > 0)
    {
        const auto end = search.next();

        if (! end)
            return std::nullopt;

        GroupTables tables;

        if (*end >= bytes.sizeInBytes()
            || (--recordsToTry, GroupTables::readRecords (bytes, *end, tables).failed()))
            continue;

        --tailsToTry;
        auto found = tailOf (bytes, tables);
        found.isLast = false;

        if (found.isIntact())
            return found;

        if (! best)
            best = std::move (found);
    }

    return std::nullopt;
}
} // namespace

juce::Result decodeGroupTail (RandomAccessBytes& bytes, std::uint64_t end, FoundTail& found)
{
    GroupTables tables;

    if (const auto result = GroupTables::readRecords (bytes, end, tables); result.failed())
        return result;

    if (isNothing (tables))
        return juce::Result::fail ("the end of the file holds nothing");

    auto tail = tailOf (bytes, tables);

    if (! isCredible (tail))
        return juce::Result::fail (tail.problems[0]);

    found = std::move (tail);
    return juce::Result::ok();
}

juce::Result findGroupTail (RandomAccessBytes& bytes, FoundTail& found)
{
    FoundTail last;
    const auto result = decodeGroupTail (bytes, bytes.sizeInBytes(), last);

    if (result.wasOk() && last.isIntact())
    {
        found = std::move (last);
        return result;
    }

    std::optional<FoundTail> best;

    if (result.wasOk())
        best = std::move (last);

    const auto hasDamagedEnd = best.has_value();

    if (auto earlier = findEarlierTail (bytes, best))
    {
        earlier->replacesDamaged = hasDamagedEnd;
        best = std::move (earlier);
    }

    if (! best)
        return result;

    found = std::move (*best);
    return juce::Result::ok();
}

} // namespace tessivar
