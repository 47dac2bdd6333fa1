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

    /** Bytes of the chunks with their ids and sizes. */
    [[nodiscard]] std::size_t numBytes() const;

    bool operator== (const SourceChunks&) const = default;

    /** As one line of printable characters, and back; nothing when the text is no such line. */
    [[nodiscard]] juce::String toText() const;
    [[nodiscard]] static std::optional<SourceChunks> fromText (const juce::String& text);
};

/** The metadata chunks of a stream: bext, iXML, cue, LIST, MARK and the like, known to the program or not. Left out are
    damaged ones of a WAV file, and what is larger than headerLimits::maxMetadataBytes. Fails, and leaves chunks as they
    were, when a WAV or AIFF file can't be read; of other kinds, chunks are none.
*/
juce::Result readSourceChunks (juce::InputStream& stream, SourceChunks& chunks);

/** The same for a file; null when it can't be read. */
[[nodiscard]] std::shared_ptr<const SourceChunks> readSourceChunks (const juce::File& file);

} // namespace tessivar
