#include "jobs/AudioFileChunks.h"

#include "model/ForeignText.h"
#include "model/audiofile/ChunkReading.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace tessivar
{

namespace
{
std::string_view idOf (const MetadataChunk& chunk)
{
    return { chunk.id.data(), chunk.id.size() };
}

bool isOneOf (std::string_view id, std::initializer_list<std::string_view> ids)
{
    return std::find (ids.begin(), ids.end(), id) != ids.end();
}

MetadataChunk chunkFrom (std::string_view id, const juce::MemoryBlock& content)
{
    MetadataChunk chunk;
    std::copy_n (id.begin(), 4, chunk.id.begin());
    const auto* bytes = static_cast<const std::uint8_t*> (content.getData());
    chunk.bytes.assign (bytes, bytes + content.getSize());
    return chunk;
}

/** Text chunks of an AIFF file and the RIFF INFO fields of the same meaning. */
struct TextCounterpart
{
    std::string_view aiffId;
    const char* infoKey;
};

constexpr std::array textCounterparts{ TextCounterpart{ "NAME", "INAM" },
                                       TextCounterpart{ "AUTH", "IART" },
                                       TextCounterpart{ "(c) ", "ICOP" },
                                       TextCounterpart{ "ANNO", "ICMT" } };

/** Metadata by key, as the readers give it. */
using Values = std::map<juce::String, juce::String>;

juce::String valueOf (const Values& values, const juce::String& key)
{
    const auto found = values.find (key);
    return found != values.end() ? found->second : juce::String();
}

/** A count that a file states, as far as the entries it counts can exist at all. */
int countOf (const Values& values, const juce::String& key)
{
    const auto count = valueOf (values, key).getIntValue();
    return count > 0 && count <= static_cast<int> (values.size()) ? count : 0;
}

std::vector<MetadataChunk> wavChunksFrom (Values values)
{
    // The writer gives every file that has any metadata a sampler chunk, and one with text a catalogue
    // number.
    const auto hasSampler = values.count ("SamplePeriod") != 0;
    values.try_emplace (juce::WavAudioFormat::internationalStandardRecordingCode, juce::String());
    values.erase ("MetaDataSource");

    for (const auto* key : { "NumCuePoints", "NumCueLabels", "NumCueNotes", "NumCueRegions" })
        if (values.count (key) != 0)
            values[key] = juce::String (countOf (values, key));

    juce::StringPairArray metadata;
    metadata.addMap (values);

    juce::MemoryBlock block;
    {
        auto stream = std::make_unique<juce::MemoryOutputStream> (block, false);
        const std::unique_ptr<juce::AudioFormatWriter> writer (
            juce::WavAudioFormat().createWriterFor (stream.release(), 48000.0, 1u, 16, metadata, 0));
    }

    juce::MemoryInputStream written (block, false);
    SourceChunks made;
    const auto result = readSourceChunks (written, made);
    jassert (result.wasOk());
    juce::ignoreUnused (result);
    std::erase_if (made.chunks, [&] (const auto& chunk) { return idOf (chunk) == "smpl" && ! hasSampler; });
    return made.chunks;
}

/** Text of at most maxBytes behind its length, as AIFF stores it. */
void writeCountedText (juce::MemoryOutputStream& out, const juce::String& text, std::size_t maxBytes)
{
    const auto bytes = std::min (text.getNumBytesAsUTF8(), maxBytes);

    if (maxBytes > 255)
        out.writeShortBigEndian (static_cast<short> (bytes));
    else
        out.writeByte (static_cast<char> (bytes));

    out.write (text.toRawUTF8(), bytes);

    if (out.getDataSize() % 2 != 0)
        out.writeByte (0);
}

/** Markers, and their names from the labels that refer to them. */
std::optional<MetadataChunk> markersFrom (const Values& values)
{
    const auto numMarkers = countOf (values, "NumCuePoints");

    // Markers of an AIFF file are counted in 16 bits and numbered from 1.
    if (numMarkers == 0 || numMarkers > 65534)
        return std::nullopt;

    std::map<juce::String, juce::String> names;

    for (int i = 0; i < countOf (values, "NumCueLabels"); ++i)
    {
        const auto label = "CueLabel" + juce::String (i);
        names.try_emplace (valueOf (values, label + "Identifier"), valueOf (values, label + "Text"));
    }

    juce::MemoryOutputStream out;
    out.writeShortBigEndian (static_cast<short> (numMarkers));

    for (int i = 0; i < numMarkers; ++i)
    {
        const auto cue = "Cue" + juce::String (i);
        out.writeShortBigEndian (static_cast<short> (i + 1));
        out.writeIntBigEndian (static_cast<int> (valueOf (values, cue + "Offset").getLargeIntValue()));
        const auto name = names.find (valueOf (values, cue + "Identifier"));
        writeCountedText (out, name != names.end() ? name->second : juce::String(), 255);
    }

    return chunkFrom ("MARK", out.getMemoryBlock());
}

std::optional<MetadataChunk> notesFrom (const Values& values)
{
    const auto numNotes = countOf (values, "NumCueNotes");

    if (numNotes == 0 || numNotes > 65535)
        return std::nullopt;

    juce::MemoryOutputStream out;
    out.writeShortBigEndian (static_cast<short> (numNotes));

    for (int i = 0; i < numNotes; ++i)
    {
        const auto note = "CueNote" + juce::String (i);
        out.writeIntBigEndian (static_cast<int> (valueOf (values, note + "TimeStamp").getLargeIntValue()));
        out.writeShortBigEndian (0); // of the whole file, not of one marker
        writeCountedText (out, valueOf (values, note + "Text"), 65535);
    }

    return chunkFrom ("COMT", out.getMemoryBlock());
}

std::vector<MetadataChunk> aiffChunksFrom (const Values& values)
{
    std::vector<MetadataChunk> chunks;

    for (const auto& chunk : { markersFrom (values), notesFrom (values) })
        if (chunk)
            chunks.push_back (*chunk);

    for (const auto& [id, key] : textCounterparts)
        if (const auto text = valueOf (values, key); text.isNotEmpty())
            chunks.push_back (chunkFrom (id, juce::MemoryBlock (text.toRawUTF8(), text.getNumBytesAsUTF8())));

    return chunks;
}

juce::String listOfIds (const std::vector<MetadataChunk>& chunks,
                        std::initializer_list<std::string_view> except)
{
    juce::StringArray ids;

    for (const auto& chunk : chunks)
        if (! isOneOf (idOf (chunk), except))
            ids.addIfNotAlreadyThere (
                textOfBytes ({ reinterpret_cast<const std::uint8_t*> (chunk.id.data()), 4 }).trim());

    return ids.joinIntoString (", ");
}

/** Metadata of a source of another type, or of one that is gone: what its reader made of it. */
CarriedMetadata
translate (const SourceInfo& source, ExportFileType type, const std::vector<MetadataChunk>& sourceChunks)
{
    Values values;

    for (int i = 0; i < source.metadata.size(); ++i)
        values[source.metadata.getAllKeys()[i]] = source.metadata.getAllValues()[i];

    CarriedMetadata carried;
    juce::String left;

    if (type == ExportFileType::wav)
    {
        // Loops of an AIFF instrument refer to markers, those of a WAV file to samples.
        if (values["MetaDataSource"] == "AIFF")
            for (const auto* key : { "LowNote", "HighNote", "SamplePeriod" })
                values.erase (key);

        for (const auto& chunk : sourceChunks)
            for (const auto& [id, key] : textCounterparts)
                if (idOf (chunk) == id)
                    values[key] = textOfBytes (chunk.bytes);

        carried.chunks = wavChunksFrom (values);
        left = listOfIds (sourceChunks, { "MARK", "COMT", "NAME", "AUTH", "(c) ", "ANNO" });
    }
    else
    {
        carried.chunks = aiffChunksFrom (values);
        left = listOfIds (sourceChunks, { "cue ", "LIST" });
    }

    if (left.isNotEmpty())
        carried.note = juce::String (type == ExportFileType::wav ? "WAV" : "AIFF")
                       + " has no place for this metadata of the source: " + left + ".";

    return carried;
}
} // namespace

juce::MemoryBlock encodeChunks (const std::vector<MetadataChunk>& chunks, ExportFileType type)
{
    juce::MemoryOutputStream out;

    for (const auto& chunk : chunks)
    {
        const auto size = static_cast<int> (chunk.bytes.size());
        out.write (chunk.id.data(), chunk.id.size());

        if (type == ExportFileType::wav)
            out.writeInt (size);
        else
            out.writeIntBigEndian (size);

        out.write (chunk.bytes.data(), chunk.bytes.size());

        if (size % 2 != 0)
            out.writeByte (0);
    }

    return out.getMemoryBlock();
}

CarriedMetadata carryMetadata (const SourceInfo& source, ExportFileType type)
{
    const auto kept = source.chunks != nullptr ? source.chunks : readSourceChunks (source.file);
    const auto container =
        type == ExportFileType::wav ? SourceChunks::Container::wav : SourceChunks::Container::aiff;

    if (kept != nullptr && kept->container == container)
        return { kept->chunks, {} };

    auto carried = translate (source, type, kept != nullptr ? kept->chunks : std::vector<MetadataChunk>());

    if (kept == nullptr && source.metadata.size() > 0)
        carried.note = "The source can't be read any more: only the metadata known from its import is kept.";

    return carried;
}

} // namespace tessivar
