#include "model/LittleEndian.h"
#include "model/audiofile/AudioFormats.h"

#include <ogg/ogg.h>

#include <algorithm>
#include <bit>
#include <optional>

namespace tessivar
{

namespace
{
using juce::Result, juce::String;

/** No recording is that long, and sums of positions can't overflow. */
constexpr std::int64_t maxGranule = std::int64_t{ 1 } << 48;

/** The identification header, the first packet of a Vorbis stream. */
struct VorbisDescription
{
    int channels = 0;
    double sampleRate = 0.0;
    int largestBlock = 0; // samples
};

Result readDescription (std::span<const std::uint8_t> packet, VorbisDescription& description)
{
    if (packet.size() < 30 || ! isTag (&packet[0], "\x01vor") || ! isTag (&packet[3], "rbis"))
        return Result::fail ("an Ogg file that doesn't start with Vorbis audio");

    const auto smallExponent = packet[28] & 0x0f;
    const auto largeExponent = packet[28] >> 4;
    if (smallExponent < 6 || largeExponent > 13 || smallExponent > largeExponent)
        return Result::fail ("Vorbis blocks of 2^" + String (smallExponent) + " and 2^"
                             + String (largeExponent) + " samples; 2^6 to 2^13 are possible");

    description.channels = packet[11];
    description.sampleRate = littleEndian::readU32 (&packet[12]);
    description.largestBlock = 1 << largeExponent;
    return Result::ok();
}

/** Reads numbers of any width from a packet, lowest bit first. Past the end all are -1. */
class PacketBits
{
public:
    explicit PacketBits (std::span<std::uint8_t> packet)
    {
        oggpack_readinit (&bits, packet.data(), static_cast<int> (packet.size()));
    }

