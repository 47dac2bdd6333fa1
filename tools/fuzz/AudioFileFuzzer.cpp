#include "model/audiofile/AudioFileReaders.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <ogg/ogg.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{
/** Repairs the checksums of an Ogg file's pages, which would stop any change. */
void mendChecksums (std::vector<std::uint8_t>& bytes)
{
    for (std::size_t start = 0; start + 27 <= bytes.size() && bytes[start] == 'O';)
    {
        const std::size_t headerSize = 27u + bytes[start + 26];
        if (headerSize > bytes.size() - start)
            return;

        std::size_t bodySize = 0;
        for (std::size_t i = 27; i < headerSize; ++i)
            bodySize += bytes[start + i];
        if (bodySize > bytes.size() - start - headerSize)
            return;

        ogg_page page{ &bytes[start],
                       static_cast<long> (headerSize),
                       bytes.data() + start + headerSize,
                       static_cast<long> (bodySize) };
        ogg_page_checksum_set (&page);
        start += headerSize + bodySize;
    }
}
} // namespace

/** Opens the bytes as an audio file, header check included, and reads its first second and its end. */
extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> bytes (data, data + size);
    mendChecksums (bytes);

    auto why = juce::Result::ok();
    const auto reader = tessivar::openAudioStream (
        std::make_unique<juce::MemoryInputStream> (bytes.data(), bytes.size(), false), why);

    if (reader == nullptr)
        return 0;

    constexpr int length = 4096;
    juce::AudioBuffer<float> buffer (static_cast<int> (reader->numChannels), length);
    const auto end = std::max (juce::int64 (0), reader->lengthInSamples - length);

    for (const auto start : { juce::int64 (0), juce::int64 (length), end })
        reader->read (&buffer, 0, length, start, true, true);

    return 0;
}
