#pragma once

#include "tests/support/WorkFolder.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <cstdint>
#include <string>
#include <vector>

/** Small audio files, put together byte by byte. */
namespace tessivar::test
{

using Bytes = std::vector<std::uint8_t>;

Bytes operator+ (Bytes a, const Bytes& b);
Bytes text (const std::string& characters);
Bytes u16 (std::int64_t value);
Bytes u32 (std::int64_t value);
Bytes u64 (std::int64_t value);
Bytes be16 (std::int64_t value);
Bytes be32 (std::int64_t value);
Bytes be64 (std::int64_t value);
Bytes beDouble (double value);

/** Bytes 1, 2, 3, ... that make a different sample of every frame. */
Bytes audioBytes (std::size_t count);

struct PcmFormat
{
    int channels = 1;
    std::int64_t sampleRate = 44100;
    int bits = 16;
    int containerBytes = 0; // 0: as many as the bits need
    bool isFloatingPoint = false;
};

/** A chunk as it stands in RIFF files: little-endian size, padded to an even one. */
Bytes riffChunk (const std::string& tag, const Bytes& content);
Bytes wavFormat (const PcmFormat& format);
Bytes riffFile (const Bytes& chunks);
Bytes wavFile (const PcmFormat& format, const Bytes& audio, const Bytes& chunksBehind = {});

/** A chunk as it stands in AIFF files. */
Bytes iffChunk (const std::string& tag, const Bytes& content);
/** A "COMM" chunk; with a compression type it is that of an AIFC file. */
Bytes aiffFormat (const PcmFormat& format, std::int64_t numFrames, const std::string& compression = {});
Bytes soundChunk (const Bytes& audio);
Bytes formFile (const std::string& type, const Bytes& chunks);
Bytes aiffFile (const PcmFormat& format, const Bytes& audio);

Bytes cafChunk (const std::string& tag, const Bytes& content);
Bytes cafFormat (const PcmFormat& format,
                 const std::string& codec = "lpcm",
                 std::int64_t framesPerPacket = 1);
Bytes cafFile (const Bytes& chunks);
Bytes pcmCafFile (const PcmFormat& format, const Bytes& audio);

/** A ramp with a different step in each channel, in whole 16-bit steps. */
juce::AudioBuffer<float> ramp (int channels, int numSamples);

/** The same noise at every call, in whole 16-bit steps; no codec makes it smaller. */
juce::AudioBuffer<float> noise (int channels, int numSamples);

/** Written by JUCE's encoders. */
Bytes flacFile (const juce::AudioBuffer<float>& audio, double sampleRate, int bits = 16);
Bytes oggFile (const juce::AudioBuffer<float>& audio, double sampleRate);
/** A CAF file with 16-bit ALAC and a title. Its packets must stay below 16 KB, or the encoder overruns its
    table: no noise in two channels.
*/
Bytes alacFile (const juce::AudioBuffer<float>& audio, int sampleRate);

/** A stream on bytes of its own. */
std::unique_ptr<juce::InputStream> streamOn (const Bytes& bytes);

} // namespace tessivar::test
