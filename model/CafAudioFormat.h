#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

namespace tessivar
{

/** Reads CAF files with linear PCM or ALAC on every system. Nothing but CAF is accepted, and nothing is
    written.

    Only for streams that passed inspectAudioHeader().
*/
class CafAudioFormat final : public juce::AudioFormat
{
public:
    CafAudioFormat();

    juce::Array<int> getPossibleSampleRates() override;
    juce::Array<int> getPossibleBitDepths() override;
    bool canDoStereo() override { return true; }
    bool canDoMono() override { return true; }

    juce::AudioFormatReader* createReaderFor (juce::InputStream* sourceStream,
                                              bool deleteStreamIfOpeningFails) override;

    /** Always null. */
    juce::AudioFormatWriter* createWriterFor (juce::OutputStream* streamToWriteTo,
                                              double sampleRateToUse,
                                              unsigned int numberOfChannels,
                                              int bitsPerSample,
                                              const juce::StringPairArray& metadataValues,
                                              int qualityOptionIndex) override;
    using AudioFormat::createWriterFor;
};

} // namespace tessivar
