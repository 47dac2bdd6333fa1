#include "model/CafAudioFormat.h"

#include "model/AudioTags.h"
#include "model/ForeignText.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace tessivar
{

namespace
{
juce::InputStream& streamOf (void* user)
{
    return *static_cast<juce::InputStream*> (user);
}

sf_count_t streamLength (void* user)
{
    return streamOf (user).getTotalLength();
}

sf_count_t seekStream (sf_count_t offset, int whence, void* user)
{
    auto& stream = streamOf (user);
    const auto base = whence == SEEK_CUR   ? stream.getPosition()
                      : whence == SEEK_END ? stream.getTotalLength()
                                           : 0;
    const auto target = base + offset;
    return target >= 0 && stream.setPosition (target) ? target : -1;
}

sf_count_t readStream (void* destination, sf_count_t count, void* user)
{
    constexpr sf_count_t largestRead = 1 << 30;
    return streamOf (user).read (destination, static_cast<int> (std::min (count, largestRead)));
}

sf_count_t writeStream (const void*, sf_count_t, void*)
{
    return 0;
}

sf_count_t tellStream (void* user)
{
    return streamOf (user).getPosition();
}

unsigned int bitsOfSubtype (int format)
{
    switch (format & SF_FORMAT_SUBMASK)
    {
        case SF_FORMAT_PCM_S8:
            return 8;
        case SF_FORMAT_PCM_16:
        case SF_FORMAT_ALAC_16:
            return 16;
        case SF_FORMAT_ALAC_20:
            return 20;
        case SF_FORMAT_PCM_24:
        case SF_FORMAT_ALAC_24:
            return 24;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_ALAC_32:
        case SF_FORMAT_FLOAT:
            return 32;
        default:
            return 0;
    }
}

class CafReader final : public juce::AudioFormatReader
{
public:
    explicit CafReader (juce::InputStream* stream) : AudioFormatReader (stream, "CAF")
    {
        SF_VIRTUAL_IO io{ streamLength, seekStream, readStream, writeStream, tellStream };
        SF_INFO info{};
        handle = sf_open_virtual (&io, SFM_READ, &info, stream);
        if (handle == nullptr || (info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_CAF)
            return;

        bitsPerSample = bitsOfSubtype (info.format);
        if (bitsPerSample == 0)
            return;

        usesFloatingPointData = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT;
        numChannels = static_cast<unsigned int> (info.channels);
        lengthInSamples = info.frames;
        sampleRate = info.samplerate;
        readMetadata();
    }

    ~CafReader() override
    {
        // Before the base class deletes the stream.
        if (handle != nullptr)
            sf_close (handle);
    }

    bool readSamples (int* const* destChannels,
                      int numDestChannels,
                      int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile,
                      int numSamples) override
    {
        clearSamplesBeyondAvailableLength (destChannels,
                                           numDestChannels,
                                           startOffsetInDestBuffer,
                                           startSampleInFile,
                                           numSamples,
                                           lengthInSamples);
        if (numSamples <= 0)
            return true;

        // Seeking in ALAC decodes from the packet's start, so it is done only where it has to be.
        if (startSampleInFile != nextSample
            && sf_seek (handle, startSampleInFile, SEEK_SET) != startSampleInFile)
        {
            nextSample = -1;
            return false;
        }
        nextSample = startSampleInFile;

        const auto channels = static_cast<int> (numChannels);
        while (numSamples > 0)
        {
            const auto count = std::min (numSamples, framesPerRead);
            interleaved.resize (static_cast<std::size_t> (framesPerRead * channels));
            const auto numRead =
                usesFloatingPointData
                    ? sf_readf_float (handle, reinterpret_cast<float*> (interleaved.data()), count)
                    : sf_readf_int (handle, interleaved.data(), count);
            nextSample = numRead == count ? nextSample + count : -1;
            if (numRead != count)
                return false;

            for (int channel = 0; channel < std::min (numDestChannels, channels); ++channel)
                if (auto* const dest = destChannels[channel])
                    for (int i = 0; i < count; ++i)
                        dest[startOffsetInDestBuffer + i] =
                            interleaved[static_cast<std::size_t> (i * channels + channel)];

            startOffsetInDestBuffer += count;
            numSamples -= count;
        }

        return true;
    }

private:
    static constexpr int framesPerRead = 4096;

    SNDFILE* handle = nullptr;
    std::vector<int> interleaved; // the bits of floats when the file holds floats
    juce::int64 nextSample = 0;

    void readMetadata()
    {
        struct Tag
        {
            int id;
            const char* name;
        };
        constexpr std::array<Tag, 10> tags{ { { SF_STR_TITLE, "title" },
                                              { SF_STR_COPYRIGHT, "copyright" },
                                              { SF_STR_SOFTWARE, "software" },
                                              { SF_STR_ARTIST, "artist" },
                                              { SF_STR_COMMENT, "comment" },
                                              { SF_STR_DATE, "date" },
                                              { SF_STR_ALBUM, "album" },
                                              { SF_STR_LICENSE, "license" },
                                              { SF_STR_TRACKNUMBER, "tracknumber" },
                                              { SF_STR_GENRE, "genre" } } };
        for (const auto& tag : tags)
            if (const auto* const text = sf_get_string (handle, tag.id); text != nullptr && *text != 0)
                metadataValues.set (
                    metadataKeyForTag (tag.name),
                    textOfBytes ({ reinterpret_cast<const std::uint8_t*> (text), std::strlen (text) }));
    }

    JUCE_DECLARE_NON_COPYABLE (CafReader)
};
} // namespace

CafAudioFormat::CafAudioFormat() : AudioFormat ("CAF file", ".caf") {}

juce::Array<int> CafAudioFormat::getPossibleSampleRates()
{
    return { 44100, 48000, 88200, 96000, 192000 };
}

juce::Array<int> CafAudioFormat::getPossibleBitDepths()
{
    return { 8, 16, 20, 24, 32 };
}

juce::AudioFormatReader* CafAudioFormat::createReaderFor (juce::InputStream* sourceStream,
                                                          bool deleteStreamIfOpeningFails)
{
    auto reader = std::make_unique<CafReader> (sourceStream);
    if (reader->numChannels > 0)
        return reader.release();

    if (! deleteStreamIfOpeningFails)
        reader->input = nullptr;
    return nullptr;
}

juce::AudioFormatWriter* CafAudioFormat::createWriterFor (
    juce::OutputStream*, double, unsigned int, int, const juce::StringPairArray&, int)
{
    return nullptr;
}

} // namespace tessivar