    long read (int width) { return oggpack_read (&bits, width); }
    void skip (std::int64_t width)
    {
        for (; width > 0; width -= 32)
            oggpack_adv (&bits, static_cast<int> (std::min<std::int64_t> (width, 32)));
    }

private:
    oggpack_buffer bits{};
};

/** Values of a lookup table shared by all entries: the largest n with n^dimensions <= entries. */
std::int64_t numSharedValues (std::int64_t entries, std::int64_t dimensions)
{
    const auto fits = [=] (std::int64_t n)
    {
        std::int64_t product = 1;
        for (std::int64_t i = 0; i < dimensions && product <= entries && n > 1; ++i)
            product *= n;
        return product <= entries;
    };

    std::int64_t n = 0;
    while (n < entries && fits (n + 1))
        ++n;
    return n;
}

/** Checks a codebook of the setup header and goes to its end.

    Hand-written: the decoder puts every entry in use on the stack, divides by the number of dimensions, makes
    a table of all values, and leaks when the codewords are no complete tree. It must never see such a
    codebook.

    @param numValues  gets the size of the table added
*/
Result checkCodebook (PacketBits& bits, std::int64_t& numValues)
{
    constexpr std::int64_t maxEntries = 32768;

    if (bits.read (24) != 0x564342)
        return Result::fail ("no codebook stands where one should");
    const std::int64_t dimensions = bits.read (16), entries = bits.read (24);
    if (dimensions < 1)
        return Result::fail ("a codebook without dimensions");
    if (entries < 0 || entries > maxEntries)
        return Result::fail ("a codebook of " + String (entries) + " entries; at most " + String (maxEntries)
                             + " can be read");

    // The share of all codewords that each length takes, in units of the longest.
    std::uint64_t taken = 0;
    std::int64_t numUsed = 0;
    const auto take = [&] (std::int64_t count, std::int64_t length)
    {
        taken += static_cast<std::uint64_t> (count) << (32 - length);
        numUsed += count;
    };

    if (bits.read (1) == 1)
    {
        auto length = bits.read (5) + 1;
        for (std::int64_t entry = 0; entry < entries; ++length)
        {
            const auto left = entries - entry;
            const auto count =
                bits.read (static_cast<int> (std::bit_width (static_cast<std::uint64_t> (left))));
            if (length < 1 || length > 32 || count < 0 || count > left)
                return Result::fail ("a damaged codebook");
            take (count, length);
            entry += count;
        }
    }
    else
    {
        const auto isSparse = bits.read (1) == 1;
        for (std::int64_t entry = 0; entry < entries; ++entry)
            if (! isSparse || bits.read (1) == 1)
                take (1, std::max (1L, bits.read (5) + 1));
    }

    const auto isWhole = taken == std::uint64_t{ 1 } << 32;
    const auto isSingle = numUsed == 1 && taken == std::uint64_t{ 1 } << 31;
    if (numUsed > 0 && ! isWhole && ! isSingle)
        return Result::fail ("a codebook whose codewords make no whole tree");

    const auto lookup = bits.read (4);
    if (lookup < 0 || lookup > 2)
        return Result::fail ("a codebook with a lookup of type "
                             + String (static_cast<juce::int64> (lookup)));
    numValues += entries * dimensions;
    if (lookup > 0)
    {
        bits.skip (64);
        const auto width = bits.read (4) + 1;
        bits.skip (1);
        bits.skip ((lookup == 1 ? numSharedValues (entries, dimensions) : entries * dimensions) * width);
    }

    return Result::ok();
}

/** Checks the codebooks of the third header packet. What stands behind them the decoder checks itself. */
Result checkSetup (std::span<std::uint8_t> packet)
{
    // Encoders stay below a tenth of it.
    constexpr std::int64_t maxValues = 1 << 22;

    if (packet.size() < 8 || ! isTag (&packet[0], "\x05vor") || ! isTag (&packet[3], "rbis"))
        return Result::fail ("an Ogg file without the description of its codebooks");

    PacketBits bits (packet.subspan (7));
    std::int64_t numValues = 0;
    const auto numCodebooks = bits.read (8) + 1;
    for (long i = 0; i < numCodebooks; ++i)
    {
        if (const auto result = checkCodebook (bits, numValues); result.failed())
            return result;
        if (numValues > maxValues)
            return Result::fail ("codebooks of more than " + String (maxValues) + " values");
    }

    return Result::ok();
}

/** Reads the text tags, the second header packet. */
Result readComments (std::span<const std::uint8_t> packet, juce::StringPairArray& metadata)
{
    if (packet.size() < 7 || ! isTag (&packet[0], "\x03vor") || ! isTag (&packet[3], "rbis"))
        return Result::fail ("an Ogg file without the description of its text tags");

    std::span<const std::uint8_t> rest = packet.subspan (7);
    const auto number = [&]() -> std::size_t
    {
        if (rest.size() < 4)
            return SIZE_MAX;
        const auto value = littleEndian::readU32 (rest.data());
        rest = rest.subspan (4);
        return value;
    };
    const auto piece = [&] (std::span<const std::uint8_t>& bytes)
    {
        const auto size = number();
        if (size > rest.size())
            return false;
        bytes = rest.first (size);
        rest = rest.subspan (size);
        return true;
    };

    std::span<const std::uint8_t> text;
    auto isSound = piece (text); // the encoder's name
    const auto count = isSound ? number() : 0;
    for (std::size_t i = 0; isSound && i < count; ++i)
        if (isSound = piece (text); isSound)
            addVorbisComment (text, metadata);

    return isSound ? Result::ok() : Result::fail ("text tags that run past their end");
}

/** Assembles packets from pages as the decoder does. */
class PacketWalk
{
public:
    explicit PacketWalk (int serial) { ogg_stream_init (&state, serial); }
    ~PacketWalk() { ogg_stream_clear (&state); }

    JUCE_DECLARE_NON_COPYABLE (PacketWalk)

    void add (ogg_page& page) { ogg_stream_pagein (&state, &page); }

    /** 1 with a packet that lasts until the next call, 0 when it needs another page, -1 at a gap. */
    int next (std::span<std::uint8_t>& bytes)
    {
        ogg_packet packet{};
        const auto result = ogg_stream_packetout (&state, &packet);
        bytes = { packet.packet, static_cast<std::size_t> (result > 0 ? packet.bytes : 0) };
        return result;
    }

private:
    ogg_stream_state state{};
};

/** Cuts a stream into pages and checks their checksums. */
class PageWalk
{
public:
    PageWalk() { ogg_sync_init (&state); }
    ~PageWalk() { ogg_sync_clear (&state); }

    JUCE_DECLARE_NON_COPYABLE (PageWalk)

