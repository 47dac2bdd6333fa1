#include "model/HeaderWalk.h"
#include "model/LittleEndian.h"

#include <ogg/ogg.h>

#include <optional>

namespace tessivar
{

namespace
{
using juce::Result, juce::String;

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
    std::int64_t skipped = 0, numPackets = 0;
    std::optional<int> serial;
    long expectedNumber = 0;
    auto hasEnd = false;
    while (walk.next (source, page, skipped))
    {
        const auto number = ogg_page_pageno (&page);
        if (! serial)
        {
            serial = ogg_page_serialno (&page);
            expectedNumber = number;
            if (const auto result =
                    readDescription ({ page.body, static_cast<std::size_t> (page.body_len) }, description);
                result.failed())
                return result;
        }

        if (skipped > 0)
            return Result::fail ("damaged before page " + String (static_cast<juce::int64> (number)) + ": "
                                 + String (skipped) + " bytes belong to no page");
        if (ogg_page_serialno (&page) != *serial || hasEnd)
            return Result::fail ("more than one stream; only a single one can be read");
        if (number != expectedNumber)
            return Result::fail ("page " + String (static_cast<juce::int64> (expectedNumber))
                                 + " is missing");

        ++expectedNumber;
        numPackets += ogg_page_packets (&page);
        hasEnd = ogg_page_eos (&page) != 0;
    }

    if (! serial)
        return Result::fail ("an Ogg file that ends within its first page, or whose first page is damaged");
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
