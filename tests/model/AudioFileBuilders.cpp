#include "tests/model/AudioFileBuilders.h"

#include <sndfile.h>

#include <bit>

namespace tessivar::test
{

namespace
{
Bytes number (std::int64_t value, int numBytes, bool bigEndian)
{
    Bytes bytes;
    for (int i = 0; i < numBytes; ++i)
        bytes.push_back (static_cast<std::uint8_t> (value >> (8 * (bigEndian ? numBytes - 1 - i : i))));
    return bytes;
}

std::int64_t sizeOf (const Bytes& bytes)
{
    return static_cast<std::int64_t> (bytes.size());
}

Bytes padded (Bytes bytes)
{
    bytes.resize ((bytes.size() + 1) / 2 * 2);
    return bytes;
}

int containerBytesOf (const PcmFormat& format)
{
    return format.containerBytes > 0 ? format.containerBytes : (format.bits + 7) / 8;
}

template <typename Format>
Bytes encode (const juce::AudioBuffer<float>& audio, double sampleRate, int bits)
{
    juce::MemoryBlock block;
    auto* const out = new juce::MemoryOutputStream (block, false);
    juce::StringPairArray tags;
    tags.set ("id3title", "Take 1");
    Format format;
    std::unique_ptr<juce::AudioFormatWriter> writer (format.createWriterFor (
        out, sampleRate, static_cast<unsigned int> (audio.getNumChannels()), bits, tags, 0));
    writer->writeFromAudioSampleBuffer (audio, 0, audio.getNumSamples());
    writer.reset();
    const auto* const data = static_cast<const std::uint8_t*> (block.getData());
    return { data, data + block.getSize() };
}
} // namespace

Bytes operator+ (Bytes a, const Bytes& b)
{
    a.insert (a.end(), b.begin(), b.end());
    return a;
}

Bytes text (const std::string& characters)
{
    return { characters.begin(), characters.end() };
}

Bytes u16 (std::int64_t value)
{
    return number (value, 2, false);
}

Bytes u32 (std::int64_t value)
{
    return number (value, 4, false);
}

Bytes u64 (std::int64_t value)
{
    return number (value, 8, false);
}

Bytes be16 (std::int64_t value)
{
    return number (value, 2, true);
}

Bytes be32 (std::int64_t value)
{
    return number (value, 4, true);
}

Bytes be64 (std::int64_t value)
{
    return number (value, 8, true);
}

Bytes beDouble (double value)
{
    return be64 (std::bit_cast<std::int64_t> (value));
}

Bytes audioBytes (std::size_t count)
{
    Bytes bytes (count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t> (i + 1);
    return bytes;
}

Bytes riffChunk (const std::string& tag, const Bytes& content)
{
    return text (tag) + u32 (sizeOf (content)) + padded (content);
}

Bytes wavFormat (const PcmFormat& format)
{
    const auto frameBytes = containerBytesOf (format) * format.channels;
    return riffChunk ("fmt ",
                      u16 (format.isFloatingPoint ? 3 : 1) + u16 (format.channels) + u32 (format.sampleRate)
                          + u32 (format.sampleRate * frameBytes) + u16 (frameBytes) + u16 (format.bits));
}

Bytes riffFile (const Bytes& chunks)
{
    return text ("RIFF") + u32 (4 + sizeOf (chunks)) + text ("WAVE") + chunks;
}

Bytes wavFile (const PcmFormat& format, const Bytes& audio, const Bytes& chunksBehind)
{
    return riffFile (wavFormat (format) + riffChunk ("data", audio) + chunksBehind);
}

Bytes iffChunk (const std::string& tag, const Bytes& content)
{
    return text (tag) + be32 (sizeOf (content)) + padded (content);
}

Bytes aiffFormat (const PcmFormat& format, std::int64_t numFrames, const std::string& compression)
{
    // As an 80-bit number, a rate below 65536 is a mantissa shifted up to the highest bit.
    int exponent = 16383 + 63;
    auto mantissa = static_cast<std::uint64_t> (format.sampleRate);
    for (; mantissa != 0 && (mantissa >> 63) == 0; mantissa <<= 1)
        --exponent;

    auto content = be16 (format.channels) + be32 (numFrames) + be16 (format.bits) + be16 (exponent)
                   + be64 (static_cast<std::int64_t> (mantissa));
    if (! compression.empty())
        content = content + text (compression) + Bytes{ 0, 0 };
    return iffChunk ("COMM", content);
}

Bytes soundChunk (const Bytes& audio)
{
    return iffChunk ("SSND", be32 (0) + be32 (0) + audio);
}

Bytes formFile (const std::string& type, const Bytes& chunks)
{
    return text ("FORM") + be32 (4 + sizeOf (chunks)) + text (type) + chunks;
}

Bytes aiffFile (const PcmFormat& format, const Bytes& audio)
{
    const auto numFrames = sizeOf (audio) / (containerBytesOf (format) * format.channels);
    return formFile ("AIFF", aiffFormat (format, numFrames) + soundChunk (audio));
}

Bytes cafChunk (const std::string& tag, const Bytes& content)
{
    return text (tag) + be64 (sizeOf (content)) + content;
}

Bytes cafFormat (const PcmFormat& format, const std::string& codec, std::int64_t framesPerPacket)
{
    const auto isPcm = codec == "lpcm";
    return cafChunk ("desc",
                     beDouble (static_cast<double> (format.sampleRate)) + text (codec)
                         + be32 (isPcm ? (format.isFloatingPoint ? 1 : 0) : format.bits / 8 - 1)
                         + be32 (isPcm ? format.channels * containerBytesOf (format) : 0)
                         + be32 (framesPerPacket) + be32 (format.channels) + be32 (isPcm ? format.bits : 0));
}

Bytes cafFile (const Bytes& chunks)
{
    return text ("caff") + be16 (1) + be16 (0) + chunks;
}

Bytes pcmCafFile (const PcmFormat& format, const Bytes& audio)
{
    return cafFile (cafFormat (format) + cafChunk ("data", be32 (0) + audio));
}

juce::AudioBuffer<float> ramp (int channels, int numSamples)
{
    juce::AudioBuffer<float> audio (channels, numSamples);
    for (int channel = 0; channel < channels; ++channel)
        for (int i = 0; i < numSamples; ++i)
            audio.setSample (channel, i, static_cast<float> (i * (channel + 1) % 20000 - 10000) / 32768.0f);
    return audio;
}

juce::AudioBuffer<float> noise (int channels, int numSamples)
{
    juce::AudioBuffer<float> audio (channels, numSamples);
    juce::Random random (1);
    for (int channel = 0; channel < channels; ++channel)
        for (int i = 0; i < numSamples; ++i)
            audio.setSample (channel, i, static_cast<float> (random.nextInt (65536) - 32768) / 32768.0f);
    return audio;
}

Bytes flacFile (const juce::AudioBuffer<float>& audio, double sampleRate, int bits)
{
    return encode<juce::FlacAudioFormat> (audio, sampleRate, bits);
}

Bytes oggFile (const juce::AudioBuffer<float>& audio, double sampleRate)
{
    return encode<juce::OggVorbisAudioFormat> (audio, sampleRate, 16);
}

Bytes alacFile (const juce::AudioBuffer<float>& audio, int sampleRate)
{
    // The encoder needs a file of its own for its packets, so it gets one for the result too.
    const WorkFolder folder;
    const auto file = folder.file ("alac.caf");

    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = audio.getNumChannels();
    info.format = SF_FORMAT_CAF | SF_FORMAT_ALAC_16;
    auto* const handle = sf_open (file.getFullPathName().toRawUTF8(), SFM_WRITE, &info);
    jassert (handle != nullptr);
    sf_set_string (handle, SF_STR_TITLE, "Take 1");
    std::vector<float> frame (static_cast<std::size_t> (audio.getNumChannels()));
    for (int i = 0; i < audio.getNumSamples(); ++i)
    {
        for (int channel = 0; channel < audio.getNumChannels(); ++channel)
            frame[static_cast<std::size_t> (channel)] = audio.getSample (channel, i);
        sf_writef_float (handle, frame.data(), 1);
    }
    sf_close (handle);

    juce::MemoryBlock block;
    file.loadFileAsData (block);
    const auto* const data = static_cast<const std::uint8_t*> (block.getData());
    return { data, data + block.getSize() };
}

std::unique_ptr<juce::InputStream> streamOn (const Bytes& bytes)
{
    return std::make_unique<juce::MemoryInputStream> (bytes.data(), bytes.size(), true);
}

} // namespace tessivar::test
