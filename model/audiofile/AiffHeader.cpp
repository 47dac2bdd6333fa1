#include "model/audiofile/AudioFormats.h"

#include <cmath>

namespace tessivar
{

namespace
{
using juce::Result, juce::String;

constexpr std::uint32_t largestSignedSize = 0x7fffffff;

std::int64_t readU16 (const std::uint8_t* bytes)
{
    return juce::ByteOrder::bigEndianShort (bytes);
}

std::int64_t readU32 (const std::uint8_t* bytes)
{
    return juce::ByteOrder::bigEndianInt (bytes);
}

/** An 80-bit extended number, as sample rates are kept; 0 for what no rate can be. */
double readExtended (const std::uint8_t* bytes)
{
    const auto exponent = static_cast<int> (readU16 (bytes)) - 16383 - 63;
    const auto isNegative = (bytes[0] & 0x80) != 0;
    return isNegative
               ? 0.0
               : std::ldexp (static_cast<double> (juce::ByteOrder::bigEndianInt64 (bytes + 2)), exponent);
}

struct CommonChunk
{
    std::int64_t numFrames = 0;
    int bytesPerFrame = 0;
};

Result inspectCommon (const HeaderSource& source,
                      std::int64_t start,
                      std::int64_t size,
                      bool isAifc,
                      AudioHeader& header,
                      CommonChunk& common)
{
    std::array<std::uint8_t, 22> bytes{};
    const auto needed = isAifc ? 22 : 18;
    if (size < needed || ! source.read (start, std::span (bytes).first (static_cast<std::size_t> (needed))))
        return Result::fail ("a format chunk of " + String (size) + " bytes; it has at least "
                             + String (needed));
    // A plain AIFF with a longer chunk would make the reader take the surplus for a compression type.
    if (! isAifc && size > 18)
        return Result::fail ("a format chunk of " + String (size) + " bytes; an AIFF file has 18");

    const auto channels = readU16 (&bytes[0]);
    int bits = static_cast<int> (readU16 (&bytes[6]));
    const auto sampleRate = readExtended (&bytes[8]);
    int containerBits = (bits + 7) / 8 * 8;

    if (isAifc)
    {
        const auto* const type = &bytes[18];
        const auto replaceType = [&] { header.patches.push_back ({ start + 18, { 't', 'w', 'o', 's' } }); };

        if (isTag (type, "fl32") || isTag (type, "FL32"))
        {
            header.isFloatingPoint = true;
            bits = containerBits = 32;
        }
        else if (isTag (type, "in24") || isTag (type, "in32"))
        {
            bits = containerBits = type[2] == '2' ? 24 : 32;
            replaceType();
        }
        else if (! isTag (type, "NONE") && ! isTag (type, "twos") && ! isTag (type, "sowt"))
        {
            return Result::fail ("samples of type \"" + tagText (type)
                                 + "\"; only plain PCM and 32-bit floating-point samples can be read");
        }
    }

    if (const auto result = checkAudioFormat (channels, sampleRate, bits, header.isFloatingPoint);
        result.failed())
        return result;
    // Samples stand left-aligned in whole bytes: 12 bits read as 16, 20 as 24.
    if (containerBits != readU16 (&bytes[6]))
        header.patches.push_back ({ start + 6, { 0, static_cast<std::uint8_t> (containerBits) } });

    header.sampleRate = sampleRate;
    header.numChannels = static_cast<int> (channels);
    header.bitsPerSample = bits;
    common.numFrames = readU32 (&bytes[2]);
    common.bytesPerFrame = header.numChannels * containerBits / 8;
    return Result::ok();
}

/** Whether count entries, each a fixed part with a text length at its end, fit into a chunk. */
bool entriesFit (const HeaderSource& source,
                 std::int64_t start,
                 std::int64_t size,
                 std::size_t fixedBytes,
                 std::size_t lengthBytes)
{
    std::array<std::uint8_t, 8> bytes{};
    if (size < 2 || ! source.read (start, std::span (bytes).first (2)))
        return false;

    auto position = start + 2;
    for (auto count = readU16 (bytes.data()); count > 0; --count)
    {
        const auto entry = std::span (bytes).first (fixedBytes);
        if (! source.read (position, entry))
            return false;
        const auto* const length = &entry[fixedBytes - lengthBytes];
        const auto textBytes = lengthBytes == 1 ? *length : readU16 (length);
        const auto entryBytes = static_cast<std::int64_t> (fixedBytes) + textBytes;
        position += entryBytes + (entryBytes & 1);
        if (position > start + size)
            return false;
    }

    return true;
}

bool isSound (const HeaderSource& source, const std::uint8_t* tag, std::int64_t start, std::int64_t size)
{
    if (isTag (tag, "MARK"))
        return entriesFit (source, start, size, 7, 1);
    if (isTag (tag, "COMT"))
        return entriesFit (source, start, size, 8, 2);
    if (isTag (tag, "INST"))
        return size >= 20;
    if (isTag (tag, "basc"))
        return size >= 84;

    return true;
}
} // namespace

juce::Result inspectAiffHeader (const HeaderSource& source, AudioHeader& header)
{
    header.kind = AudioFileKind::aiff;
    const auto fileSize = source.size();

    std::array<std::uint8_t, 12> start{};
    if (! source.read (0, start) || (! isTag (&start[8], "AIFF") && ! isTag (&start[8], "AIFC")))
        return Result::fail ("an IFF file that holds no AIFF audio");

    const auto isAifc = isTag (&start[8], "AIFC");
    const auto formSize = readU32 (&start[4]);
    const auto sizeIsUnknown = formSize == 0 || formSize == 0xffffffff;
    const auto end = sizeIsUnknown ? fileSize : std::min (fileSize, formSize + 8);
    // The reader takes the size for a signed number and sees nothing at all in a file of more than 2 GB.
    if (sizeIsUnknown || formSize > largestSignedSize)
        header.patches.push_back ({ 4, { 0x7f, 0xff, 0xff, 0xff } });

    CommonChunk common;
    bool hasAudio = false;
    int numChunks = 0;
    for (std::int64_t position = 12; position + 8 <= end;)
    {
        std::array<std::uint8_t, 8> chunk{};
        if (++numChunks > headerLimits::maxChunks)
            return Result::fail ("more than " + String (headerLimits::maxChunks) + " chunks");
        if (! source.read (position, chunk))
            return Result::fail ("the file can't be read at byte " + String (position));

        const auto* const tag = chunk.data();
        auto size = readU32 (&chunk[4]);
        const auto content = position + 8;
        const auto remaining = fileSize - content;

        if (isTag (tag, "SSND"))
        {
            if (common.bytesPerFrame == 0)
                return Result::fail ("no format chunk stands before the audio");
            if (hasAudio)
                return Result::fail ("two chunks of audio");

            size = std::min (size, remaining);
            std::array<std::uint8_t, 4> offsetBytes{};
            if (size < 8 || ! source.read (content, offsetBytes))
                return Result::fail ("an audio chunk of " + String (size) + " bytes; it has at least 8");
            const auto offset = readU32 (offsetBytes.data());
            // The reader takes the offset for a signed number.
            if (offset > std::min<std::int64_t> (size - 8, largestSignedSize))
                return Result::fail ("the audio starts " + String (offset) + " bytes into a chunk of "
                                     + String (size - 8));

            const auto present = (size - 8 - offset) / common.bytesPerFrame;
            if (common.numFrames == 0 && present > 0)
            {
                header.lengthInSamples = present;
                header.notes.add ("the header doesn't say how long the audio is; all " + String (present)
                                  + " samples are taken");
            }
            else
            {
                header.lengthInSamples = std::min (common.numFrames, present);
                if (present < common.numFrames)
                    header.notes.add (truncationNote (common.numFrames, present));
            }
            hasAudio = true;
        }
        else if (size > remaining)
        {
            return chunkPastEnd (tagText (tag), size, remaining);
        }
        else if (isTag (tag, "COMM"))
        {
            if (common.bytesPerFrame != 0)
                return Result::fail ("two format chunks");
            if (const auto result = inspectCommon (source, content, size, isAifc, header, common);
                result.failed())
                return result;
        }
        else
        {
            listChunk (header, tag, content, size);
            const auto isLoadedByReader = isOneOfTags (tag, { "MARK", "COMT", "INST", "basc", "cate" });
            if (isLoadedByReader && size > headerLimits::maxMetadataBytes)
                return metadataTooLarge (tagText (tag), size);

            const auto sound = isSound (source, tag, content, size);
            if (! sound)
                header.notes.add ("the metadata chunk \"" + tagText (tag) + "\" is damaged and is left out");
            // Loop categories are of no use here, and the reader looks past the end of an odd-sized list of
            // them.
            if (! sound || isTag (tag, "cate"))
                header.patches.push_back ({ position, { 'J', 'U', 'N', 'K' } });
        }

        position = content + size + (size & 1);
    }

    if (common.bytesPerFrame == 0)
        return Result::fail ("no format chunk");
    if (! hasAudio)
        return Result::fail ("no audio in the file");

    header.maxLengthInSamples = header.lengthInSamples;
    return Result::ok();
}

} // namespace tessivar