    /** The next sound page; nothing at the end of the file. Adds the bytes that belong to none to skipped. */
    bool next (const HeaderSource& source, ogg_page& page, std::int64_t& skipped)
    {
        for (;;)
        {
            const auto result = ogg_sync_pageseek (&state, &page);
            if (result > 0)
                return true;
            if (result < 0)
            {
                skipped -= result;
                continue;
            }

            const auto count = std::min<std::int64_t> (65536, source.size() - position);
            auto* const buffer =
                ogg_sync_buffer (&state, static_cast<long> (std::max<std::int64_t> (count, 1)));
            if (count <= 0 || buffer == nullptr
                || ! source.read (
                    position, { reinterpret_cast<std::uint8_t*> (buffer), static_cast<std::size_t> (count) }))
                return false;
            ogg_sync_wrote (&state, static_cast<long> (count));
            position += count;
        }
    }

private:
    ogg_sync_state state{};
    std::int64_t position = 0;
};
} // namespace

juce::Result inspectOggHeader (const HeaderSource& source, AudioHeader& header)
{
    header.kind = AudioFileKind::oggVorbis;

    // A decoder fills what is lost with silence and doesn't say so, and it takes the first stream's channels
    // for those of every later one. So all pages are looked at before it starts.
    VorbisDescription description;
    PageWalk walk;
    ogg_page page{};
    std::int64_t skipped = 0, numPackets = 0, lastGranule = 0, headerBytes = 0;
    std::optional<int> serial;
    std::optional<PacketWalk> headers;
    int numHeaders = 0;
    long expectedNumber = 0;
    auto hasEnd = false;
    while (walk.next (source, page, skipped))
    {
        const auto number = ogg_page_pageno (&page);
        const auto isFirst = ! serial;
        if (isFirst)
        {
            serial = ogg_page_serialno (&page);
            expectedNumber = number;
            headers.emplace (*serial);
        }

        if (skipped > 0)
            return Result::fail ("damaged before page " + String (static_cast<juce::int64> (number)) + ": "
                                 + String (skipped) + " bytes belong to no page");
        if (ogg_page_serialno (&page) != *serial || hasEnd || isFirst != (ogg_page_bos (&page) != 0))
            return Result::fail ("more than one stream; only a single one can be read");
        if (number != expectedNumber)
            return Result::fail ("page " + String (static_cast<juce::int64> (expectedNumber))
                                 + " is missing");

        // A decoder searches by these positions.
        if (const auto granule = ogg_page_granulepos (&page); granule != -1)
        {
            if (granule < lastGranule || granule > maxGranule)
                return Result::fail ("page " + String (static_cast<juce::int64> (number))
                                     + " claims to end at sample "
                                     + String (static_cast<juce::int64> (granule))
                                     + ", behind one that ends at " + String (lastGranule));
            lastGranule = granule;
        }

        if (numHeaders < 3)
        {
            headerBytes += page.body_len;
            if (headerBytes > headerLimits::maxMetadataBytes)
                return metadataTooLarge ("vorb", headerBytes);

            headers->add (page);
            std::span<std::uint8_t> packet;
            for (int found = 1; numHeaders < 3 && (found = headers->next (packet)) != 0; ++numHeaders)
            {
                auto result = found < 0         ? Result::fail ("a header packet is damaged")
                              : numHeaders == 0 ? readDescription (packet, description)
                              : numHeaders == 1 ? readComments (packet, header.metadata)
                                                : checkSetup (packet);
                if (result.failed())
                    return result;
            }
        }

        ++expectedNumber;
        numPackets += ogg_page_packets (&page);
        hasEnd = ogg_page_eos (&page) != 0;
    }

    if (! serial)
        return Result::fail ("an Ogg file that ends within its first page, or whose first page is damaged");
    if (numHeaders < 3)
        return Result::fail ("an Ogg file that ends within its header");
    if (const auto result = checkAudioFormat (description.channels, description.sampleRate, 32, true);
        result.failed())
        return result;
    if (! hasEnd)
        header.notes.add ("the stream has no end mark; the file may have been cut short");

    header.sampleRate = description.sampleRate;
    header.numChannels = description.channels;
    // The decoder computes in floating point and never sees the depth of the recording.
    header.bitsPerSample = 32;
    header.isFloatingPoint = true;
    header.maxLengthInSamples = numPackets * (description.largestBlock / 2);
    return Result::ok();
}

} // namespace tessivar
