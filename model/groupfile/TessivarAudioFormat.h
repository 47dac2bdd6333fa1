#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

namespace tessivar
{

/** Group files as a format of audio: "DLS", extension .dls, read only. The readers are TessivarFormatReader. */
class TessivarAudioFormat final : public juce::AudioFormat
{
public:
    TessivarAudioFormat();

    /** Whether a stream of known length ends as a group file written by this program does. */
    [[nodiscard]] static bool isMarked (juce::InputStream& stream);

    juce::Array<int> getPossibleSampleRates() override;
    juce::Array<int> getPossibleBitDepths() override { return { 32 }; }
    bool canDoStereo() override { return false; }
    bool canDoMono() override { return true; }

    /** Null unless the stream holds a group file with at least one track. */
    juce::AudioFormatReader* createReaderFor (juce::InputStream* stream,
                                              bool deleteStreamIfOpeningFails) override;

    /** Null: a group file is written as a whole, by saveGroup(). */

    juce::AudioFormatWriter* createWriterFor (juce::OutputStream* stream,
                                              double sampleRate,
                                              unsigned int numChannels,
                                              int bitsPerSample,
                                              const juce::StringPairArray& metadata,
                                              int quality) override;
    using juce::AudioFormat::createWriterFor;
};

} // namespace tessivar
