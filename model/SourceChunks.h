#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

/** A chunk of an audio file: four characters and what stands behind its size. */
struct MetadataChunk
{
    std::array<char, 4> id{};
    std::vector<std::uint8_t> bytes;

    bool operator== (const MetadataChunk&) const = default;
};

/** The metadata chunks of a track's source file, as they stood in it: a track that lives on in a group file exports them
    byte for byte, though its source may be gone.
*/
struct SourceChunks
{
    enum class Container
    {
        none, // a kind of file without such chunks
        wav,
        aiff
    };

    Container container = Container::none;
    std::vector<MetadataChunk> chunks; // in file order, without format and audio

    /** More than this is left in the source file. */
    static constexpr std::size_t maxBytes = 1 << 20;

    [[nodiscard]] std::size_t numBytes() const;

    bool operator== (const SourceChunks&) const = default;

    /** As one line of printable characters, and back; nothing when the text is no such line. */
    [[nodiscard]] juce::String toText() const;
    [[nodiscard]] static std::optional<SourceChunks> fromText (const juce::String& text);
};

} // namespace tessivar
