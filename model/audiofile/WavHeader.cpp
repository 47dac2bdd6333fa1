#include "model/ForeignText.h"
#include "model/LittleEndian.h"
#include "model/audiofile/AudioFormats.h"

#include <algorithm>
#include <optional>

namespace tessivar
{

namespace
{
using juce::Result, juce::String;

constexpr std::uint32_t unknownSize = 0xffffffff;
// So that no file fills the memory with keys.
constexpr std::int64_t maxListedItems = 10000;

/** The rest of the identifier that turns a 16-bit format tag into an extensible one. */
constexpr std::array<std::uint8_t, 14> formatGuidTail{ 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                                       0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71 };
/** The same for B-format recordings in plain PCM. */
constexpr std::array<std::uint8_t, 14> ambisonicGuidTail{ 0x00, 0x00, 0x21, 0x07, 0xd3, 0x11, 0x86,
                                                          0x44, 0xc8, 0xc1, 0xca, 0x00, 0x00, 0x00 };

/** Checks the content of a "fmt " chunk and returns the bytes of one frame through bytesPerFrame. */
Result inspectFormat (const HeaderSource& source,
                      std::int64_t start,
                      std::int64_t size,
                      AudioHeader& header,
                      int& bytesPerFrame)
{
    std::array<std::uint8_t, 40> bytes{};
    const auto used = static_cast<std::size_t> (std::min<std::int64_t> (size, 40));
    if (used < 16 || ! source.read (start, std::span (bytes).first (used)))
        return Result::fail ("a format chunk of " + String (size) + " bytes; it has at least 16");

    int formatTag = littleEndian::readU16 (&bytes[0]);
    const int channels = littleEndian::readU16 (&bytes[2]);
    const auto sampleRate = static_cast<double> (littleEndian::readU32 (&bytes[4]));
    const int frameBytes = littleEndian::readU16 (&bytes[12]);
    const int bits = littleEndian::readU16 (&bytes[14]);
    int significantBits = bits;

    if (formatTag == 0xfffe)
    {
        if (size < 40)
            return Result::fail ("an extensible format chunk of " + String (size) + " bytes; it has 40");

        formatTag = littleEndian::readU16 (&bytes[24]);
        const auto hasTail = [&] (const auto& tail)
        { return std::equal (tail.begin(), tail.end(), &bytes[26]); };
        if (! hasTail (formatGuidTail) && ! (formatTag == 1 && hasTail (ambisonicGuidTail)))
            return Result::fail ("an unknown extensible sample format");

        const int validBits = littleEndian::readU16 (&bytes[18]);
        if (validBits > 0 && validBits < bits && formatTag == 1)
            significantBits = validBits;
    }

    if (formatTag != 1 && formatTag != 3)
        return Result::fail ("samples of format 0x" + String::toHexString (formatTag).paddedLeft ('0', 4)
                             + "; only plain PCM and floating-point samples can be read");

    const auto isFloatingPoint = formatTag == 3;
    if (const auto result = checkAudioFormat (channels, sampleRate, bits, isFloatingPoint); result.failed())
        return result;
    if (frameBytes % channels != 0)
        return Result::fail ("frames of " + String (frameBytes) + " bytes for " + String (channels)
                             + " channels");

    // Samples stand left-aligned in the bytes they take: 20 bits in three bytes read as 24, 24 in four as 32.
    const int containerBytes = frameBytes > 0 ? frameBytes / channels : (bits + 7) / 8;
    if (containerBytes > 4 || containerBytes * 8 < bits || (isFloatingPoint && containerBytes != 4))
        return Result::fail (String (containerBytes) + " bytes for a sample of " + String (bits) + " bits");
    if (containerBytes * 8 != bits)
        header.patches.push_back (patchOf (start + 14, containerBytes * 8, 2));

    // A depth that no one exports, such as 23 valid bits, counts as the depth it is stored in.
    if (checkAudioFormat (channels, sampleRate, significantBits, isFloatingPoint).failed())
        significantBits = bits;

    header.sampleRate = sampleRate;
    header.numChannels = channels;
    header.bitsPerSample = significantBits;
    header.isFloatingPoint = isFloatingPoint;
    bytesPerFrame = containerBytes * channels;
    return Result::ok();
}

enum class MetadataState
{
    fine,
    damaged,
    hidden // sound, but not for the format's reader
};

/** Walks the sub-chunks of a LIST. INFO texts go into the metadata under their four characters: they are not
    left to the format's reader, which loses its way behind a text of odd length or an identifier it doesn't
    know.
*/
MetadataState inspectList (const HeaderSource& source,
                           std::int64_t start,
                           std::int64_t size,
                           juce::StringPairArray& metadata)
{
    std::array<std::uint8_t, 8> bytes{};
    if (size < 4 || ! source.read (start, std::span (bytes).first (4)))
        return MetadataState::damaged;

    const auto isInfo = isTag (bytes.data(), "INFO") || isTag (bytes.data(), "info");
    if (! isInfo && ! isTag (bytes.data(), "adtl"))
        return MetadataState::fine;

    juce::StringPairArray texts (false);
    const auto end = start + size;
    int count = 0;
    for (auto position = start + 4; position + 8 <= end;)
    {
        if (++count > maxListedItems)
            return MetadataState::hidden;
        if (! source.read (position, bytes))
            return MetadataState::damaged;

        const auto* const tag = bytes.data();
        const std::int64_t subSize = littleEndian::readU32 (&bytes[4]);
        const auto subStart = position + 8;
        const auto fixedBytes = isInfo                                       ? 0
                                : isTag (tag, "ltxt")                        ? 20
                                : isTag (tag, "labl") || isTag (tag, "note") ? 4
                                                                             : 0;
        if (subSize > end - subStart || subSize < fixedBytes)
            return MetadataState::damaged;

        if (isInfo)
        {
            std::vector<std::uint8_t> text (static_cast<std::size_t> (subSize));
            if (! source.read (subStart, text))
                return MetadataState::damaged;
            const auto value = textOfBytes (text);
            if (value.isNotEmpty())
                texts.set (tagText (tag).toUpperCase(), value);
        }

        position = subStart + subSize + (subSize & 1);
    }

    metadata.addArray (texts);
    return isInfo ? MetadataState::hidden : MetadataState::fine;
}

/** Checks a chunk that the format's reader loads and interprets. */
MetadataState inspectMetadata (const HeaderSource& source,
                               const std::uint8_t* tag,
                               std::int64_t start,
                               std::int64_t size,
                               AudioHeader& header)
{
    const auto damagedUnless = [] (bool isSound)
    { return isSound ? MetadataState::fine : MetadataState::damaged; };
    // A table of entries of 24 bytes behind a fixed part, with their number at an offset into that.
    const auto inspectTable = [&] (std::int64_t fixedBytes, std::int64_t countOffset)
    {
        std::array<std::uint8_t, 4> bytes{};
        if (size < fixedBytes || ! source.read (start + countOffset, bytes))
            return MetadataState::damaged;
        const std::int64_t count = littleEndian::readU32 (bytes.data());
        if (count * 24 > size - fixedBytes)
            return MetadataState::damaged;
        return count > maxListedItems ? MetadataState::hidden : MetadataState::fine;
    };

    if (isTag (tag, "bext"))
        return damagedUnless (size >= 602);
    if (isTag (tag, "cue "))
        return inspectTable (4, 0);
    if (isTag (tag, "smpl"))
        return inspectTable (36, 28);
    if (isTag (tag, "inst") || isTag (tag, "INST"))
        return damagedUnless (size >= 7);
    if (isTag (tag, "acid"))
        return damagedUnless (size >= 24);
    // A parser that reads past the end of broken XML stands behind these.
    if (isTag (tag, "iXML") || isTag (tag, "axml"))
        return MetadataState::hidden;
    if (isTag (tag, "LIST"))
        return inspectList (source, start, size, header.metadata);

    return MetadataState::fine;
}

} // namespace

juce::Result inspectWavHeader (const HeaderSource& source, AudioHeader& header)
{
    header.kind = AudioFileKind::wav;
    const auto fileSize = source.size();

    std::array<std::uint8_t, 12> start{};
    if (! source.read (0, start) || ! isTag (&start[8], "WAVE"))
        return Result::fail ("a RIFF file that holds no WAVE audio");

    const auto is64Bit = ! isTag (start.data(), "RIFF");
    if (isTag (start.data(), "BW64"))
        header.patches.push_back ({ 0, { 'R', 'F', '6', '4' } });

    std::uint64_t riffSize = littleEndian::readU32 (&start[4]);
    std::uint64_t audioSize64 = 0;
    std::int64_t position = 12;
    if (is64Bit)
    {
        std::array<std::uint8_t, 24> sizes{};
        if (! source.read (12, sizes) || ! isTag (sizes.data(), "ds64")
            || littleEndian::readU32 (&sizes[4]) < 28)
            return Result::fail ("a 64-bit WAV file without its table of sizes");

        const std::int64_t tableSize = littleEndian::readU32 (&sizes[4]);
        if (tableSize > fileSize - 20)
            return chunkPastEnd ("ds64", tableSize, fileSize - 20);

        riffSize = littleEndian::readU64 (&sizes[8]);
        audioSize64 = littleEndian::readU64 (&sizes[16]);
        position = 20 + tableSize + (tableSize & 1);
    }

    // Programs that write to a pipe, or that crash, leave the sizes at 0 or at the largest value.
    const auto riffSizeIsUnknown = riffSize == 0 || (! is64Bit && riffSize == unknownSize);
    auto end = fileSize;
    if (! riffSizeIsUnknown)
        end = static_cast<std::int64_t> (std::min<std::uint64_t> (
            static_cast<std::uint64_t> (fileSize), std::min<std::uint64_t> (riffSize, INT64_MAX - 8) + 8));
    if (is64Bit)
        header.patches.push_back (patchOf (20, end - 8, 8));
    else if (riffSizeIsUnknown)
        header.patches.push_back (patchOf (4, std::min<std::int64_t> (end - 8, unknownSize), 4));

    int bytesPerFrame = 0;
    std::optional<std::int64_t> audioBytes;
    int numChunks = 0;
    while (position + 8 <= end)
    {
        std::array<std::uint8_t, 8> chunk{};
        if (++numChunks > headerLimits::maxChunks)
            return Result::fail ("more than " + String (headerLimits::maxChunks) + " chunks");
        if (! source.read (position, chunk))
            return Result::fail ("the file can't be read at byte " + String (position));

        const auto* const tag = chunk.data();
        std::int64_t size = littleEndian::readU32 (&chunk[4]);
        const auto content = position + 8;
        const auto remaining = fileSize - content;

        if (isTag (tag, "data"))
        {
            if (bytesPerFrame == 0)
                return Result::fail ("no format chunk stands before the audio");
            if (audioBytes)
                return Result::fail ("two chunks of audio");

            auto promised = static_cast<std::uint64_t> (size);
            if (is64Bit && size == unknownSize)
                promised = audioSize64;
            const auto sizeIsUnknown = riffSizeIsUnknown && (promised == 0 || promised == unknownSize);
            if (sizeIsUnknown)
                promised = static_cast<std::uint64_t> (remaining);

            size = static_cast<std::int64_t> (std::min (promised, static_cast<std::uint64_t> (remaining)));
            audioBytes = size;
            header.lengthInSamples = size / bytesPerFrame;

            if (sizeIsUnknown)
                header.notes.add ("the header doesn't say how long the audio is; all "
                                  + String (header.lengthInSamples)
                                  + " samples up to the end of the file are taken");
            else if (promised > static_cast<std::uint64_t> (size))
                header.notes.add (
                    truncationNote (static_cast<std::int64_t> (std::min<std::uint64_t> (
                                        promised / static_cast<std::uint64_t> (bytesPerFrame), INT64_MAX)),
                                    header.lengthInSamples));

            if (is64Bit)
                header.patches.push_back (patchOf (28, size, 8));
            else if (sizeIsUnknown || promised > static_cast<std::uint64_t> (size))
                header.patches.push_back (patchOf (position + 4, size, 4));
        }
        else if (size > remaining)
        {
            return chunkPastEnd (tagText (tag), size, remaining);
        }
        else if (isTag (tag, "fmt "))
        {
            if (bytesPerFrame != 0)
                return Result::fail ("two format chunks");
            if (const auto result = inspectFormat (source, content, size, header, bytesPerFrame);
                result.failed())
                return result;
        }
        else
        {
            auto state = MetadataState::fine;
            // What the format's reader loads.
            if (isOneOfTags (
                    tag, { "bext", "smpl", "inst", "INST", "cue ", "axml", "iXML", "LIST", "acid", "Trkn" }))
            {
                if (size > headerLimits::maxMetadataBytes)
                    return metadataTooLarge (tagText (tag), size);

                state = inspectMetadata (source, tag, content, size, header);
                if (state != MetadataState::fine)
                    header.patches.push_back ({ position, { 'J', 'U', 'N', 'K' } });
            }

            if (state == MetadataState::damaged)
                header.notes.add ("the metadata chunk \"" + tagText (tag) + "\" is damaged and is left out");
            else
                listChunk (header, tag, content, size);
        }

        position = content + size + (size & 1);
    }

    if (bytesPerFrame == 0)
        return Result::fail ("no format chunk");
    if (! audioBytes)
        return Result::fail ("no audio in the file");

    header.maxLengthInSamples = header.lengthInSamples;
    return Result::ok();
}

} // namespace tessivar
