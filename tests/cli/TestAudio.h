#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <vector>

namespace tessivar::test
{

struct AudioSpec
{
    double sampleRate = 44100.0;
    int lengthInSamples = 20000;
    int bitsPerSample = 24;
    int numChannels = 1;
    unsigned seed = 1; // of the hits
};

/** Writes a WAV file of decaying noise hits. */
void writeHits (const juce::File& file, const AudioSpec& spec = {});

/** One channel of an audio file, decoded. */
struct DecodedAudio
{
    double sampleRate = 0.0;
    int bitsPerSample = 0;
    int numChannels = 0;
    std::vector<float> samples; // of the first channel; empty when the file can't be read
};

[[nodiscard]] DecodedAudio decode (const juce::File& file);

} // namespace tessivar::test
