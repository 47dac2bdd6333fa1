#include "model/audiofile/AudioFileReaders.h"

#include "model/ForeignText.h"
#include "model/audiofile/AudioFormats.h"
#include "model/audiofile/PatchedInputStream.h"
#include "model/groupfile/TessivarFormatReader.h"

#include <algorithm>
#include <map>
#include <utility>

namespace tessivar
{

namespace
{
template <typename Format>
std::unique_ptr<juce::AudioFormatReader> createJuceReader (std::unique_ptr<juce::InputStream> stream)
{
    return std::unique_ptr<juce::AudioFormatReader> (Format().createReaderFor (stream.release(), true));
}

/** The reader of a checked stream. Null when it can't be decoded; why then says so if there is more to say.
*/
std::unique_ptr<juce::AudioFormatReader>
createReader (const AudioHeader& header, std::unique_ptr<juce::InputStream> stream, juce::Result& why)
{
    switch (header.kind)
    {
        // Group files and exports keep the metadata of these two under JUCE's keys; libsndfile gives others.
        case AudioFileKind::wav:
            return createJuceReader<juce::WavAudioFormat> (std::move (stream));
        case AudioFileKind::aiff:
            return createJuceReader<juce::AiffAudioFormat> (std::move (stream));
        // libsndfile gives wrong samples after a seek near the end, and a length of 2^63 samples when bytes
        // follow the last page.
        case AudioFileKind::oggVorbis:
            return createJuceReader<juce::OggVorbisAudioFormat> (std::move (stream));
        case AudioFileKind::caf:
            return createCafReader (std::move (stream), header);
        case AudioFileKind::flac:
            return createFlacReader (std::move (stream), why);
        case AudioFileKind::groupFile:
            break;
    }

    auto reader = std::make_unique<TessivarFormatReader> (stream.release());
    const auto hasTrack = reader->isValid() && reader->numTracks() > 0;
    return hasTrack ? std::move (reader) : nullptr;
}

/** The header of a group file's first track. The reader of such files checks every number itself. */
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

    // The header check has counted the samples of plain PCM. JUCE's readers take a large count for a negative
    // one, or make up silence behind the end. Decoders count for themselves where the header doesn't.
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

std::unique_ptr<AudioFileReader> openChecked (std::unique_ptr<PatchedInputStream> stream, juce::Result& why)
{
    const auto status = stream->sharedStatus();
    AudioHeader header;
    why = inspectAudioHeader (*stream, header);
    const auto notAudio = why;
    const auto isGroup = why.failed() && TessivarFormatReader::isMarked (*stream);
    std::unique_ptr<juce::AudioFormatReader> reader;
    if (isGroup || why.wasOk())
    {
        if (isGroup)
            header.kind = AudioFileKind::groupFile;
        stream->setPosition (0);
        stream->setPatches (header.patches);
        why = juce::Result::ok();
        reader = createReader (header, std::move (stream), why);
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
    else if (why.wasOk())
    {
        why = juce::Result::fail ("the audio can't be decoded");
    }

    // Whatever else seems wrong follows from bytes that weren't read.
    if (status->failed())
        why = *status;
    return why.wasOk() ? std::make_unique<AudioFileReader> (std::move (reader), std::move (header), status)
                       : nullptr;
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

    // There may be thousands of markers, and setting one in the array searches all of its keys.
    std::map<juce::String, juce::String> texts;
    const auto& keys = reader->metadataValues.getAllKeys();
    const auto& values = reader->metadataValues.getAllValues();
    for (int i = 0; i < keys.size(); ++i)
    {
        // What a reader says about itself or the format is no metadata of the file. The header check has
        // already read the texts of an Ogg file.
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
    // JUCE's readers take lost samples for silence and report success.
    return readStatus->wasOk()
           && reader->readSamples (
               destChannels, numDestChannels, startOffsetInDestBuffer, startSampleInFile, numSamples)
           && readStatus->wasOk();
}

std::unique_ptr<AudioFileReader>
openAudioFile (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop)
{
    auto stream = PatchedInputStream::open (file, why, std::move (shouldStop));
    return stream != nullptr ? openChecked (std::move (stream), why) : nullptr;
}

std::unique_ptr<AudioFileReader> openAudioStream (std::unique_ptr<juce::InputStream> stream,
                                                  juce::Result& why,
                                                  std::function<bool()> shouldStop)
{
    return openChecked (std::make_unique<PatchedInputStream> (std::move (stream), std::move (shouldStop)),
                        why);
}

} // namespace tessivar
