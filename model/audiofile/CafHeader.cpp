#include "model/audiofile/AudioFormats.h"

#include <bit>
#include <optional>

namespace tessivar
{

namespace
{
using juce::Result, juce::String;

/** The decoder has room for so many frames a packet. */
constexpr std::int64_t maxFramesPerPacket = 8192;

std::int64_t readU32 (const std::uint8_t* bytes)
{
    return juce::ByteOrder::bigEndianInt (bytes);
}

std::int64_t readS64 (const std::uint8_t* bytes)
{
    return static_cast<std::int64_t> (juce::ByteOrder::bigEndianInt64 (bytes));
}

struct Description
{
    bool isAlac = false;
    std::int64_t framesPerPacket = 0;
    int bytesPerFrame = 0; // linear PCM only
};

Result inspectDescription (const HeaderSource& source,
                           std::int64_t start,
                           std::int64_t size,
                           AudioHeader& header,
                           Description& description)
{
    std::array<std::uint8_t, 32> bytes{};
    if (size < 32 || ! source.read (start, bytes))
        return Result::fail ("a format chunk of " + String (size) + " bytes; it has 32");

    const auto sampleRate = std::bit_cast<double> (readS64 (&bytes[0]));
    const auto flags = readU32 (&bytes[12]);
    const auto bytesPerPacket = readU32 (&bytes[16]);
    description.framesPerPacket = readU32 (&bytes[20]);
    const auto channels = readU32 (&bytes[24]);
    auto bits = readU32 (&bytes[28]);

    if (isTag (&bytes[8], "alac"))
    {
        constexpr std::array<int, 5> bitsOfFlags{ 0, 16, 20, 24, 32 };
        if (flags < 1 || flags > 4)
            return Result::fail ("ALAC samples of unknown depth (flags " + String (flags) + ")");
        bits = bitsOfFlags[static_cast<std::size_t> (flags)];
        description.isAlac = true;
        if (description.framesPerPacket < 1 || description.framesPerPacket > maxFramesPerPacket)
            return Result::fail ("packets of " + String (description.framesPerPacket) + " frames; at most "
                                 + String (maxFramesPerPacket) + " can be read");
    }
    else if (isTag (&bytes[8], "lpcm"))
    {
        header.isFloatingPoint = (flags & 1) != 0;
    }
    else
    {
        return Result::fail ("samples of type \"" + tagText (&bytes[8])
                             + "\"; only linear PCM and ALAC can be read");
    }

    // Compared before it is narrowed, so that no large number passes for a small one.
    const auto depth = bits > 64 ? 65 : static_cast<int> (bits);
    if (const auto result = checkAudioFormat (channels, sampleRate, depth, header.isFloatingPoint);
        result.failed())
        return result;

    if (! description.isAlac)
    {
        if (bits % 8 != 0 || bytesPerPacket != channels * bits / 8 || description.framesPerPacket != 1)
            return Result::fail ("packets of " + String (bytesPerPacket) + " bytes and "
                                 + String (description.framesPerPacket) + " frames for " + String (channels)
                                 + " channels of " + String (bits) + " bits");
        description.bytesPerFrame = static_cast<int> (bytesPerPacket);
    }

    header.sampleRate = sampleRate;
    header.numChannels = static_cast<int> (channels);
    header.bitsPerSample = depth;
    return Result::ok();
}

/** Checks the codec's own description, which the decoder believes more than the file's. */
Result inspectCookie (const HeaderSource& source,
                      std::int64_t start,
                      std::int64_t size,
                      const AudioHeader& header,
                      const Description& description)
{
    // Old files wrap the configuration in two atoms of 12 bytes each.
    const auto isWrapped = source.hasTag (start + 4, "frma");
    std::array<std::uint8_t, 24> bytes{};
    if (size < (isWrapped ? 48 : 24) || size > 1024 || ! source.read (start + (isWrapped ? 24 : 0), bytes))
        return Result::fail ("an ALAC configuration of " + String (size) + " bytes; it has 24 to 1024");

    const auto frames = readU32 (&bytes[0]);
    const int bits = bytes[5];
    const int channels = bytes[9];
    if (frames != description.framesPerPacket || bits != header.bitsPerSample
        || channels != header.numChannels)
        return Result::fail ("an ALAC configuration of " + String (frames) + " frames, " + String (bits)
                             + " bits and " + String (channels) + " channels in a file of "
                             + String (description.framesPerPacket) + " frames, "
                             + String (header.bitsPerSample) + " bits and " + String (header.numChannels)
                             + " channels");

    return Result::ok();
}

/** Where a chunk's content lies. */
struct Extent
{
    std::int64_t start = 0;
    std::int64_t size = 0;
};

/** Whether a packet starts as one for so many channels must; the decoder turns any other into silence. */
bool startsLikePacket (const HeaderSource& source, std::int64_t start, std::int64_t size, int channels)
{
    std::array<std::uint8_t, 3> head{};
    if (size < 3 || ! source.read (start, head))
        return false;
    // Packets of more channels hold several elements, in an order of their own.
    if (channels > 2)
        return true;

    // 3 bits: one channel or a pair; 4 bits: a number; 12 bits that are always 0
    const int element = head[0] >> 5;
    return element == channels - 1 && (head[0] & 1) == 0 && head[1] == 0 && (head[2] & 0xe0) == 0;
}

/** Follows the table of packet sizes through the audio. The length is what the table says. */
Result inspectPackets (const HeaderSource& source,
                       Extent table,
                       Extent audio,
                       const Description& description,
                       AudioHeader& header)
{
    std::array<std::uint8_t, 24> bytes{};
    if (table.size < 24 || ! source.read (table.start, bytes))
        return Result::fail ("a packet table of " + String (table.size) + " bytes; it has at least 24");

    const auto numPackets = readS64 (&bytes[0]);
    const auto validFrames = readS64 (&bytes[8]);
    // Every packet takes a byte of the table at least.
    if (numPackets < 0 || numPackets > table.size - 24)
        return Result::fail ("a table of " + String (numPackets) + " packets in " + String (table.size - 24)
                             + " bytes");
    if (validFrames < 0 || validFrames > numPackets * description.framesPerPacket)
        return Result::fail (String (validFrames) + " frames in " + String (numPackets) + " packets of "
                             + String (description.framesPerPacket));

    std::array<std::uint8_t, 65536> buffer;
    std::int64_t packet = 0, packetStart = 0, packetBytes = 0;
    int numDigits = 0;
    for (std::int64_t position = 24; position < table.size && packet < numPackets;)
    {
        const auto part = std::span (buffer).first (
            static_cast<std::size_t> (std::min<std::int64_t> (65536, table.size - position)));
        if (! source.read (table.start + position, part))
            return Result::fail ("the packet table can't be read");
        position += static_cast<std::int64_t> (part.size());

        for (std::size_t i = 0; i < part.size() && packet < numPackets; ++i)
        {
            packetBytes = packetBytes * 128 + (part[i] & 0x7f);
            // Four digits make 256 MB, more than any packet of maxFramesPerPacket frames.
            if (++numDigits > 4)
                return Result::fail ("packet " + String (packet) + " is too large");
            if ((part[i] & 0x80) != 0)
                continue;

            if (packetBytes > audio.size - packetStart)
                return Result::fail ("packet " + String (packet) + " of " + String (packetBytes)
                                     + " bytes; only " + String (audio.size - packetStart)
                                     + " are left of the audio");
            if (! startsLikePacket (source, audio.start + packetStart, packetBytes, header.numChannels))
                return Result::fail ("packet " + String (packet) + " is damaged");

            packetStart += packetBytes;
            packetBytes = 0;
            numDigits = 0;
            ++packet;
        }
    }

    if (packet < numPackets)
        return Result::fail ("a packet table that ends after " + String (packet) + " of "
                             + String (numPackets) + " packets");

    header.lengthInSamples = validFrames;
    return Result::ok();
}
} // namespace

juce::Result inspectCafHeader (const HeaderSource& source, AudioHeader& header)
{
    header.kind = AudioFileKind::caf;
    const auto fileSize = source.size();

    std::array<std::uint8_t, 8> start{};
    if (! source.read (0, start) || readU32 (&start[4]) >> 16 != 1)
        return Result::fail ("a CAF file of an unknown version");

    Description description;
    std::optional<Extent> audio, packetTable;
    bool hasCookie = false;
    std::int64_t promisedBytes = 0;
    int numChunks = 0;
    for (std::int64_t position = 8; position + 12 <= fileSize;)
    {
        std::array<std::uint8_t, 12> chunk{};
        if (++numChunks > headerLimits::maxChunks)
            return Result::fail ("more than " + String (headerLimits::maxChunks) + " chunks");
        if (! source.read (position, chunk))
            return Result::fail ("the file can't be read at byte " + String (position));

        const auto* const tag = chunk.data();
        auto size = readS64 (&chunk[4]);
        const auto content = position + 12;
        const auto remaining = fileSize - content;
        const auto isFirst = position == 8;

        if (isFirst != isTag (tag, "desc"))
            return Result::fail (isFirst ? "no format chunk stands at the start" : "two format chunks");

        if (isTag (tag, "data"))
        {
            if (audio)
                return Result::fail ("two chunks of audio");
            if (size < -1 || (size == -1 ? remaining : size) < 4)
                return Result::fail ("an audio chunk of " + String (size) + " bytes; it has at least 4");

            promisedBytes = (size == -1 ? remaining : size) - 4;
            size = size == -1 ? remaining : std::min (size, remaining);
            // An edit count of four bytes comes first.
            audio = Extent{ content + 4, std::max<std::int64_t> (size - 4, 0) };
            // The reader refuses a chunk that doesn't end within the file.
            if (promisedBytes > audio->size)
                header.patches.push_back (patchOf (position + 4, size, 8, true));
        }
        else
        {
            if (size < 0 || size > remaining)
                return chunkPastEnd (tagText (tag), size, remaining);
            if (size > headerLimits::maxMetadataBytes
                && isOneOfTags (tag, { "info", "strg", "chan", "peak", "kuki", "pakt", "uuid" }))
                return metadataTooLarge (tagText (tag), size);

            auto result = Result::ok();
            if (isFirst)
            {
                result = inspectDescription (source, content, size, header, description);
            }
            else if (description.isAlac && isTag (tag, "kuki"))
            {
                result = inspectCookie (source, content, size, header, description);
                hasCookie = true;
            }
            else if (description.isAlac && isTag (tag, "pakt"))
            {
                if (packetTable)
                    return Result::fail ("two packet tables");
                packetTable = Extent{ content, size };
            }

            if (result.failed())
                return result;
        }

        position = content + size;
    }

    if (header.numChannels == 0)
        return Result::fail ("no format chunk");
    if (! audio)
        return Result::fail ("no audio in the file");

    if (description.isAlac)
    {
        if (! hasCookie || ! packetTable)
            return Result::fail (hasCookie ? "no packet table" : "no ALAC configuration");
        if (const auto result = inspectPackets (source, *packetTable, *audio, description, header);
            result.failed())
            return result;
    }
    else
    {
        header.lengthInSamples = audio->size / description.bytesPerFrame;
        if (promisedBytes > audio->size)
            header.notes.add (
                truncationNote (promisedBytes / description.bytesPerFrame, header.lengthInSamples));
    }

    header.maxLengthInSamples = header.lengthInSamples;
    return Result::ok();
}

} // namespace tessivar
