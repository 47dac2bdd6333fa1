#pragma once

#include "model/audiofile/AudioHeader.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <functional>
#include <memory>

namespace tessivar
{

/** A reader whose header was checked, and which says so when its samples can't be read.

    The fields of the base class tell what the file really holds: the significant bits, the samples that are
    there, its own metadata and no others. read() returns false where the file is damaged or can't be read any
    more. Not for use by two threads at once.
*/
class AudioFileReader final : public juce::AudioFormatReader
{
public:
    /** @param streamStatus  of the stream that formatReader reads */
    AudioFileReader (std::unique_ptr<juce::AudioFormatReader> formatReader,
                     AudioHeader audioHeader,
                     std::shared_ptr<const juce::Result> streamStatus);

    [[nodiscard]] const AudioHeader& header() const { return audioFileHeader; }

    /** Why the file can't be read any more. Ok as long as it can, also where what it holds is damaged. */
    [[nodiscard]] const juce::Result& status() const { return *readStatus; }

    bool readSamples (int* const* destChannels,
                      int numDestChannels,
                      int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile,
                      int numSamples) override;

private:
    std::unique_ptr<juce::AudioFormatReader> reader;
    AudioHeader audioFileHeader;
    std::shared_ptr<const juce::Result> readStatus;
};

/** Opens an audio file by its content: WAV, AIFF, CAF, FLAC or Ogg Vorbis, whatever its name says.

    @param shouldStop  asked at every read, later ones too; may be empty. A stop counts as a read error
    @returns           null with the reason in why; it doesn't name the file
*/
std::unique_ptr<AudioFileReader>
openAudioFile (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop = {});

/** The same for a stream of known length. */
std::unique_ptr<AudioFileReader> openAudioStream (std::unique_ptr<juce::InputStream> stream,
                                                  juce::Result& why,
                                                  std::function<bool()> shouldStop = {});

} // namespace tessivar
