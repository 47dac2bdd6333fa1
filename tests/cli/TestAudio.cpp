#include "tests/cli/TestAudio.h"

#include <cmath>
#include <random>

namespace tessivar::test
{

void writeHits (const juce::File& file, const AudioSpec& spec)
{
    constexpr int samplesPerHit = 5000;
    std::minstd_rand random (spec.seed);
    juce::AudioBuffer<float> buffer (spec.numChannels, spec.lengthInSamples);
    for (int channel = 0; channel < spec.numChannels; ++channel)
        for (int i = 0; i < spec.lengthInSamples; ++i)
        {
            const auto noise =
                static_cast<float> (random()) / static_cast<float> (std::minstd_rand::max()) - 0.5f;
            buffer.setSample (
                channel, i, noise * std::exp (-0.002f * static_cast<float> (i % samplesPerHit)));
        }

    juce::WavAudioFormat format;
    auto stream = file.createOutputStream();
    const std::unique_ptr<juce::AudioFormatWriter> writer (
        format.createWriterFor (stream.release(),
                                spec.sampleRate,
                                static_cast<unsigned> (spec.numChannels),
                                spec.bitsPerSample,
                                {},
                                0));
    writer->writeFromAudioSampleBuffer (buffer, 0, spec.lengthInSamples);
}

DecodedAudio decode (const juce::File& file)
{
    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    const std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (file));
    if (reader == nullptr)
        return {};

    DecodedAudio audio{ .sampleRate = reader->sampleRate,
                        .bitsPerSample = static_cast<int> (reader->bitsPerSample),
                        .numChannels = static_cast<int> (reader->numChannels),
                        .samples = std::vector<float> (static_cast<std::size_t> (reader->lengthInSamples)) };
    float* channels[] = { audio.samples.data() };
    juce::AudioBuffer<float> buffer (channels, 1, static_cast<int> (audio.samples.size()));
    reader->read (&buffer, 0, buffer.getNumSamples(), 0, true, false);
    return audio;
}

} // namespace tessivar::test
