#include "model/AudioFileReaders.h"

#include "model/AudioTags.h"
#include "model/CafAudioFormat.h"
#include "model/DiskNames.h"
#include "model/FlacFileReader.h"
#include "model/ForeignText.h"
#include "model/groupfile/TessivarAudioFormat.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

namespace tessivar
{

namespace
{
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

/** The header of a group file's first track. Such a file is told by its end, and its reader checks every number in it. */
AudioHeader groupHeader (const juce::AudioFormatReader& reader)
{
    AudioHeader header;
    header.kind = AudioFileKind::groupFile;
    header.sampleRate = reader.sampleRate;
    header.numChannels = static_cast<int> (reader.numChannels);
    header.bitsPerSample = static_cast<int> (reader.bitsPerSample);
    header.isFloatingPoint = true;
    header.lengthInSamples = header.maxLengthInSamples = reader.lengthInSamples;
    return header;
}

/** Makes channels and length of a reader those of the header, or refuses them. */
juce::Result settle (juce::AudioFormatReader& reader, const AudioHeader& header)
{
    if (static_cast<int> (reader.numChannels) != header.numChannels)
        return juce::Result::fail ("the audio holds " + juce::String (reader.numChannels)
                                   + " channels where the header says " + juce::String (header.numChannels));

    // Of plain PCM the header check has counted the samples that are there; the toolkit's readers take a large count for a
    // negative one, or make up silence behind the end. Decoders have their own idea, and count where no header does.
    const auto isPlain = header.kind == AudioFileKind::wav || header.kind == AudioFileKind::aiff;
    const auto decoded = static_cast<std::uint64_t> (reader.lengthInSamples);
    const auto stated = static_cast<std::uint64_t> (header.lengthInSamples);
    const auto length = isPlain ? stated : std::min (decoded, stated); // none stated is the largest number
    if (length > static_cast<std::uint64_t> (std::max<std::int64_t> (0, header.maxLengthInSamples)))
        return juce::Result::fail ("the audio claims " + juce::String (length)
                                   + " samples; a file of this size holds at most "
                                   + juce::String (header.maxLengthInSamples));

    reader.lengthInSamples = static_cast<juce::int64> (length);
    return juce::Result::ok();
}
} // namespace

AudioFileReader::AudioFileReader (std::unique_ptr<juce::AudioFormatReader> formatReader,
                                  AudioHeader audioHeader,
                                  std::shared_ptr<const juce::Result> streamStatus)
    : AudioFormatReader (nullptr, audioFileKindName (audioHeader.kind)), reader (std::move (formatReader)),
      audioFileHeader (std::move (audioHeader)), readStatus (std::move (streamStatus))
{
    sampleRate = audioFileHeader.sampleRate;
    numChannels = static_cast<unsigned int> (audioFileHeader.numChannels);
    bitsPerSample = static_cast<unsigned int> (audioFileHeader.bitsPerSample);
    usesFloatingPointData = reader->usesFloatingPointData;
    lengthInSamples = reader->lengthInSamples;

    // Thousands of markers are possible, and the array looks through all of its keys whenever one is set.
    std::map<juce::String, juce::String> texts;
    const auto& keys = reader->metadataValues.getAllKeys();
    const auto& values = reader->metadataValues.getAllValues();
    for (int i = 0; i < keys.size(); ++i)
    {
        // What the format's readers say about themselves and the format is no metadata of the file. The header check has
        // read the texts of an Ogg file itself.
        if (keys[i] == "MetaDataSource" || keys[i] == "ChannelMask"
            || audioFileHeader.kind == AudioFileKind::oggVorbis)
            continue;
        texts[validText (keys[i])] = validText (values[i]);
    }
    metadataValues.addMap (texts);
    metadataValues.addArray (audioFileHeader.metadata);
}

bool AudioFileReader::readSamples (int* const* destChannels,
                                   int numDestChannels,
                                   int startOffsetInDestBuffer,
                                   juce::int64 startSampleInFile,
                                   int numSamples)
{
    // The toolkit's readers take lost samples for silence and report success.
    return readStatus->wasOk()
           && reader->readSamples (
               destChannels, numDestChannels, startOffsetInDestBuffer, startSampleInFile, numSamples)
           && readStatus->wasOk();
}

std::unique_ptr<PatchedInputStream> openCheckedStream (const juce::File& file, juce::Result& why)
{
    auto stream = openStream (file, why);
    return stream != nullptr ? std::make_unique<PatchedInputStream> (std::move (stream)) : nullptr;
}

std::unique_ptr<AudioFileReader>
openAudioFile (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop)
{
    auto stream = openStream (file, why);
    return stream != nullptr ? openAudioStream (std::move (stream), why, std::move (shouldStop)) : nullptr;
}

std::unique_ptr<AudioFileReader> openAudioStream (std::unique_ptr<juce::InputStream> stream,
                                                  juce::Result& why,
                                                  std::function<bool()> shouldStop)
{
    auto checked = std::make_unique<PatchedInputStream> (std::move (stream), std::move (shouldStop));
    const auto status = checked->sharedStatus();

    AudioHeader header;
    why = inspectAudioHeader (*checked, header);
    const auto notAudio = why;
    const auto isGroup = why.failed() && TessivarAudioFormat::isMarked (*checked);
    std::unique_ptr<juce::AudioFormatReader> reader;
    if (isGroup || why.wasOk())
    {
        checked->setPosition (0);
        checked->setPatches (header.patches);
        const auto kind = isGroup ? AudioFileKind::groupFile : header.kind;
        reader = createReaderOfKind (kind, std::move (checked), why);
    }

    if (reader != nullptr)
    {
        if (isGroup)
            header = groupHeader (*reader);
        why = settle (*reader, header);
    }
    else if (isGroup)
    {
        why = notAudio;
    }

    // Whatever else seems wrong follows from bytes that weren't read.
    if (status->failed())
        why = *status;
    return why.wasOk() ? std::make_unique<AudioFileReader> (std::move (reader), std::move (header), status)
                       : nullptr;
}

juce::Result readMetadataChunks (const juce::File& file, std::vector<MetadataChunk>& chunks)
{
    auto result = juce::Result::ok();
    const auto stream = openCheckedStream (file, result);
    if (stream == nullptr)
        return result;

    AudioHeader header;
    result = inspectAudioHeader (*stream, header);
    if (stream->status().failed() || result.failed())
        return stream->status().failed() ? stream->status() : result;

    std::vector<MetadataChunk> found;
    for (const auto& location : header.chunks)
    {
        if (location.size > headerLimits::maxMetadataBytes)
            continue;

        MetadataChunk chunk{ location.id,
                             std::vector<std::uint8_t> (static_cast<std::size_t> (location.size)) };
        const auto size = static_cast<int> (location.size);
        if (! stream->setPosition (location.start) || stream->read (chunk.bytes.data(), size) != size)
            return stream->status();
        found.push_back (std::move (chunk));
    }

    chunks = std::move (found);
    return juce::Result::ok();
}

} // namespace tessivar
