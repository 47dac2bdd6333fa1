#include "model/ForeignText.h"
#include "model/audiofile/AudioFormats.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
juce::InputStream& streamOf (void* user)
{
    return *static_cast<juce::InputStream*> (user);
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

/** Reads CAF with linear PCM or ALAC, which JUCE does on other systems only, by libsndfile. */
class CafReader final : public juce::AudioFormatReader
{
public:
    CafReader (std::unique_ptr<juce::InputStream> stream, const AudioHeader& header)
        : AudioFormatReader (stream.release(), "CAF")
    {
        SF_VIRTUAL_IO io{ [] (void* user) -> sf_count_t { return streamOf (user).getTotalLength(); },
                          seekStream,
                          readStream,
                          [] (const void*, sf_count_t, void*) -> sf_count_t { return 0; },
                          [] (void* user) -> sf_count_t { return streamOf (user).getPosition(); } };
        SF_INFO info{};
        handle = sf_open_virtual (&io, SFM_READ, &info, input);
        if (handle == nullptr)
            return;

        usesFloatingPointData = header.isFloatingPoint;
        numChannels = static_cast<unsigned int> (info.channels);
        lengthInSamples = info.frames;
        readMetadata();
    }

    // Before the base class deletes the stream; closing null does nothing.
    ~CafReader() override { sf_close (handle); }

    [[nodiscard]] bool isOpen() const { return handle != nullptr; }

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
        if (std::exchange (nextSample, -1) != startSampleInFile
            && sf_seek (handle, startSampleInFile, SEEK_SET) != startSampleInFile)
            return false;

        const auto channels = static_cast<int> (numChannels);
        interleaved.resize (static_cast<std::size_t> (framesPerRead * channels));
        for (int done = 0; done < numSamples;)
        {
            const auto count = std::min (numSamples - done, framesPerRead);
            const auto numRead =
                usesFloatingPointData
                    ? sf_readf_float (handle, reinterpret_cast<float*> (interleaved.data()), count)
                    : sf_readf_int (handle, interleaved.data(), count);
            if (numRead != count)
                return false;

            for (int channel = 0; channel < std::min (numDestChannels, channels); ++channel)
                if (auto* const dest = destChannels[channel])
                    for (int i = 0; i < count; ++i)
                        dest[startOffsetInDestBuffer + done + i] =
                            interleaved[static_cast<std::size_t> (i * channels + channel)];

            done += count;
        }

        nextSample = startSampleInFile + numSamples;
        return true;
    }

private:
    static constexpr int framesPerRead = 4096;

    SNDFILE* handle = nullptr;
    std::vector<int> interleaved; // the bits of floats when the file holds floats
    juce::int64 nextSample = 0;   // that the library gives without a seek; -1 after a failure

    void readMetadata()
    {
        constexpr std::array<std::pair<int, const char*>, 10> tags{ { { SF_STR_TITLE, "title" },
                                                                      { SF_STR_COPYRIGHT, "copyright" },
                                                                      { SF_STR_SOFTWARE, "software" },
                                                                      { SF_STR_ARTIST, "artist" },
                                                                      { SF_STR_COMMENT, "comment" },
                                                                      { SF_STR_DATE, "date" },
                                                                      { SF_STR_ALBUM, "album" },
                                                                      { SF_STR_LICENSE, "license" },
                                                                      { SF_STR_TRACKNUMBER, "tracknumber" },
                                                                      { SF_STR_GENRE, "genre" } } };
        for (const auto& [id, name] : tags)
            if (const auto* const text = sf_get_string (handle, id); text != nullptr && *text != 0)
                metadataValues.set (
                    metadataKeyForTag (name),
                    textOfBytes ({ reinterpret_cast<const std::uint8_t*> (text), std::strlen (text) }));
    }

    JUCE_DECLARE_NON_COPYABLE (CafReader)
};
} // namespace

std::unique_ptr<juce::AudioFormatReader> createCafReader (std::unique_ptr<juce::InputStream> stream,
                                                          const AudioHeader& header)
{
    auto reader = std::make_unique<CafReader> (std::move (stream), header);
    return reader->isOpen() ? std::move (reader) : nullptr;
}

} // namespace tessivar
