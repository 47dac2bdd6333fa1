#include "model/SourceChunks.h"

#include "model/LittleEndian.h"

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

} // namespace tessivar
