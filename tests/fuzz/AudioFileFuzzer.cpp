#include "model/AudioFileReaders.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

/** Opens the bytes as an audio file, through the check of its header, and reads its first second and its end. */
extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    auto why = juce::Result::ok();
    const auto reader =
        tessivar::openAudioStream (std::make_unique<juce::MemoryInputStream> (data, size, false), why);

    if (reader == nullptr)
        return 0;

    constexpr int length = 4096;
    juce::AudioBuffer<float> buffer (static_cast<int> (reader->numChannels), length);
    const auto end = std::max (juce::int64 (0), reader->lengthInSamples - length);

    for (const auto start : { juce::int64 (0), juce::int64 (length), end })
        reader->read (&buffer, 0, length, start, true, true);

    return 0;
}
