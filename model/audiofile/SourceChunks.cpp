#include "model/audiofile/SourceChunks.h"

#include "model/LittleEndian.h"
#include "model/audiofile/AudioFormats.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::size_t chunkHeaderSize = 8; // id, u32 size

// Their places are Container's numbers.
constexpr std::array containerWords{ "none", "wav", "aiff" };
} // namespace

std::size_t SourceChunks::numBytes() const
{
    std::size_t sum = 0;

    for (const auto& chunk : chunks)
        sum += chunkHeaderSize + chunk.bytes.size();

    return sum;
}

juce::String SourceChunks::toText() const
{
    std::vector<std::uint8_t> bytes;
    bytes.reserve (numBytes());

    for (const auto& chunk : chunks)
    {
        std::array<std::uint8_t, 4> size{};
        littleEndian::writeU32 (size.data(), static_cast<std::uint32_t> (chunk.bytes.size()));
        bytes.insert (bytes.end(), chunk.id.begin(), chunk.id.end());
        bytes.insert (bytes.end(), size.begin(), size.end());
        bytes.insert (bytes.end(), chunk.bytes.begin(), chunk.bytes.end());
    }

    return juce::String (containerWords[static_cast<std::size_t> (container)]) + ":"
           + juce::Base64::toBase64 (bytes.data(), bytes.size());
}

std::optional<SourceChunks> SourceChunks::fromText (const juce::String& text)
{
    SourceChunks result;
    const auto word = text.upToFirstOccurrenceOf (":", false, false);
    const auto known = std::find (containerWords.begin(), containerWords.end(), word);
    juce::MemoryOutputStream decoded;

    if (known == containerWords.end()
        || ! juce::Base64::convertFromBase64 (decoded, text.fromFirstOccurrenceOf (":", false, false)))
        return std::nullopt;

    result.container = static_cast<Container> (known - containerWords.begin());
    const auto* bytes = static_cast<const std::uint8_t*> (decoded.getData());
    auto left = decoded.getDataSize();

    while (left > 0)
    {
        if (left < chunkHeaderSize)
            return std::nullopt;

        MetadataChunk chunk;
        std::copy_n (bytes, 4, chunk.id.begin());
        const std::size_t size = littleEndian::readU32 (bytes + 4);
        bytes += chunkHeaderSize;
        left -= chunkHeaderSize;

        if (size > left)
            return std::nullopt;

        chunk.bytes.assign (bytes, bytes + size);
        bytes += size;
        left -= size;
        result.chunks.push_back (std::move (chunk));
    }

    return result;
}

juce::Result readSourceChunks (juce::InputStream& stream, SourceChunks& chunks)
{
    SourceChunks found;
    AudioHeader header;
    const HeaderSource source (stream);
    const auto isWav = source.hasTag (0, "RIFF") || source.hasTag (0, "RF64") || source.hasTag (0, "BW64");

    if (isWav || source.hasTag (0, "FORM"))
    {
        if (const auto result = inspectAudioHeader (stream, header); result.failed())
            return result;

        found.container = isWav ? SourceChunks::Container::wav : SourceChunks::Container::aiff;
    }

    auto room = 4 * headerLimits::maxMetadataBytes; // for all chunks together

    for (const auto& location : header.chunks)
    {
        if (location.size > std::min (headerLimits::maxMetadataBytes, room))
            continue;

        MetadataChunk chunk{ location.id,
                             std::vector<std::uint8_t> (static_cast<std::size_t> (location.size)) };
        room -= location.size;

        if (! source.read (location.start, chunk.bytes))
            return juce::Result::fail ("the file can't be read at byte " + juce::String (location.start));

        // The audio of the file in pieces.
        if (! (source.hasTag (location.start - 8, "LIST") && source.hasTag (location.start, "wavl")))
            found.chunks.push_back (std::move (chunk));
    }

    chunks = std::move (found);
    return juce::Result::ok();
}

std::shared_ptr<const SourceChunks> readSourceChunks (const juce::File& file)
{
    auto why = juce::Result::ok();
    const auto stream = PatchedInputStream::open (file, why);
    auto chunks = std::make_shared<SourceChunks>();
    const auto isRead = stream != nullptr && readSourceChunks (*stream, *chunks).wasOk();
    return isRead && stream->status().wasOk() ? chunks : nullptr;
}

} // namespace tessivar
