#include "model/AudioFileReaders.h"

#include "model/AudioTags.h"
#include "model/CafAudioFormat.h"
#include "model/DiskNames.h"
#include "model/FlacFileReader.h"
#include "model/groupfile/TessivarAudioFormat.h"

#include <filesystem>

namespace tessivar
{

namespace
{
/** A stream on an ordinary file; null with the reason when there is none. */
std::unique_ptr<juce::InputStream> openStream (const juce::File& file, juce::Result& why)
{
    // A pipe or a device would block the opening or never end.
    std::error_code error;
    const std::filesystem::path path (bytesOfPath (file));
    if (! std::filesystem::is_regular_file (path, error))
    {
        why = juce::Result::fail (error ? juce::String (error.message())
                                        : juce::String ("not an ordinary file"));
        return nullptr;
    }

    auto stream = std::make_unique<juce::FileInputStream> (file);
    if (stream->failedToOpen())
    {
        why = juce::Result::fail (stream->getStatus().getErrorMessage());
        return nullptr;
    }

    why = juce::Result::ok();
    return stream;
}

template <typename Format>
std::unique_ptr<juce::AudioFormatReader> createReader (std::unique_ptr<juce::InputStream> stream,
                                                       juce::Result& why)
{
    Format format;
    std::unique_ptr<juce::AudioFormatReader> reader (format.createReaderFor (stream.release(), true));
    if (reader == nullptr)
        why = juce::Result::fail ("the audio can't be decoded");
    return reader;
}

std::unique_ptr<juce::AudioFormatReader>
createReaderOfKind (AudioFileKind kind, std::unique_ptr<juce::InputStream> stream, juce::Result& why)
{
    switch (kind)
    {
        case AudioFileKind::wav:
            return createReader<juce::WavAudioFormat> (std::move (stream), why);
        case AudioFileKind::aiff:
            return createReader<juce::AiffAudioFormat> (std::move (stream), why);
        case AudioFileKind::caf:
            return createReader<CafAudioFormat> (std::move (stream), why);
        case AudioFileKind::flac:
            return createFlacFileReader (std::move (stream), why);
        case AudioFileKind::oggVorbis:
            return createReader<juce::OggVorbisAudioFormat> (std::move (stream), why);
        case AudioFileKind::groupFile:
            return createReader<TessivarAudioFormat> (std::move (stream), why);
    }

    jassertfalse;
    return nullptr;
}
/** The first track of a group file as an audio file. Such a file is told by its end, and its reader checks every number in
    it; null when it is none.
*/
std::unique_ptr<AudioFileReader> openGroupStream (std::unique_ptr<juce::InputStream>& stream)
{
    if (! TessivarAudioFormat::isMarked (*stream))
        return nullptr;

    auto why = juce::Result::ok();
    auto reader = createReaderOfKind (AudioFileKind::groupFile, std::move (stream), why);

    if (reader == nullptr)
        return nullptr;

    AudioHeader header;
    header.kind = AudioFileKind::groupFile;
    header.sampleRate = reader->sampleRate;
    header.numChannels = static_cast<int> (reader->numChannels);
    header.bitsPerSample = static_cast<int> (reader->bitsPerSample);
    header.isFloatingPoint = true;
    header.lengthInSamples = reader->lengthInSamples;
    return std::make_unique<AudioFileReader> (std::move (reader), std::move (header), nullptr);
}
} // namespace

AudioFileReader::AudioFileReader (std::unique_ptr<juce::AudioFormatReader> formatReader,
                                  AudioHeader audioHeader,
                                  PatchedInputStream* checkedStream)
    : AudioFormatReader (nullptr, audioFileKindName (audioHeader.kind)), reader (std::move (formatReader)),
      audioFileHeader (std::move (audioHeader)), stream (checkedStream)
{
    sampleRate = audioFileHeader.sampleRate;
    numChannels = static_cast<unsigned int> (audioFileHeader.numChannels);
    bitsPerSample = static_cast<unsigned int> (audioFileHeader.bitsPerSample);
    usesFloatingPointData = reader->usesFloatingPointData;
    // The format's readers go by their own idea of the length and would make up silence behind the end.
    if (audioFileHeader.lengthInSamples >= 0)
        reader->lengthInSamples =
            std::min (reader->lengthInSamples, juce::int64{ audioFileHeader.lengthInSamples });
    lengthInSamples = reader->lengthInSamples;

    const auto isOgg = audioFileHeader.kind == AudioFileKind::oggVorbis;
    const auto& keys = reader->metadataValues.getAllKeys();
    const auto& values = reader->metadataValues.getAllValues();
    for (int i = 0; i < keys.size(); ++i)
    {
        // What the format's readers say about themselves and the format is no metadata of the file.
        if (keys[i] == "MetaDataSource" || keys[i] == "ChannelMask")
            continue;
        metadataValues.set (isOgg ? metadataKeyForTag (keys[i].replace ("id3", {})) : keys[i], values[i]);
    }
    metadataValues.addArray (audioFileHeader.metadata);
}

bool AudioFileReader::readSamples (int* const* destChannels,
                                   int numDestChannels,
                                   int startOffsetInDestBuffer,
                                   juce::int64 startSampleInFile,
                                   int numSamples)
{
    if (stream != nullptr)
        stream->takeShortRead();

    const auto succeeded = reader->readSamples (
        destChannels, numDestChannels, startOffsetInDestBuffer, startSampleInFile, numSamples);
    return succeeded && (stream == nullptr || ! stream->takeShortRead());
}

std::unique_ptr<AudioFileReader> openAudioFile (const juce::File& file, juce::Result& why)
{
    auto stream = openStream (file, why);
    return stream != nullptr ? openAudioStream (std::move (stream), why) : nullptr;
}

std::unique_ptr<AudioFileReader> openAudioStream (std::unique_ptr<juce::InputStream> stream,
                                                  juce::Result& why)
{
    AudioHeader header;
    why = inspectAudioHeader (*stream, header);
    if (why.failed())
    {
        auto group = openGroupStream (stream);
        why = group != nullptr ? juce::Result::ok() : why;
        return group;
    }

    stream->setPosition (0);
    auto patched = std::make_unique<PatchedInputStream> (std::move (stream), header.patches);
    // Of plain PCM, every byte that a reader asks for is known to be there; decoders read ahead past the end.
    const auto isPlain = header.kind == AudioFileKind::wav || header.kind == AudioFileKind::aiff;
    auto* const checkedStream = isPlain ? patched.get() : nullptr;

    auto reader = createReaderOfKind (header.kind, std::move (patched), why);
    if (reader == nullptr)
        return nullptr;

    if (static_cast<int> (reader->numChannels) != header.numChannels)
    {
        why = juce::Result::fail ("the audio holds " + juce::String (reader->numChannels)
                                  + " channels where the header says " + juce::String (header.numChannels));
        return nullptr;
    }
    // Counted by the decoder, for kinds whose header doesn't say it.
    if (header.lengthInSamples < 0
        && (reader->lengthInSamples < 0 || reader->lengthInSamples > header.maxLengthInSamples))
    {
        why = juce::Result::fail ("the audio claims " + juce::String (reader->lengthInSamples)
                                  + " samples; a file of this size holds at most "
                                  + juce::String (header.maxLengthInSamples));
        return nullptr;
    }

    return std::make_unique<AudioFileReader> (std::move (reader), std::move (header), checkedStream);
}

juce::Result readMetadataChunks (const juce::File& file, std::vector<MetadataChunk>& chunks)
{
    auto result = juce::Result::ok();
    const auto stream = openStream (file, result);
    if (stream == nullptr)
        return result;

    AudioHeader header;
    result = inspectAudioHeader (*stream, header);
    if (result.failed())
        return result;

    std::vector<MetadataChunk> found;
    for (const auto& location : header.chunks)
    {
        if (location.size > headerLimits::maxMetadataBytes)
            continue;

        MetadataChunk chunk{ location.id,
                             std::vector<std::uint8_t> (static_cast<std::size_t> (location.size)) };
        const auto size = static_cast<int> (location.size);
        if (! stream->setPosition (location.start) || stream->read (chunk.bytes.data(), size) != size)
            return juce::Result::fail ("the metadata can't be read");
        found.push_back (std::move (chunk));
    }

    chunks = std::move (found);
    return juce::Result::ok();
}

} // namespace tessivar
