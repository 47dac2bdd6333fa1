#include "model/audiofile/AudioFormats.h"

#include "model/ForeignText.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tessivar
{

juce::String audioFileKindName (AudioFileKind kind)
{
    constexpr std::array names{
        "WAV", "AIFF", "CAF", "FLAC", "Ogg Vorbis", "DLS"
    }; // in the order of the kinds
    return names.at (static_cast<std::size_t> (kind));
}

bool HeaderSource::read (std::int64_t position, std::span<std::uint8_t> bytes) const
{
    const auto count = static_cast<std::int64_t> (bytes.size());
    return position >= 0 && count <= totalSize && position <= totalSize - count
           && stream.setPosition (position)
           && stream.read (bytes.data(), static_cast<int> (count)) == static_cast<int> (count);
}

bool HeaderSource::hasTag (std::int64_t position, const char* tag) const
{
    std::array<std::uint8_t, 4> bytes{};
    return read (position, bytes) && isTag (bytes.data(), tag);
}

juce::Result checkAudioFormat (std::int64_t channels, double sampleRate, int bits, bool isFloatingPoint)
{
    using juce::Result, juce::String;

    if (channels < 1 || channels > headerLimits::maxChannels)
        return Result::fail (String (channels) + " channels; 1 to " + String (headerLimits::maxChannels)
                             + " can be read");
    // Written so that not-a-number fails too.
    if (! (sampleRate > 0.0 && sampleRate <= headerLimits::maxSampleRate))
        return Result::fail ("a sample rate of " + String (sampleRate) + " Hz; at most "
                             + String (static_cast<int> (headerLimits::maxSampleRate)) + " Hz is possible");
    if (isFloatingPoint && bits != 32)
        return Result::fail (String (bits) + "-bit floating-point samples; only 32-bit ones can be read");

    constexpr std::array<int, 6> depths{ 8, 12, 16, 20, 24, 32 };
    if (std::find (depths.begin(), depths.end(), bits) == depths.end())
        return Result::fail (String (bits) + " bits a sample; 8, 12, 16, 20, 24 and 32 can be read");

    return Result::ok();
}

bool isTag (const std::uint8_t* bytes, const char* tag)
{
    return std::memcmp (bytes, tag, 4) == 0;
}

bool isOneOfTags (const std::uint8_t* bytes, std::initializer_list<const char*> tags)
{
    return std::ranges::any_of (tags, [bytes] (const char* tag) { return isTag (bytes, tag); });
}

juce::String tagText (const std::uint8_t* bytes)
{
    juce::String text;
    for (int i = 0; i < 4; ++i)
        text << juce::String::charToString (bytes[i] >= 32 && bytes[i] < 127 ? bytes[i] : '?');

    return text;
}

void listChunk (AudioHeader& header, const std::uint8_t* tag, std::int64_t start, std::int64_t size)
{
    // Format, audio, padding, and peaks or envelopes of the samples: wrong for any other signal.
    if (isOneOfTags (tag, { "fmt ", "data", "ds64", "fact", "PEAK", "levl", "slnt" })
        || isOneOfTags (tag, { "JUNK", "junk", "PAD ", "FLLR", "COMM", "SSND", "FVER" }))
        return;

    ChunkLocation location{ {}, start, size };
    std::copy_n (tag, 4, location.id.begin());
    header.chunks.push_back (location);
}

HeaderPatch patchOf (std::int64_t offset, std::int64_t value, int numBytes, bool isBigEndian)
{
    HeaderPatch patch{ offset, {} };
    for (int i = 0; i < numBytes; ++i)
        patch.bytes.push_back (static_cast<std::uint8_t> (value >> 8 * (isBigEndian ? numBytes - 1 - i : i)));

    return patch;
}

juce::Result chunkPastEnd (const juce::String& tag, std::int64_t chunkSize, std::int64_t remaining)
{
    return juce::Result::fail ("the chunk \"" + tag + "\" of " + juce::String (chunkSize)
                               + " bytes runs past the end of the file, where only "
                               + juce::String (remaining) + " bytes are left");
}

juce::Result metadataTooLarge (const juce::String& tag, std::int64_t chunkSize)
{
    return juce::Result::fail ("the metadata chunk \"" + tag + "\" has " + juce::String (chunkSize)
                               + " bytes; at most " + juce::String (headerLimits::maxMetadataBytes)
                               + " can be read");
}

juce::String truncationNote (std::int64_t promised, std::int64_t present)
{
    return "the header promises " + juce::String (promised) + " samples, but the file ends after "
           + juce::String (present);
}

juce::String metadataKeyForTag (const juce::String& tag)
{
    constexpr std::array<std::pair<const char*, const char*>, 12> keys{ {
        { "title", "INAM" },
        { "artist", "IART" },
        { "album", "IPRD" },
        { "date", "ICRD" },
        { "genre", "IGNR" },
        { "comment", "ICMT" },
        { "description", "ISBJ" },
        { "copyright", "ICOP" },
        { "tracknumber", "IPRT" },
        { "software", "ISFT" },
        { "encoder", "ISFT" },
        { "engineer", "IENG" },
    } };

    for (const auto& [name, key] : keys)
        if (tag.equalsIgnoreCase (name))
            return key;

    return tag;
}

void addVorbisComment (std::span<const std::uint8_t> comment, juce::StringPairArray& metadata)
{
    // So that no file keeps the program busy with tags for minutes.
    constexpr int maxTags = 10000;
    if (metadata.size() >= maxTags)
        return;

    const auto text = textOfBytes (comment);
    const auto value = text.fromFirstOccurrenceOf ("=", false, false);
    if (value.isNotEmpty())
        metadata.set (metadataKeyForTag (text.upToFirstOccurrenceOf ("=", false, false)), value);
}

namespace
{
/** Where the audio file starts behind an ID3 tag, which some programs put before it; 0 without one. */
std::int64_t sizeOfLeadingTag (const HeaderSource& source)
{
    std::array<std::uint8_t, 10> tag{};
    if (! source.read (0, tag) || std::memcmp (tag.data(), "ID3", 3) != 0)
        return 0;

    std::int64_t size = 10;
    for (const auto index : { 6, 7, 8, 9 })
        size += static_cast<std::int64_t> (tag[static_cast<std::size_t> (index)] & 0x7f) << (7 * (9 - index));

    return size;
}
} // namespace

juce::Result inspectAudioHeader (juce::InputStream& stream, AudioHeader& header)
{
    const HeaderSource source (stream);
    if (source.size() <= 0)
        return juce::Result::fail (source.size() == 0 ? "the file is empty"
                                                      : "the size of the file can't be told");

    AudioHeader found;
    auto result =
        juce::Result::fail ("not an audio file of a known kind (WAV, AIFF, CAF, FLAC or Ogg Vorbis)");

    if (source.hasTag (0, "RIFF") || source.hasTag (0, "RF64") || source.hasTag (0, "BW64"))
        result = inspectWavHeader (source, found);
    else if (source.hasTag (0, "FORM"))
        result = inspectAiffHeader (source, found);
    else if (source.hasTag (0, "caff"))
        result = inspectCafHeader (source, found);
    else if (source.hasTag (0, "OggS"))
        result = inspectOggHeader (source, found);
    else if (const auto start = sizeOfLeadingTag (source); source.hasTag (start, "fLaC"))
        result = inspectFlacHeader (source, start, found);

    if (result.wasOk())
        header = std::move (found);

    return result;
}

} // namespace tessivar
