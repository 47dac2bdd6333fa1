#include "model/audiofile/AudioFormats.h"

namespace tessivar
{

juce::Result inspectFlacHeader (const HeaderSource& source, std::int64_t start, AudioHeader& header)
{
    using juce::Result, juce::String;

    header.kind = AudioFileKind::flac;
    const auto fileSize = source.size();

    // "fLaC", the head of the first block, and the stream's description in it
    std::array<std::uint8_t, 42> bytes{};
    if (! source.read (start, bytes))
        return Result::fail ("a FLAC file that ends within its header of 42 bytes");

    const auto u24 = [&] (std::size_t i) { return (bytes[i] << 16) | (bytes[i + 1] << 8) | bytes[i + 2]; };
    if ((bytes[4] & 0x7f) != 0 || u24 (5) != 34)
        return Result::fail ("a FLAC file without a description of its stream");

    const int minBlock = (bytes[8] << 8) | bytes[9];
    const int maxBlock = (bytes[10] << 8) | bytes[11];
    const int sampleRate = u24 (18) >> 4;
    const int channels = ((bytes[20] >> 1) & 7) + 1;
    const int bits = (((bytes[20] & 1) << 4) | (bytes[21] >> 4)) + 1;
    const auto length = (static_cast<std::int64_t> (bytes[21] & 0x0f) << 32)
                        | static_cast<std::int64_t> (juce::ByteOrder::bigEndianInt (&bytes[22]));

    if (minBlock < 16 || maxBlock < minBlock)
        return Result::fail ("blocks of " + String (minBlock) + " to " + String (maxBlock) + " samples");
    if (const auto result = checkAudioFormat (channels, sampleRate, bits, false); result.failed())
        return result;

    auto position = start + 4;
    auto isLast = false;
    for (int count = 0; ! isLast; ++count)
    {
        std::array<std::uint8_t, 4> block{};
        if (count > headerLimits::maxChunks)
            return Result::fail ("more than " + String (headerLimits::maxChunks) + " metadata blocks");
        if (! source.read (position, block))
            return Result::fail ("the file ends within its metadata");

        isLast = (block[0] & 0x80) != 0;
        const std::int64_t size = (block[1] << 16) | (block[2] << 8) | block[3];
        position += 4;
        if (size > fileSize - position)
            return chunkPastEnd ("metadata block " + String (block[0] & 0x7f), size, fileSize - position);
        position += size;
    }

    // The smallest frame, silence in one channel, has a head of 6 bytes, a byte and a sample for the silence,
    // and a checksum of two.
    constexpr std::int64_t smallestFrame = 10;
    header.maxLengthInSamples = (fileSize - position) / smallestFrame * maxBlock;
    if (length > header.maxLengthInSamples)
        return Result::fail ("the header promises " + String (length) + " samples; the "
                             + String (fileSize - position) + " bytes of the file can't hold them");

    header.sampleRate = sampleRate;
    header.numChannels = channels;
    header.bitsPerSample = bits;
    header.lengthInSamples = length > 0 ? length : -1;
    return Result::ok();
}

} // namespace tessivar
