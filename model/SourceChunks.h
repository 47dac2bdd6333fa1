#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
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

/** The metadata chunks of a track's source file, unchanged: a track in a group file exports them byte for
    byte, even when its source is gone.
*/
struct SourceChunks
{
    enum class Container
    {
        none, // other kinds of file have no such chunks
        wav,
        aiff
    };

    Container container = Container::none;
    std::vector<MetadataChunk> chunks; // in file order, without format and audio

    /** Above this they are not kept with the track. */
    static constexpr std::size_t maxBytes = 1 << 20;

    /** Bytes of the chunks with their ids and sizes. */
    [[nodiscard]] std::size_t numBytes() const;

    bool operator== (const SourceChunks&) const = default;

    /** As one line of printable characters, and back; nothing when the text is no such line. */
    [[nodiscard]] juce::String toText() const;
    [[nodiscard]] static std::optional<SourceChunks> fromText (const juce::String& text);
};

} // namespace tessivar
