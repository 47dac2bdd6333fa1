#include "model/audiofile/ChunkReading.h"

#include "model/audiofile/AudioFormats.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

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
